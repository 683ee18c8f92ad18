#include "sets/h264search.h"

#include <algorithm>
#include <optional>

namespace {

/// What all trials may decode, in macroblocks: about three seconds of one processor.
constexpr std::int64_t macroblockBudget = 3'000'000;
constexpr std::int64_t costOfOpening = 200; // in macroblocks
constexpr int largestQp = 51;

std::vector<ParameterSet> buildSets(H264Guess guess, const std::vector<int> &pictureIds)
{
    guess.profile = guess.hasTransform8x8 ? 100 : 77;
    std::vector<ParameterSet> sets{buildH264Sequence(guess)};
    for (const int id : pictureIds) {
        guess.pictureId = id;
        sets.push_back(buildH264Picture(guess));
    }
    return sets;
}

class Search
{
public:
    Search(const HeaderGuess &headers, const ChannelRequest &size, const std::vector<int> &pictureIds,
           const std::vector<Sample> &samples, const Budget &budget)
        : m_headers(headers)
        , m_pictureIds(pictureIds)
        , m_samples(samples)
        , m_budget(budget)
        , m_macroblocks(std::int64_t{size.width / 16 + 1} * (size.height / 16 + 1))
    {
        m_base.width = size.width;
        m_base.height = size.height;
        m_base.log2MaxFrameNum = headers.log2MaxFrameNum;
        m_base = withOrder(m_base, headers.orders.front());
        m_best = m_base;
    }

    BuiltSets run()
    {
        // The first picture settles what all slices depend on, the group what only predicted ones do.
        if (!m_samples.empty())
            for (const H264Guess &guess : guessesForKeyFrame())
                if (const auto whole = extend(guess))
                    return {buildSets(*whole, m_pictureIds), m_samples.size(), true};
        return {buildSets(m_best, m_pictureIds), m_farthest.pictures, false};
    }

private:
    static H264Guess withOrder(H264Guess guess, const OrderGuess &order)
    {
        guess.orderType = order.orderType;
        guess.log2MaxOrderLsb = order.log2MaxOrderLsb;
        guess.reorderFrames = order.reorderPictures;
        return guess;
    }

    [[nodiscard]] bool isSpent() const { return m_spent > macroblockBudget || m_budget.isSpent(); }

    [[nodiscard]] bool isClean(const H264Guess &guess, const std::vector<Sample> &samples)
    {
        if (isSpent())
            return false;
        const TrialResult result = tryDecoding(VideoCodec::H264, buildSets(guess, m_pictureIds), samples);
        m_spent +=
            static_cast<std::int64_t>(result.pictures) * m_macroblocks + result.macroblocks + costOfOpening;
        if (result.isFartherThan(m_farthest)) {
            m_farthest = result;
            m_best = guess;
        }
        return result.isClean && result.pictures == samples.size();
    }

    std::vector<H264Guess> guessesForKeyFrame()
    {
        std::vector<H264Guess> survivors = guessesWith(m_base.initialQp, false);
        if (survivors.empty() && !isConvincing())
            survivors = guessesWith(m_base.initialQp, true);
        // With CABAC a wrong starting value spoils the first picture; without, nothing tells.
        for (int distance = 1; survivors.empty() && distance <= largestQp && !isConvincing(); ++distance)
            for (const int qp : {m_base.initialQp - distance, m_base.initialQp + distance})
                if (qp >= 0 && qp <= largestQp && survivors.empty())
                    survivors = guessesWith(qp, false);
        return survivors;
    }

    /// A wrong guess loses its way within some macroblocks: where one came far, the picture is damaged.
    [[nodiscard]] bool isConvincing() const
    {
        constexpr int part = 8;
        constexpr int enough = 120;
        return m_farthest.pictures > 0
            || m_farthest.macroblocks > std::max<std::int64_t>(enough, m_macroblocks / part);
    }

    [[nodiscard]] std::vector<H264Guess> guessesForAnySlice(int qp, bool hasFieldOrder) const
    {
        std::vector<H264Guess> all;
        for (const OrderGuess &order : m_headers.orders)
            for (const bool isCabac : {true, false})
                for (const bool hasDeblockingControl : {true, false})
                    for (const bool hasTransform8x8 : {false, true}) {
                        H264Guess guess = withOrder(m_base, order);
                        guess.isCabac = isCabac;
                        guess.hasDeblockingControl = hasDeblockingControl;
                        guess.hasTransform8x8 = hasTransform8x8;
                        guess.hasFieldOrder = hasFieldOrder;
                        guess.initialQp = qp;
                        const bool isVisible = qp == m_base.initialQp || isCabac;
                        if (isVisible && (!hasFieldOrder || order.orderType == 0))
                            all.push_back(guess);
                    }
        return all;
    }

    std::vector<H264Guess> guessesWith(int qp, bool hasFieldOrder)
    {
        const std::vector<Sample> keyFrame{m_samples.front()};
        std::vector<H264Guess> survivors = guessesForAnySlice(qp, hasFieldOrder);
        std::erase_if(survivors, [&](const H264Guess &guess) { return !isClean(guess, keyFrame); });
        return survivors;
    }

    /// weighted_bipred_idc: whether implicit weights are used can't be seen when decoding, but an encoder
    /// that weights one kind of slices weights the other.
    [[nodiscard]] std::vector<int> weightings(bool isWeighted) const
    {
        if (!m_headers.hasB)
            return {0};
        return isWeighted ? std::vector{2, 1} : std::vector{0, 1};
    }

    /// The guess with all that predicted slices may depend on besides, the likeliest first.
    [[nodiscard]] std::vector<H264Guess> extensions(const H264Guess &base) const
    {
        // Without B slices more room for references than the camera used does no harm; with them it changes
        // the order of the references, so the least that works is taken.
        const std::vector<int> rooms =
            m_headers.hasB ? std::vector{1, 2, 3, 4, 5, 6, 8, 16} : std::vector{4, 16};
        std::vector<H264Guess> all;
        for (const int room : rooms)
            for (int count = 1; count <= std::min(room, 8); ++count)
                for (const bool isWeighted : {false, true})
                    for (const int weighting : weightings(isWeighted)) {
                        H264Guess guess = base;
                        guess.maxReferenceFrames = room;
                        guess.referenceCount = count;
                        guess.isWeighted = isWeighted;
                        guess.bipredictionWeights = weighting;
                        all.push_back(guess);
                    }
        return all;
    }

    std::optional<H264Guess> extend(const H264Guess &base)
    {
        for (const H264Guess &guess : extensions(base))
            if (isClean(guess, m_samples))
                return guess;
        return {};
    }

    const HeaderGuess &m_headers;
    const std::vector<int> &m_pictureIds;
    const std::vector<Sample> &m_samples;
    const Budget &m_budget;
    std::int64_t m_macroblocks;
    std::int64_t m_spent = 0;
    H264Guess m_base;
    H264Guess m_best;
    TrialResult m_farthest;
};

} // namespace

BuiltSets searchH264Sets(const HeaderGuess &headers, const ChannelRequest &size,
                         const std::vector<int> &pictureIds, const std::vector<Sample> &samples,
                         const Budget &budget)
{
    return Search(headers, size, pictureIds, samples, budget).run();
}
