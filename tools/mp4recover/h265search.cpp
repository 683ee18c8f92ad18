#include "h265search.h"

#include "bitreader.h"
#include "bytes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr std::int64_t sampleBudget = 1'500'000'000; // luma samples that trials may decode
constexpr std::size_t lengthSize = 4;
/// Pictures in a row are alike, also where a key frame comes behind predicted ones: nonsense goes on as
/// nonsense, but never looks like the nonsense before it.
constexpr double likeEnough = 0.5;
constexpr std::size_t unitHeader = 2;

/// The header of a key frame's first slice ends with a one and zeros up to the next byte; only few guesses of
/// what stands before make it so.
bool endsAtAlignment(const Sample &keyFrame, const H265Guess &guess)
{
    for (std::size_t at = 0; at + lengthSize + unitHeader < keyFrame.size();) {
        const std::size_t size = bigEndian32(keyFrame.data() + at);
        const std::size_t begin = at + lengthSize;
        if (size > keyFrame.size() - begin)
            return false;
        const unsigned type = (keyFrame[begin] >> 1U) & 0x3fU;
        at = begin + size;
        if (type < 16 || type > 21)
            continue;
        BitReader reader(UnitBytes(keyFrame).subspan(begin + unitHeader, size - unitHeader));
        reader.skip(2);
        reader.unsignedGolomb(); // picture set
        reader.unsignedGolomb(); // slice type
        if (type != 19 && type != 20)
            return true; // with reference sets: not worth reading here
        if (guess.hasAdaptiveOffset)
            reader.skip(2);
        reader.signedGolomb(); // quantiser
        reader.bit(); // filter across slices; the deblocking filter is on
        if (guess.isWavefront)
            if (const std::uint32_t entries = reader.unsignedGolomb(); entries > 0) {
                const std::uint32_t width = reader.unsignedGolomb() + 1;
                if (entries > 1000 || width > 32)
                    return false;
                reader.skip(entries * width);
            }
        bool isAligned = reader.flag();
        while (reader.position() % 8 != 0)
            isAligned = !reader.flag() && isAligned;
        return isAligned && reader.isGood();
    }
    return false;
}

/// A decoder that lost its way ends a picture early, often without a message.
bool isFilledToTheEnd(const LumaView &picture)
{
    if (!picture.samples)
        return false;
    constexpr int strip = 8;
    for (int y = std::max(0, picture.height - strip); y < picture.height; ++y) {
        const std::uint8_t *row = picture.samples + static_cast<std::size_t>(y) * picture.stride;
        if (std::any_of(row + std::max(0, picture.width - strip), row + picture.width,
                        [](std::uint8_t sample) { return sample != 0; }))
            return true;
    }
    return false;
}

std::vector<double> smallPicture(const LumaView &picture)
{
    constexpr int step = 4;
    std::vector<double> values;
    for (int y = 0; y < picture.height; y += step)
        for (int x = 0; x < picture.width; x += step)
            values.push_back(
                picture.samples[static_cast<std::size_t>(y) * picture.stride + static_cast<std::size_t>(x)]);
    return values;
}

/// Correlation, from -1 to 1.
double likeness(const std::vector<double> &a, const std::vector<double> &b)
{
    if (a.empty() || a.size() != b.size())
        return 0;
    const auto count = double(a.size());
    const double meanA = std::accumulate(a.begin(), a.end(), 0.0) / count;
    const double meanB = std::accumulate(b.begin(), b.end(), 0.0) / count;
    double product = 0;
    double powerA = 0;
    double powerB = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        product += (a[i] - meanA) * (b[i] - meanB);
        powerA += (a[i] - meanA) * (a[i] - meanA);
        powerB += (b[i] - meanB) * (b[i] - meanB);
    }
    const double power = std::sqrt(powerA * powerB);
    return power > 0 ? product / power : 0;
}

class Search
{
public:
    Search(const ChannelRequest &size, const std::vector<int> &pictureIds, const std::vector<Sample> &samples,
           const Sample &otherKeyFrame)
        : m_pictureIds(pictureIds)
        , m_otherKeyFrame(otherKeyFrame)
        , m_samples(samples)
        , m_area(std::int64_t{size.width} * size.height)
    {
        m_base.width = size.width;
        m_base.height = size.height;
    }

    std::optional<H265Guess> run()
    {
        for (const H265Guess &guess : guessesForKeyFrame())
            if (const auto whole = extend(guess))
                return whole;
        return {};
    }

private:
    [[nodiscard]] bool isClean(const H265Guess &guess, std::size_t pictures)
    {
        if (m_spent > sampleBudget)
            return false;
        TrialDecoder decoder(VideoCodec::H265, buildH265Sets(guess, m_pictureIds));
        bool isGood = true;
        std::vector<double> before;
        m_leastLikeness = 1;
        for (std::size_t i = 0; i < pictures && isGood; ++i) {
            const std::size_t known = decoder.pictures();
            isGood = decoder.decode(m_samples[i]);
            if (!isGood || pictures == 1 || decoder.pictures() == known
                || decoder.picture().samples == nullptr)
                continue;
            std::vector<double> now = smallPicture(decoder.picture());
            if (!before.empty())
                m_leastLikeness = std::min(m_leastLikeness, likeness(before, now));
            before = std::move(now);
        }
        isGood = isGood && decoder.finish() && decoder.pictures() == pictures;
        m_spent += m_area * static_cast<std::int64_t>(decoder.pictures() + 1);
        if (!isGood || !isFilledToTheEnd(decoder.picture()))
            return false;
        m_newest = smallPicture(decoder.picture());
        return true;
    }

    /// Many guesses get through without a message, but what they make of two key frames has nothing in
    /// common.
    [[nodiscard]] double likenessOfKeyFrames(const H265Guess &guess)
    {
        const std::vector<double> first = m_newest;
        TrialDecoder decoder(VideoCodec::H265, buildH265Sets(guess, m_pictureIds));
        m_spent += m_area;
        if (!decoder.decode(m_otherKeyFrame) || !decoder.finish() || !isFilledToTheEnd(decoder.picture()))
            return 0;
        return likeness(first, smallPicture(decoder.picture()));
    }

    /// What key frames depend on, the likeliest first: many guesses get through without a message.
    std::vector<H265Guess> guessesForKeyFrame()
    {
        struct Blocks {
            int minimum;
            int tree;
        };
        struct Survivor {
            double likeness;
            H265Guess guess;
        };
        std::vector<Survivor> survivors;
        for (const Blocks &blocks : {Blocks{3, 6}, {3, 5}, {3, 4}, {4, 5}, {4, 6}, {4, 4}, {5, 6}})
            for (const bool isWavefront : {false, true})
                for (const bool hasAdaptiveOffset : {true, false})
                    for (const bool hasSignHiding : {true, false})
                        for (const int qpDeltaDepth : {-1, 0, 1, 2})
                            for (const int depth : {0, 1, 2}) {
                                H265Guess guess = m_base;
                                guess.log2MinCodingBlock = blocks.minimum;
                                guess.log2CodingTree = blocks.tree;
                                guess.log2MaxTransform = std::min(blocks.tree, 5);
                                guess.isWavefront = isWavefront;
                                guess.hasAdaptiveOffset = hasAdaptiveOffset;
                                guess.hasSignHiding = hasSignHiding;
                                guess.hasQpDelta = qpDeltaDepth >= 0;
                                guess.qpDeltaDepth = std::max(qpDeltaDepth, 0);
                                guess.transformDepthIntra = depth;
                                const bool isPossible = qpDeltaDepth <= blocks.tree - blocks.minimum
                                    && endsAtAlignment(m_samples.front(), guess);
                                if (isPossible && isClean(guess, 1))
                                    survivors.push_back({likenessOfKeyFrames(guess), guess});
                            }
        std::stable_sort(survivors.begin(), survivors.end(),
                         [](const Survivor &a, const Survivor &b) { return a.likeness > b.likeness; });
        std::vector<H265Guess> likely;
        constexpr std::size_t most = 6;
        for (const Survivor &survivor : survivors)
            if (likely.size() < most)
                likely.push_back(survivor.guess);
        return likely;
    }

    /// What predicted pictures depend on besides.
    std::optional<H265Guess> extend(const H265Guess &base)
    {
        for (const int log2MaxOrderLsb : {8, 4, 16})
            for (const bool hasTemporalMotion : {true, false})
                for (const bool isWeighted : {false, true})
                    for (const bool hasAsymmetricPartitions : {false, true})
                        for (const int depth : {0, 1, 2})
                            for (const int referenceCount : {1, 2, 3}) {
                                H265Guess guess = base;
                                guess.log2MaxOrderLsb = log2MaxOrderLsb;
                                guess.hasTemporalMotion = hasTemporalMotion;
                                guess.isWeighted = isWeighted;
                                guess.hasAsymmetricPartitions = hasAsymmetricPartitions;
                                guess.transformDepthInter = depth;
                                guess.referenceCount = referenceCount;
                                if (isClean(guess, m_samples.size()) && m_leastLikeness > likeEnough)
                                    return guess;
                            }
        return {};
    }

    const std::vector<int> &m_pictureIds;
    const Sample &m_otherKeyFrame;
    const std::vector<Sample> &m_samples;
    std::int64_t m_area;
    std::int64_t m_spent = 0;
    std::vector<double> m_newest; ///< of the last clean trial
    double m_leastLikeness = 1; ///< of two pictures in a row in the last trial
    H265Guess m_base;
};

} // namespace

std::optional<H265Guess> searchH265Sets(const ChannelRequest &size, const std::vector<int> &pictureIds,
                                        const std::vector<Sample> &samples, const Sample &otherKeyFrame)
{
    if (samples.empty() || otherKeyFrame.empty())
        return {};
    return Search(size, pictureIds, samples, otherKeyFrame).run();
}

std::vector<ParameterSet> buildH265Sets(H265Guess guess, const std::vector<int> &pictureIds)
{
    std::vector<ParameterSet> sets{buildH265Video(guess), buildH265Sequence(guess)};
    for (const int id : pictureIds) {
        guess.pictureId = id;
        sets.push_back(buildH265Picture(guess));
    }
    return sets;
}
