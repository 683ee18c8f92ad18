#include "channels/recordedsizes.h"

#include <algorithm>
#include <cstdlib>

namespace {

int distance(const ChannelRequest &request, const SetGroup &group)
{
    return std::abs(request.width - group.width) + std::abs(request.height - group.height);
}

/// By the size that pictures begin with. What an undamaged key picture doesn't stand behind may be chance.
std::vector<SetGroup> sizesOf(const AccessUnits &found)
{
    std::vector<bool> isUsed(found.sets.size());
    for (const AccessUnit &picture : found.pictures) {
        if (picture.setsId != 0 && picture.slice.isSync && !picture.isDamaged)
            isUsed[picture.setsId - 1U] = true;
    }
    std::vector<SetGroup> sizes;
    for (std::size_t i = 0; i < found.sets.size(); ++i) {
        if (isUsed[i] && found.sets[i].width > 0)
            sizes.push_back(found.sets[i]);
    }
    return sizes;
}

} // namespace

std::vector<ChannelRequest> withRecordedSizes(std::vector<ChannelRequest> requests, const AccessUnits &found)
{
    const std::vector<SetGroup> sizes = sizesOf(found);
    std::vector<SetGroup> unasked;
    std::copy_if(sizes.begin(), sizes.end(), std::back_inserter(unasked), [&](const SetGroup &size) {
        return std::none_of(requests.begin(), requests.end(),
                            [&](const ChannelRequest &request) { return distance(request, size) == 0; });
    });
    for (ChannelRequest &request : requests) {
        const bool isRecorded = std::any_of(
            sizes.begin(), sizes.end(), [&](const SetGroup &size) { return distance(request, size) == 0; });
        if (request.width == 0 || isRecorded || unasked.empty())
            continue;
        const SetGroup &nearest =
            *std::min_element(unasked.begin(), unasked.end(), [&](const SetGroup &a, const SetGroup &b) {
                return distance(request, a) < distance(request, b);
            });
        request.width = nearest.width;
        request.height = nearest.height;
    }
    return requests;
}
