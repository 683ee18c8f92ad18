#include "sound/soundformat.h"

#include "sound/soundpace.h"
#include "sound/soundstart.h"

#include "common/mpegaudio.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <span>

namespace {

constexpr std::array aacRates{96000, 88200, 64000, 48000, 44100, 32000,
                              24000, 22050, 16000, 12000, 11025, 8000};

double ratio(double a, double b) { return a > b ? a / std::max(b, 1e-9) : b / std::max(a, 1e-9); }

/// A rate and how surprising it would be, as the negative logarithm of its likelihood.
struct RateGuess {
    int rate = 0;
    double surprise = 0;
};

/// Rates that cameras record with; others are known to exist.
constexpr std::array aacGuesses{RateGuess{44100, 0},   RateGuess{48000, 0},   RateGuess{32000, 1},
                                RateGuess{16000, 1},   RateGuess{8000, 1.5},  RateGuess{24000, 2.5},
                                RateGuess{22050, 2.5}, RateGuess{11025, 3.5}, RateGuess{12000, 4}};
constexpr std::array pcmGuesses{RateGuess{16000, 0},   RateGuess{8000, 0.5},  RateGuess{32000, 0.5},
                                RateGuess{44100, 0.5}, RateGuess{48000, 0.5}, RateGuess{22050, 1},
                                RateGuess{11025, 1.5}, RateGuess{24000, 2},   RateGuess{12000, 4}};

/// How surprising the rate is by the clock and by an index that can't be trusted in all.
double surpriseOf(const RateGuess &guess, const Pace &pace, int indexedRate)
{
    constexpr double otherThanIndexed = 4;
    constexpr double leastUncertainty = 0.012; // of the pictures' own rate
    double surprise = guess.surprise;
    if (indexedRate > 0 && indexedRate != guess.rate)
        surprise += otherThanIndexed;
    if (pace.perSecond > 0) {
        const double off =
            std::log(pace.perSecond / guess.rate) / std::max(pace.uncertainty, leastUncertainty);
        surprise += off * off / 2;
    }
    return surprise;
}

int leastSurprising(const std::vector<RateGuess> &guesses)
{
    return std::min_element(guesses.begin(), guesses.end(),
                            [](const RateGuess &a, const RateGuess &b) { return a.surprise < b.surprise; })
        ->rate;
}

/// Tells for stretches in file order whether something was lost before them.
class LossFinder
{
public:
    explicit LossFinder(const std::vector<Span> &losses)
        : m_losses(losses)
    {
    }
    bool isBefore(const Span &stretch)
    {
        bool isAny = false;
        for (; m_next < m_losses.size() && m_losses[m_next].offset < stretch.offset; ++m_next)
            isAny = true;
        return isAny;
    }

private:
    const std::vector<Span> &m_losses;
    std::size_t m_next = 0;
};

Bytes bytesOf(Bytes bytes, const Span &stretch) { return bytes.subspan(stretch.offset, stretch.size); }

/// The element that a raw AAC frame begins with: 0 single channel, 1 pair.
int aacChannels(Bytes bytes, const Sound &sound)
{
    std::size_t pairs = 0;
    std::size_t singles = 0;
    for (const Span &stretch : sound.stretches) {
        const unsigned element = stretch.size > 0 ? bytes[stretch.offset] >> 5U : 7;
        pairs += element == 1 ? 1 : 0;
        singles += element == 0 ? 1 : 0;
    }
    return pairs > singles ? 2 : 1;
}

/// How the decoder gets along with stretches.
struct AacTrial {
    std::size_t faults = 0;
    bool hasSamples = false;
    Pace pace; ///< samples
};

AacTrial tryAac(Bytes bytes, const std::vector<Span> &stretches, const std::vector<Span> &losses,
                const ClockLine &clock, int rate, int channels)
{
    AacTrial trial;
    const CodecPtr decoder = openAacDecoder(rate, channels);
    if (!decoder)
        return trial;
    const PacketPtr packet(av_packet_alloc());
    const FramePtr frame(av_frame_alloc());
    PaceMeter meter(clock);
    LossFinder lossFinder(losses);
    double samples = 0;
    for (const Span &stretch : stretches) {
        const bool isGood = decodeStretch(decoder.get(), packet.get(), frame.get(), bytesOf(bytes, stretch),
                                          [&](const AVFrame *decoded) { samples += decoded->nb_samples; });
        const bool isAfterLoss = lossFinder.isBefore(stretch);
        trial.faults += isGood ? 0U : 1U;
        meter.add(stretch.end(), samples, isAfterLoss || !isGood);
    }
    trial.pace = meter.pace();
    trial.hasSamples = samples > 0;
    return trial;
}

/// The first stretches, without long ones: damage makes these.
std::vector<Span> calmStretches(const Sound &sound)
{
    constexpr std::size_t enough = 64;
    std::vector<std::uint64_t> sizes;
    for (const Span &stretch : sound.stretches)
        sizes.push_back(stretch.size);
    const auto large = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() * 9 / 10);
    std::nth_element(sizes.begin(), large, sizes.end());
    std::vector<Span> calm;
    for (const Span &stretch : sound.stretches)
        if (stretch.size <= 2 * *large && calm.size() < enough)
            calm.push_back(stretch);
    return calm;
}

SoundFormat aacFormat(Bytes bytes, const Sound &sound, const ClockLine &clock,
                      const std::vector<Span> &losses)
{
    SoundFormat format{SoundKind::Aac, 0, aacChannels(bytes, sound), false};
    // The tables of the codec differ between rates: a wrong one gives messages, or the same samples.
    const std::vector<Span> calm = calmStretches(sound);
    std::vector<RateGuess> guesses;
    RateGuess cleanest;
    for (const RateGuess &usual : aacGuesses) {
        const AacTrial trial = tryAac(bytes, calm, losses, clock, usual.rate, format.channelCount);
        if (!trial.hasSamples)
            continue;
        constexpr double perFault = 2;
        guesses.push_back({usual.rate, usual.surprise + perFault * double(trial.faults)});
        const RateGuess byFaults{usual.rate, double(trial.faults)};
        if (cleanest.rate == 0 || byFaults.surprise < cleanest.surprise)
            cleanest = byFaults;
    }
    if (guesses.empty())
        return {};
    constexpr std::size_t enoughToCount = 2000;
    const std::vector<Span> counted(
        sound.stretches.begin(),
        sound.stretches.begin()
            + static_cast<std::ptrdiff_t>(std::min(enoughToCount, sound.stretches.size())));
    const Pace pace = tryAac(bytes, counted, losses, clock, cleanest.rate, format.channelCount).pace;
    for (RateGuess &guess : guesses)
        guess.surprise = surpriseOf(guess, pace, sound.indexedRateHz);
    format.sampleRateHz = leastSurprising(guesses);
    return format;
}

/// Stretches in which neither silence nor garbage decides: each has one vote.
struct PcmVotes {
    int bigEndian = 0; ///< minus those for little
    int stereo = 0; ///< minus those for one channel
};

void vote(Bytes stretch, bool isBigEndian, PcmVotes &votes)
{
    constexpr double clearly = 1.25;
    constexpr double everyOther = 0.9;
    const double little = pcmRoughness(stretch, false, 0, 2, 1);
    const double big = pcmRoughness(stretch, true, 0, 2, 1);
    votes.bigEndian += big < little ? 1 : big > little ? -1 : 0;
    const double insidePairs = pcmRoughness(stretch, isBigEndian, 0, 1, 2);
    const double betweenPairs = pcmRoughness(stretch, isBigEndian, 2, 1, 2);
    const double acrossPairs = pcmRoughness(stretch, isBigEndian, 0, 2, 1);
    if (acrossPairs <= 0)
        return;
    const bool isStereo = ratio(insidePairs, betweenPairs) > clearly
        || acrossPairs < std::min(insidePairs, betweenPairs) * everyOther;
    votes.stereo += isStereo ? 1 : -1;
}

PcmVotes votesOf(Bytes bytes, const Sound &sound, bool isBigEndian)
{
    constexpr std::uint64_t enough = 1 << 20;
    constexpr std::uint64_t longest = 1 << 15;
    PcmVotes votes;
    std::uint64_t used = 0;
    for (const Span &stretch : sound.stretches) {
        vote(bytes.subspan(stretch.offset, std::min(stretch.size, longest)), isBigEndian, votes);
        used += std::min(stretch.size, longest);
        if (used > enough)
            break;
    }
    return votes;
}

Pace bytePace(const Sound &sound, const ClockLine &clock, const std::vector<Span> &losses)
{
    PaceMeter meter(clock);
    LossFinder lossFinder(losses);
    double bytes = 0;
    for (const Span &stretch : sound.stretches) {
        bytes += double(stretch.size);
        meter.add(stretch.end(), bytes, lossFinder.isBefore(stretch));
    }
    return meter.pace();
}

SoundFormat pcmFormat(Bytes bytes, const Sound &sound, const ClockLine &clock,
                      const std::vector<Span> &losses)
{
    SoundFormat format{SoundKind::Pcm16, 0, 0, false};
    format.isBigEndian = votesOf(bytes, sound, false).bigEndian > 0;
    format.channelCount = votesOf(bytes, sound, format.isBigEndian).stereo > 0 ? 2 : 1;
    Pace pace = bytePace(sound, clock, losses);
    pace.perSecond /= 2 * format.channelCount;
    std::vector<RateGuess> guesses(pcmGuesses.begin(), pcmGuesses.end());
    for (RateGuess &guess : guesses)
        guess.surprise = surpriseOf(guess, pace, sound.indexedRateHz);
    format.sampleRateHz = leastSurprising(guesses);
    return format;
}

SoundFormat mp3Format(Bytes bytes, const Sound &sound)
{
    for (const Span &stretch : sound.stretches) {
        if (const auto header = mpegAudioHeaderAt(bytesOf(bytes, stretch)))
            return {SoundKind::Mp3, header->sampleRateHz, header->channelCount, false};
    }
    return {};
}

} // namespace

SoundFormat soundFormatOf(Bytes bytes, const Sound &sound, const ClockLine &clock,
                          const std::vector<Span> &losses)
{
    if (sound.stretches.empty())
        return {};
    switch (sound.kind) {
    case SoundKind::Aac: return aacFormat(bytes, sound, clock, losses);
    case SoundKind::Pcm16: return pcmFormat(bytes, sound, clock, losses);
    case SoundKind::Mp3: return mp3Format(bytes, sound);
    case SoundKind::None: break;
    }
    return {};
}

CodecPtr openAacDecoder(int sampleRateHz, int channelCount)
{
    const auto rate = std::find(aacRates.begin(), aacRates.end(), sampleRateHz);
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
    CodecPtr decoder(codec && rate != aacRates.end() ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder)
        return {};
    // AudioSpecificConfig: low complexity, index of the rate, channels
    const auto rateIndex = static_cast<unsigned>(rate - aacRates.begin());
    const unsigned config = 2U << 11U | rateIndex << 7U | static_cast<unsigned>(channelCount) << 3U;
    decoder->extradata = static_cast<std::uint8_t *>(av_mallocz(2 + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!decoder->extradata)
        return {};
    decoder->extradata[0] = static_cast<std::uint8_t>(config >> 8U);
    decoder->extradata[1] = static_cast<std::uint8_t>(config);
    decoder->extradata_size = 2;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return {};
    return decoder;
}

std::size_t pcmMisalignment(Bytes stretch, bool isBigEndian)
{
    constexpr std::size_t looked = 1024;
    constexpr double clearly = 0.25;
    const Bytes head = stretch.first(std::min(stretch.size(), looked));
    constexpr std::size_t tooFew = 64;
    if (head.size() < tooFew)
        return 0;
    return pcmRoughness(head, isBigEndian, 1, 2, 1) < clearly * pcmRoughness(head, isBigEndian, 0, 2, 1) ? 1
                                                                                                         : 0;
}
