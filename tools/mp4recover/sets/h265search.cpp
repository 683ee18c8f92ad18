#include "sets/h265search.h"

#include "sets/h265sliceheader.h"
#include "sets/trialpicture.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

/// Luma samples that trials may decode: some seconds of one processor.
constexpr std::int64_t sampleBudget = 500'000'000;
constexpr std::int64_t costOfOpening = 100'000; // in luma samples
/// Pictures in a row are alike; nonsense that goes on as other nonsense isn't.
constexpr double likeEnough = 0.5;

/// The guess for key frames, and what became of one.
struct KeyTrial {
    H265Guess guess;
    double roughness = 0;
    bool endsRight = false; ///< its last bytes are those of its last blocks
};

struct Blocks {
    int minimum;
    int tree;
    int largestTransform;
};
/// log2 of the sizes, the usual ones first.
constexpr std::array<Blocks, 11> blockSizes{{{3, 6, 5},
                                             {3, 5, 5},
                                             {3, 4, 4},
                                             {4, 5, 5},
                                             {4, 6, 5},
                                             {4, 4, 4},
                                             {5, 6, 5},
                                             {3, 5, 4},
                                             {3, 6, 4},
                                             {5, 5, 5},
                                             {4, 5, 4}}};

std::vector<ParameterSet> buildSets(H265Guess guess, const std::vector<int> &pictureIds)
{
    std::vector<ParameterSet> sets{buildH265Video(guess), buildH265Sequence(guess)};
    for (const int id : pictureIds) {
        guess.pictureId = id;
        sets.push_back(buildH265Picture(guess));
    }
    return sets;
}

class Search
{
public:
    Search(const ChannelRequest &size, const std::vector<int> &pictureIds, const std::vector<Sample> &samples,
           const Budget &budget)
        : m_pictureIds(pictureIds)
        , m_samples(samples)
        , m_budget(budget)
    {
        m_base.width = size.width;
        m_base.height = size.height;
    }

    BuiltSets run()
    {
        m_headers = guessesForHeaders();
        if (m_samples.empty())
            return {buildSets(m_headers.front(), m_pictureIds), 0, false};
        std::vector<KeyTrial> trials;
        std::vector<H265Guess> tried;
        for (const H265Guess &header : m_headers) {
            const bool isTried = std::any_of(tried.begin(), tried.end(), [&header](const H265Guess &other) {
                return isKeyFrameAlike(other, header);
            });
            if (!isTried && tryKeyFrames(header, trials))
                break;
            tried.push_back(header);
        }
        std::stable_sort(trials.begin(), trials.end(), [](const KeyTrial &a, const KeyTrial &b) {
            return std::pair(!a.endsRight, a.roughness) < std::pair(!b.endsRight, b.roughness);
        });
        if (trials.empty())
            return {buildSets(m_headers.front(), m_pictureIds), 0, false};
        return extend(trials.front());
    }

private:
    [[nodiscard]] bool isSpent() const { return m_spent > sampleBudget || m_budget.isSpent(); }

    /// Whether their key frames have the same headers.
    static bool isKeyFrameAlike(const H265Guess &a, const H265Guess &b)
    {
        return a.isWavefront == b.isWavefront && a.hasAdaptiveOffset == b.hasAdaptiveOffset
            && a.isFilteredAcrossSlices == b.isFilteredAcrossSlices;
    }

    /// What the slice headers of the group can be read with, the likeliest first.
    [[nodiscard]] std::vector<H265Guess> guessesForHeaders() const
    {
        constexpr std::size_t most = 8;
        std::vector<H265Guess> best{m_base};
        std::size_t mostFitting = 0;
        for (const H265Guess &guess : allHeaders()) {
            const auto fits = [&guess](const Sample &sample) { return fitsSliceHeader(sample, guess); };
            const auto fitting =
                static_cast<std::size_t>(std::count_if(m_samples.begin(), m_samples.end(), fits));
            if (fitting > mostFitting)
                best.clear();
            if (fitting >= mostFitting && fitting > 0 && best.size() < most)
                best.push_back(guess);
            mostFitting = std::max(fitting, mostFitting);
        }
        return best;
    }

    [[nodiscard]] std::vector<H265Guess> allHeaders() const
    {
        std::vector<H265Guess> all;
        for (const int log2MaxOrderLsb : {8, 4, 16, 5, 6, 7, 9, 10, 12})
            for (const bool isWavefront : {false, true})
                for (const bool hasAdaptiveOffset : {true, false})
                    for (const bool isFilteredAcrossSlices : {true, false})
                        for (const bool hasReferenceSet : {false, true})
                            for (const bool hasTemporalMotion : {true, false})
                                for (const bool isWeighted : {false, true})
                                    for (const int referenceCount : {1, 2, 3, 4}) {
                                        H265Guess guess = m_base;
                                        guess.log2MaxOrderLsb = log2MaxOrderLsb;
                                        guess.isWavefront = isWavefront;
                                        guess.hasAdaptiveOffset = hasAdaptiveOffset;
                                        guess.isFilteredAcrossSlices = isFilteredAcrossSlices;
                                        guess.hasReferenceSet = hasReferenceSet;
                                        guess.hasTemporalMotion = hasTemporalMotion;
                                        guess.isWeighted = isWeighted;
                                        guess.referenceCount = referenceCount;
                                        all.push_back(guess);
                                    }
        return all;
    }

    /// Tries what key frames depend on besides. True as soon as one stands out.
    bool tryKeyFrames(const H265Guess &header, std::vector<KeyTrial> &trials)
    {
        for (const bool hasTransformSkip : {false, true})
            for (const Blocks &blocks : blockSizes)
                for (const bool hasSignHiding : {true, false})
                    for (const int qpDeltaDepth : {1, 0, -1, 2, 3})
                        for (const int depth : {0, 1, 2, 3}) {
                            H265Guess guess = header;
                            guess.log2MinCodingBlock = blocks.minimum;
                            guess.log2CodingTree = blocks.tree;
                            guess.log2MaxTransform = blocks.largestTransform;
                            guess.hasSignHiding = hasSignHiding;
                            guess.hasTransformSkip = hasTransformSkip;
                            guess.hasQpDelta = qpDeltaDepth >= 0;
                            guess.qpDeltaDepth = std::max(qpDeltaDepth, 0);
                            guess.transformDepthIntra = depth;
                            const bool isPossible = qpDeltaDepth <= blocks.tree - blocks.minimum
                                && depth <= blocks.tree - 2 && fitsSliceHeader(m_samples.front(), guess);
                            if (!isPossible)
                                continue;
                            m_endedEarly += tryKeyFrame(guess, trials) ? 0 : 1;
                            if (doesOneStandOut(trials))
                                return true;
                            if (isSpent())
                                return false;
                        }
        return false;
    }

    /// True if the key frame is decoded to its end.
    bool tryKeyFrame(const H265Guess &guess, std::vector<KeyTrial> &trials)
    {
        TrialDecoder decoder(VideoCodec::H265, buildSets(guess, m_pictureIds));
        const bool isDecoded = decoder.decode(m_samples.front()) && decoder.finish();
        const LumaView picture = decoder.picture();
        const bool isFilled = isFilledToTheEnd(picture);
        m_spent += costOfOpening + std::int64_t{m_base.width} * m_base.height / (isFilled ? 1 : 2);
        if (!isDecoded || !isFilled)
            return false;
        trials.push_back({guess, roughness(picture), endsRight(guess, picture)});
        return true;
    }

    /// Whether other bytes at the end of the key frame change the end of the picture and nothing else. More
    /// than the last ones are tried, since these may be chroma.
    bool endsRight(const H265Guess &guess, const LumaView &picture)
    {
        constexpr int atTheEnd = 3;
        constexpr int part = 30;
        const int size = 1 << guess.log2CodingTree;
        const int count = countBlocks(picture, size);
        int first = count;
        for (const std::size_t changed : {5U, 24U, 96U}) {
            if (first < count)
                break;
            TrialDecoder other(VideoCodec::H265, buildSets(guess, m_pictureIds));
            m_spent += std::int64_t{m_base.width} * m_base.height;
            if (!other.decode(withOtherEnd(m_samples.front(), changed)) || !other.finish())
                return false;
            first = firstDifferentBlock(picture, other.picture(), size);
        }
        return first < count && first >= count - std::max(atTheEnd, count / part);
    }

    /// Whether one that ends right is much smoother than the nonsense of the others.
    [[nodiscard]] bool doesOneStandOut(const std::vector<KeyTrial> &trials) const
    {
        constexpr std::size_t enough = 12;
        constexpr double smoother = 0.6;
        std::vector<double> others;
        double smoothest = std::numeric_limits<double>::max();
        for (const KeyTrial &trial : trials) {
            if (trial.endsRight)
                smoothest = std::min(smoothest, trial.roughness);
            else
                others.push_back(trial.roughness);
        }
        if (others.size() == trials.size() || others.size() + m_endedEarly < enough)
            return false;
        if (others.empty())
            return true;
        const auto middle = others.begin() + static_cast<std::ptrdiff_t>(others.size() / 2);
        std::nth_element(others.begin(), middle, others.end());
        return smoothest < smoother * *middle;
    }

    /// The guess with what predicted pictures depend on besides.
    [[nodiscard]] std::vector<H265Guess> extensions(const H265Guess &key) const
    {
        std::vector<H265Guess> all;
        for (const H265Guess &header : m_headers) {
            if (!isKeyFrameAlike(header, key))
                continue;
            for (const bool hasAsymmetricPartitions : {false, true})
                for (const int depth : {0, 1, 2, 3}) {
                    H265Guess guess = key;
                    guess.log2MaxOrderLsb = header.log2MaxOrderLsb;
                    guess.hasReferenceSet = header.hasReferenceSet;
                    guess.hasTemporalMotion = header.hasTemporalMotion;
                    guess.isWeighted = header.isWeighted;
                    guess.referenceCount = header.referenceCount;
                    guess.hasAsymmetricPartitions = hasAsymmetricPartitions;
                    guess.transformDepthInter = depth;
                    all.push_back(guess);
                }
        }
        return all;
    }

    /// Of these what makes the smoothest pictures.
    BuiltSets extend(const KeyTrial &key)
    {
        constexpr std::size_t few = 12;
        const std::size_t count = std::min(m_samples.size(), few);
        H265Guess best = key.guess;
        Course farthest;
        m_spent = 0;
        for (const H265Guess &guess : extensions(key.guess)) {
            if (isSpent())
                break;
            const Course course = follow(guess, count);
            if (course.isBetterThan(farthest)) {
                best = guess;
                farthest = course;
            }
        }
        return {buildSets(best, m_pictureIds), key.endsRight ? follow(best, m_samples.size()).pictures : 0,
                false};
    }

    /// How far pictures go on alike without a message, and how rough they are.
    struct Course {
        std::size_t pictures = 0;
        double roughness = 0;
        [[nodiscard]] bool isBetterThan(const Course &other) const
        {
            return std::pair(pictures, other.roughness) > std::pair(other.pictures, roughness);
        }
    };
    Course follow(const H265Guess &guess, std::size_t count)
    {
        TrialDecoder decoder(VideoCodec::H265, buildSets(guess, m_pictureIds));
        Course course;
        std::vector<double> before;
        const auto look = [&](std::size_t known) {
            if (decoder.pictures() == known)
                return true;
            std::vector<double> now = smallPicture(decoder.picture());
            course.roughness += roughness(decoder.picture());
            const bool isLike = before.empty() || likeness(before, now) > likeEnough;
            before = std::move(now);
            return isLike;
        };
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t known = decoder.pictures();
            m_spent += std::int64_t{m_base.width} * m_base.height;
            if (!decoder.decode(m_samples[i]) || !look(known))
                return course;
            course.pictures = decoder.pictures();
        }
        const std::size_t known = decoder.pictures();
        if (decoder.finish() && look(known))
            course.pictures = decoder.pictures();
        return course;
    }

    /// The same sample but for some bytes before its last one.
    static Sample withOtherEnd(Sample sample, std::size_t changed)
    {
        constexpr std::uint8_t other = 0x2a;
        constexpr std::uint8_t harmless = 0x55; // small bytes would look like start codes
        for (std::size_t i = sample.size() - std::min(sample.size(), changed + 1); i + 1 < sample.size();
             ++i) {
            sample[i] ^= other;
            sample[i] = sample[i] < 4 ? harmless : sample[i];
        }
        return sample;
    }

    const std::vector<int> &m_pictureIds;
    const std::vector<Sample> &m_samples;
    std::vector<H265Guess> m_headers;
    const Budget &m_budget;
    std::int64_t m_spent = 0;
    std::size_t m_endedEarly = 0; ///< trials that don't reach the end of the key frame
    H265Guess m_base;
};

} // namespace

BuiltSets searchH265Sets(const ChannelRequest &size, const std::vector<int> &pictureIds,
                         const std::vector<Sample> &samples, const Budget &budget)
{
    return Search(size, pictureIds, samples, budget).run();
}
