#include "setsearch.h"

#include "encodernote.h"
#include "h265search.h"
#include "sliceguess.h"
#include "trialdecoder.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace {

/// A wrong set can survive some pictures without a message, hardly ever a whole group.
constexpr std::size_t groupPictures = 40;
constexpr std::size_t groupBytes = std::size_t{32} << 20U;
/// What all trials for a channel may decode, in macroblocks: for each group that is tried: about three
/// seconds of one processor.
constexpr std::int64_t macroblockBudget = 3'000'000;
constexpr int largestSide = 16384;

/// A run of pictures from a key frame on of which nothing is missing.
struct Group {
    std::size_t first = 0;
    std::size_t count = 0;
};

/// The longest groups of the channel, up to a few.
std::vector<Group> longestGroups(const Channel &channel)
{
    std::vector<Group> groups;
    constexpr std::size_t mostGroups = 64;
    for (std::size_t first = 0; first < channel.pictures.size() && groups.size() < mostGroups; ++first) {
        if (!channel.pictures[first].isSync || channel.pictures[first].isDamaged)
            continue;
        std::size_t end = first + 1;
        while (end < channel.pictures.size() && end - first < groupPictures
               && !channel.pictures[end].isDamaged && !channel.pictures[end].followsLoss)
            ++end;
        groups.push_back({first, end - first});
    }
    std::stable_sort(groups.begin(), groups.end(),
                     [](const Group &a, const Group &b) { return a.count > b.count; });
    constexpr std::size_t tried = 3;
    groups.resize(std::min(groups.size(), tried));
    return groups;
}

std::vector<Sample> samplesOf(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                              const Group &group)
{
    std::vector<Sample> samples;
    std::size_t total = 0;
    for (std::size_t i = group.first; i < group.first + group.count && total < groupBytes; ++i) {
        samples.push_back(sampleOf(bytes, units, channel.codec, channel.pictures[i]));
        total += samples.back().size();
    }
    return samples;
}

/// A key frame other than that one; empty if there is none.
Sample otherKeyFrame(Bytes bytes, const std::vector<Unit> &units, const Channel &channel, std::size_t first)
{
    for (std::size_t i = 0; i < channel.pictures.size(); ++i)
        if (i != first && channel.pictures[i].isSync && !channel.pictures[i].isDamaged)
            return sampleOf(bytes, units, channel.codec, channel.pictures[i]);
    return {};
}

std::vector<ParameterSet> setsOf(H264Guess guess, const std::vector<int> &pictureIds)
{
    guess.profile = guess.hasTransform8x8 ? 100 : 77;
    std::vector<ParameterSet> sets{buildH264Sequence(guess)};
    for (const int id : pictureIds) {
        guess.pictureId = id;
        sets.push_back(buildH264Picture(guess));
    }
    return sets;
}

bool canBeBuilt(const Channel &channel)
{
    return channel.request && channel.request->width <= largestSide && channel.request->height <= largestSide;
}

std::vector<int> idsOf(const std::map<int, std::size_t> &usedIds)
{
    std::vector<int> ids;
    ids.reserve(usedIds.size());
    for (const auto &[id, count] : usedIds)
        ids.push_back(id);
    return ids;
}

class H264Search
{
public:
    H264Search(const HeaderGuess &headers, const EncoderNote &note, const ChannelRequest &size,
               std::vector<int> pictureIds, std::vector<Sample> samples)
        : m_headers(headers)
        , m_pictureIds(std::move(pictureIds))
        , m_samples(std::move(samples))
        , m_macroblocks(std::int64_t{size.width / 16 + 1} * (size.height / 16 + 1))
    {
        m_base.width = size.width;
        m_base.height = size.height;
        m_base.log2MaxFrameNum = headers.log2MaxFrameNum;
        m_base.initialQp = note.initialQp.value_or(m_base.initialQp);
        m_base.chromaQpOffset = note.chromaQpOffset.value_or(m_base.chromaQpOffset);
        m_base.orderType = headers.orders.front().orderType;
        m_base.log2MaxOrderLsb = headers.orders.front().log2MaxOrderLsb;
        m_best = m_base;
    }

    BuiltSets run()
    {
        // The first picture settles what all slices depend on, the group what only predicted ones do.
        for (const H264Guess &guess : guessesForKeyFrame())
            if (const auto whole = extend(guess))
                return {setsOf(*whole, m_pictureIds), VideoCodec::H264, *whole, {}, m_samples.size()};
        return {setsOf(m_best, m_pictureIds), VideoCodec::H264, m_best, {}, m_cleanPictures};
    }

private:
    [[nodiscard]] bool isClean(const H264Guess &guess, const std::vector<Sample> &samples)
    {
        if (m_spent > macroblockBudget)
            return false;
        const TrialResult result = tryDecoding(VideoCodec::H264, setsOf(guess, m_pictureIds), samples);
        m_spent += (static_cast<std::int64_t>(result.pictures) + 1) * m_macroblocks;
        if (result.pictures > m_cleanPictures) {
            m_cleanPictures = result.pictures;
            m_best = guess;
        }
        return result.isClean && result.pictures == samples.size();
    }

    std::vector<H264Guess> guessesForKeyFrame()
    {
        std::vector<H264Guess> survivors = guessesWithQp(m_base.initialQp);
        // With CABAC a wrong starting value spoils the first picture; without, nothing tells.
        constexpr int largestQp = 51;
        for (int distance = 1; survivors.empty() && distance <= largestQp; ++distance)
            for (const int qp : {m_base.initialQp - distance, m_base.initialQp + distance})
                if (qp >= 0 && qp <= largestQp && survivors.empty())
                    survivors = guessesWithQp(qp);
        return survivors;
    }

    std::vector<H264Guess> guessesWithQp(int qp)
    {
        const std::vector<Sample> keyFrame{m_samples.front()};
        std::vector<H264Guess> survivors;
        for (const OrderGuess &order : m_headers.orders)
            for (const bool isCabac : {true, false})
                for (const bool hasDeblockingControl : {true, false})
                    for (const bool hasTransform8x8 : {false, true}) {
                        H264Guess guess = m_base;
                        guess.orderType = order.orderType;
                        guess.log2MaxOrderLsb = order.log2MaxOrderLsb;
                        guess.isCabac = isCabac;
                        guess.hasDeblockingControl = hasDeblockingControl;
                        guess.hasTransform8x8 = hasTransform8x8;
                        guess.initialQp = qp;
                        if ((qp == m_base.initialQp || isCabac) && isClean(guess, keyFrame))
                            survivors.push_back(guess);
                    }
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

    /// The guess with what predicted slices depend on.
    std::optional<H264Guess> extend(const H264Guess &base)
    {
        // Without B slices more room for references than the camera used does no harm; with them it changes
        // the order of the references, so the least that works is taken.
        const std::vector<int> rooms =
            m_headers.hasB ? std::vector{1, 2, 3, 4, 5, 6, 8, 16} : std::vector{4, 16};
        for (const int room : rooms)
            for (int count = 1; count <= std::min(room, 8); ++count)
                for (const bool isWeighted : {false, true})
                    for (const int weighting : weightings(isWeighted)) {
                        H264Guess guess = base;
                        guess.maxReferenceFrames = room;
                        guess.referenceCount = count;
                        guess.isWeighted = isWeighted;
                        guess.bipredictionWeights = weighting;
                        if (isClean(guess, m_samples))
                            return guess;
                    }
        return {};
    }

    HeaderGuess m_headers;
    std::vector<int> m_pictureIds;
    std::vector<Sample> m_samples;
    std::int64_t m_macroblocks;
    std::int64_t m_spent = 0;
    H264Guess m_base;
    H264Guess m_best;
    std::size_t m_cleanPictures = 0;
};

} // namespace

namespace {

BuiltSets h265Sets(Bytes bytes, const std::vector<Unit> &units, const Channel &channel, const Group &group,
                   const std::vector<int> &pictureIds, const std::vector<Sample> &samples)
{
    const auto found = searchH265Sets(*channel.request, pictureIds, samples,
                                      otherKeyFrame(bytes, units, channel, group.first));
    H265Guess guess = found.value_or(H265Guess{});
    guess.width = channel.request->width;
    guess.height = channel.request->height;
    return {buildH265Sets(guess, pictureIds), VideoCodec::H265, {}, guess, found ? samples.size() : 0};
}

} // namespace

std::optional<BuiltSets> searchSets(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                    const std::map<int, std::size_t> &usedIds)
{
    if (usedIds.empty() || !canBeBuilt(channel))
        return {};
    std::optional<BuiltSets> best;
    for (const Group &group : longestGroups(channel)) {
        const std::vector<Sample> samples = samplesOf(bytes, units, channel, group);
        BuiltSets built = channel.codec == VideoCodec::H265
            ? h265Sets(bytes, units, channel, group, idsOf(usedIds), samples)
            : H264Search(guessHeaders(bytes, units, channel, group.first, group.count),
                         encoderNoteOf(bytes, units, channel), *channel.request, idsOf(usedIds), samples)
                  .run();
        const bool isWhole = built.cleanPictures == samples.size();
        if (!best || built.cleanPictures > best->cleanPictures)
            best = std::move(built);
        if (isWhole)
            break;
    }
    return best;
}

std::optional<BuiltSets> setsLike(const BuiltSets &example, const Channel &channel,
                                  const std::map<int, std::size_t> &usedIds)
{
    if (usedIds.empty() || !canBeBuilt(channel) || channel.codec != example.codec)
        return {};
    BuiltSets built = example;
    built.cleanPictures = 0;
    built.h264.width = built.h265.width = channel.request->width;
    built.h264.height = built.h265.height = channel.request->height;
    built.units = channel.codec == VideoCodec::H264 ? setsOf(built.h264, idsOf(usedIds))
                                                    : buildH265Sets(built.h265, idsOf(usedIds));
    return built;
}
