#include "sets/setsearch.h"

#include "sets/h264search.h"
#include "sets/h265search.h"
#include "sets/sliceguess.h"
#include "sets/trialdecoder.h"

#include <algorithm>

namespace {

/// A wrong set can survive some pictures without a message, hardly ever a whole group.
constexpr std::size_t groupPictures = 40;
constexpr std::size_t groupBytes = std::size_t{32} << 20U;
constexpr int largestSide = 16384;

/// A run of pictures of which nothing is missing, from a key frame on if there is one.
struct Group {
    std::size_t first = 0;
    std::size_t count = 0;
};

/// The longest groups of the channel, up to a few; one without a key frame if there are no others.
std::vector<Group> longestGroups(const Channel &channel)
{
    std::vector<Group> groups;
    constexpr std::size_t mostGroups = 64;
    const bool hasKeyFrame =
        std::any_of(channel.pictures.begin(), channel.pictures.end(),
                    [](const Picture &picture) { return picture.isSync && !picture.isDamaged; });
    for (std::size_t first = 0; first < channel.pictures.size() && groups.size() < mostGroups; ++first) {
        if (channel.pictures[first].isSync != hasKeyFrame || channel.pictures[first].isDamaged)
            continue;
        std::size_t end = first + 1;
        while (end < channel.pictures.size() && end - first < groupPictures
               && !channel.pictures[end].isDamaged && !channel.pictures[end].followsLoss)
            ++end;
        groups.push_back({first, end - first});
        first = hasKeyFrame ? first : end;
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

} // namespace

std::optional<BuiltSets> searchSets(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                    const std::map<int, std::size_t> &usedIds, const Budget &budget)
{
    if (usedIds.empty() || !canBeBuilt(channel))
        return {};
    std::optional<BuiltSets> best;
    std::vector<Group> groups = longestGroups(channel);
    if (groups.empty())
        groups.push_back({0, std::min(channel.pictures.size(), groupPictures)});
    for (const Group &group : groups) {
        const std::vector<Sample> samples = samplesOf(bytes, units, channel, group);
        BuiltSets built = channel.codec == VideoCodec::H265
            ? searchH265Sets(*channel.request, idsOf(usedIds), samples, budget)
            : searchH264Sets(guessHeaders(bytes, units, channel, group.first, group.count), *channel.request,
                             idsOf(usedIds), samples, budget);
        built.isWhole = !samples.empty() && built.cleanPictures == samples.size();
        if (!best || built.cleanPictures > best->cleanPictures)
            best = std::move(built);
        if (best->isWhole || budget.isSpent())
            break;
    }
    return best;
}

std::vector<Sample> samplesForTrial(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                    std::size_t count)
{
    std::vector<Sample> samples;
    for (Group group : longestGroups(channel)) {
        group.count = samples.empty() ? std::min(group.count, count) : 1;
        for (Sample &sample : samplesOf(bytes, units, channel, group))
            samples.push_back(std::move(sample));
    }
    return samples;
}
