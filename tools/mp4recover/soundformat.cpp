#include "soundformat.h"

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
constexpr std::array soundRates{8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};

double ratio(double a, double b) { return a > b ? a / std::max(b, 1e-9) : b / std::max(a, 1e-9); }

int nearestRate(double rate)
{
    return *std::min_element(soundRates.begin(), soundRates.end(),
                             [rate](int a, int b) { return ratio(a, rate) < ratio(b, rate); });
}

std::uint64_t totalBytes(const Sound &sound)
{
    std::uint64_t total = 0;
    for (const Span &stretch : sound.stretches)
        total += stretch.size;
    return total;
}

/// How fast something grows by the clock, as the slope of the line through all readings: at a single place
/// the clock is good to some tenths of a second only.
class Growth
{
public:
    explicit Growth(const ClockLine &clock)
        : m_clock(clock)
    {
    }
    /// So much there was before the byte at `offset`.
    void add(std::uint64_t offset, double amount)
    {
        if (!m_clock.isUsable() || offset < m_clock.marks().front().offset
            || offset > m_clock.marks().back().offset)
            return;
        m_points.push_back({m_clock.at(offset), amount});
    }
    /// 0: not known
    [[nodiscard]] double perSecond() const
    {
        const double sloped = slope();
        const double usual = usualRate();
        // Garbage that was taken for sound bends the line, but not the usual piece of it.
        constexpr double alike = 1.06;
        return usual > 0 && ratio(sloped, usual) > alike ? usual : sloped;
    }

private:
    [[nodiscard]] double slope() const
    {
        if (m_points.size() < 4)
            return 0;
        double seconds = 0;
        double amount = 0;
        for (const Point &point : m_points) {
            seconds += point.seconds / double(m_points.size());
            amount += point.amount / double(m_points.size());
        }
        double squares = 0;
        double products = 0;
        for (const Point &point : m_points) {
            squares += (point.seconds - seconds) * (point.seconds - seconds);
            products += (point.seconds - seconds) * (point.amount - amount);
        }
        return squares > 0.01 ? std::max(0.0, products / squares) : 0;
    }
    /// The median of the rates in pieces of about half a second.
    [[nodiscard]] double usualRate() const
    {
        constexpr double pieceSeconds = 0.45;
        constexpr std::size_t enough = 3;
        std::vector<double> rates;
        std::size_t begin = 0;
        for (std::size_t i = 1; i < m_points.size(); ++i) {
            const double seconds = m_points[i].seconds - m_points[begin].seconds;
            if (seconds < pieceSeconds)
                continue;
            rates.push_back((m_points[i].amount - m_points[begin].amount) / seconds);
            begin = i;
        }
        if (rates.size() < enough)
            return 0;
        const auto middle = rates.begin() + static_cast<std::ptrdiff_t>(rates.size() / 2);
        std::nth_element(rates.begin(), middle, rates.end());
        return *middle;
    }

    struct Point {
        double seconds;
        double amount;
    };
    const ClockLine &m_clock;
    std::vector<Point> m_points;
};

double bytesPerSecond(const Sound &sound, const ClockLine &clock)
{
    Growth growth(clock);
    double bytes = 0;
    for (const Span &stretch : sound.stretches) {
        growth.add(stretch.offset, bytes);
        bytes += double(stretch.size);
    }
    return growth.perSecond();
}

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

/// How the decoder gets along with stretches from the first on.
struct AacTrial {
    int rate = 0;
    std::size_t faults = 0;
    double samplesPerSecond = 0; ///< by the clock; 0: not known
    bool hasSamples = false;
};

AacTrial tryAac(Bytes bytes, const Sound &sound, const ClockLine &clock, int rate, int channels,
                std::size_t stretches)
{
    AacTrial trial{rate, 0, 0, false};
    const CodecPtr decoder = openAacDecoder(rate, channels);
    const PacketPtr packet(av_packet_alloc());
    const FramePtr frame(av_frame_alloc());
    Growth growth(clock);
    double samples = 0;
    const std::size_t count = std::min(stretches, sound.stretches.size());
    for (std::size_t i = 0; i < count && decoder; ++i) {
        growth.add(sound.stretches[i].offset, samples);
        if (!decodeStretch(decoder.get(), packet.get(), frame.get(), bytesOf(bytes, sound.stretches[i]),
                           [&samples](const AVFrame *decoded) { samples += decoded->nb_samples; }))
            ++trial.faults;
    }
    if (!decoder)
        trial.faults = count;
    trial.samplesPerSecond = growth.perSecond();
    trial.hasSamples = samples > 0;
    return trial;
}

SoundFormat aacFormat(Bytes bytes, const Sound &sound, const ClockLine &clock)
{
    SoundFormat format{SoundKind::Aac, sound.sampleRateHz, sound.channelCount, false};
    if (format.channelCount <= 0)
        format.channelCount = aacChannels(bytes, sound);
    if (format.sampleRateHz > 0)
        return format;
    // The tables of the codec differ between rates: a wrong one gives messages, or the same samples.
    constexpr std::size_t enoughToTry = 64;
    constexpr std::size_t enoughToCount = 2000;
    std::vector<AacTrial> trials;
    for (const int rate : {44100, 48000, 32000, 24000, 22050, 16000, 12000, 11025, 8000})
        trials.push_back(tryAac(bytes, sound, clock, rate, format.channelCount, enoughToTry));
    std::erase_if(trials, [](const AacTrial &trial) { return !trial.hasSamples; });
    if (trials.empty())
        return {};
    const auto byFaults = [](const AacTrial &a, const AacTrial &b) { return a.faults < b.faults; };
    const AacTrial best = *std::min_element(trials.begin(), trials.end(), byFaults);
    // Some stretches are damaged, or no sound at all.
    const std::size_t tolerated = best.faults + best.faults / 4;
    std::erase_if(trials, [tolerated](const AacTrial &trial) { return trial.faults > tolerated; });
    format.sampleRateHz = best.rate;
    const double measured =
        tryAac(bytes, sound, clock, best.rate, format.channelCount, enoughToCount).samplesPerSecond;
    if (measured > 0)
        format.sampleRateHz =
            std::min_element(trials.begin(), trials.end(), [measured](const AacTrial &a, const AacTrial &b) {
                return ratio(a.rate, measured) < ratio(b.rate, measured);
            })->rate;
    return format;
}

std::int16_t sampleAt(Bytes bytes, std::size_t offset, bool isBigEndian)
{
    const unsigned high = bytes[offset + (isBigEndian ? 0 : 1)];
    const unsigned low = bytes[offset + (isBigEndian ? 1 : 0)];
    return static_cast<std::int16_t>(high << 8U | low);
}

/// How much samples that lie `step` apart differ, from `start` on, every `stride` samples.
double roughness(Bytes bytes, bool isBigEndian, std::size_t start, std::size_t step, std::size_t stride)
{
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t at = start; at + 2 * step + 2 <= bytes.size(); at += 2 * stride, ++count)
        sum +=
            std::abs(double(sampleAt(bytes, at + 2 * step, isBigEndian)) - sampleAt(bytes, at, isBigEndian));
    return count > 0 ? sum / double(count) : 0;
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
    const double little = roughness(stretch, false, 0, 2, 1);
    const double big = roughness(stretch, true, 0, 2, 1);
    votes.bigEndian += big < little ? 1 : big > little ? -1 : 0;
    const double insidePairs = roughness(stretch, isBigEndian, 0, 1, 2);
    const double betweenPairs = roughness(stretch, isBigEndian, 2, 1, 2);
    const double acrossPairs = roughness(stretch, isBigEndian, 0, 2, 1);
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

SoundFormat pcmFormat(Bytes bytes, const Sound &sound, const ClockLine &clock)
{
    SoundFormat format{SoundKind::Pcm16, sound.sampleRateHz, sound.channelCount, false};
    format.isBigEndian = votesOf(bytes, sound, false).bigEndian > 0;
    if (format.channelCount <= 0)
        format.channelCount = votesOf(bytes, sound, format.isBigEndian).stereo > 0 ? 2 : 1;
    if (format.sampleRateHz > 0)
        return format;
    const double measured = bytesPerSecond(sound, clock);
    if (measured <= 0)
        return {};
    format.sampleRateHz = nearestRate(measured / (2 * format.channelCount));
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

SoundFormat soundFormatOf(Bytes bytes, const Sound &sound, const ClockLine &clock)
{
    if (totalBytes(sound) == 0)
        return {};
    switch (sound.kind) {
    case SoundKind::Aac: return aacFormat(bytes, sound, clock);
    case SoundKind::Pcm16: return pcmFormat(bytes, sound, clock);
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
    return roughness(head, isBigEndian, 1, 2, 1) < clearly * roughness(head, isBigEndian, 0, 2, 1) ? 1 : 0;
}
