#include "holes.h"

#include "holejudge.h"
#include "missingcost.h"

#include <algorithm>
#include <limits>

namespace {

std::uint64_t offsetOf(const Picture &picture, const std::vector<Unit> &units)
{
    return units[picture.firstUnit].offset;
}

std::vector<std::uint64_t> offsetsOf(const Channel &channel, const std::vector<Unit> &units)
{
    std::vector<std::uint64_t> offsets;
    offsets.reserve(channel.pictures.size());
    for (const Picture &picture : channel.pictures)
        offsets.push_back(offsetOf(picture, units));
    return offsets;
}

bool isAnyBetween(const std::vector<std::uint64_t> &sorted, std::uint64_t from, std::uint64_t to)
{
    const auto next = std::lower_bound(sorted.begin(), sorted.end(), from);
    return next != sorted.end() && *next < to;
}

/// Where numbers jump though nothing is known to be lost: what is missing passes for sound, or was never
/// written.
std::vector<Hole> jumpsOf(const Findings &findings)
{
    std::vector<std::uint64_t> losses;
    for (const Span &loss : findings.losses)
        losses.push_back(loss.offset);
    std::vector<Hole> jumps;
    for (const Channel &channel : findings.channels) {
        for (std::size_t i = 1; i < channel.pictures.size(); ++i) {
            if (channel.pictures[i].picturesMissingBefore == 0)
                continue;
            const std::uint64_t from = offsetOf(channel.pictures[i - 1], findings.units);
            const std::uint64_t at = offsetOf(channel.pictures[i], findings.units);
            if (!isAnyBetween(losses, from, at))
                jumps.push_back({{at, 0}, from});
        }
    }
    return jumps;
}

std::vector<Lane> lanesOf(const Findings &findings, const std::vector<BlockSeries> &blocks,
                          const std::vector<double> &periods)
{
    std::vector<Lane> lanes;
    for (std::size_t i = 0; i < findings.channels.size(); ++i)
        lanes.push_back({offsetsOf(findings.channels[i], findings.units), periods[i], {}});
    for (const BlockSeries &series : blocks)
        lanes.push_back({series.offsets, series.period(), {}});
    return lanes;
}

/// Counts on to `end` without anything missing.
void countTo(Lane &lane, std::size_t end)
{
    while (lane.counts.size() < end)
        lane.counts.push_back(lane.counts.empty() ? 0 : lane.counts.back() + 1);
}

} // namespace

std::vector<Hole> holesOf(const Findings &findings)
{
    std::vector<Hole> found = jumpsOf(findings);
    for (const Span &loss : findings.losses)
        found.push_back({loss, loss.offset});
    std::sort(found.begin(), found.end(),
              [](const Hole &a, const Hole &b) { return a.span.offset < b.span.offset; });
    std::vector<std::uint64_t> pictures;
    for (const Channel &channel : findings.channels)
        for (const Picture &picture : channel.pictures)
            pictures.push_back(offsetOf(picture, findings.units));
    std::sort(pictures.begin(), pictures.end());
    std::vector<Hole> holes;
    for (const Hole &hole : found) {
        if (holes.empty() || isAnyBetween(pictures, holes.back().span.end(), hole.span.offset)) {
            holes.push_back(hole);
            continue;
        }
        Hole &last = holes.back();
        last.span.size = std::max(last.span.end(), hole.span.end()) - last.span.offset;
        last.searchFrom = std::min(last.searchFrom, hole.searchFrom);
    }
    return holes;
}

std::vector<std::size_t> breaksOf(const Channel &channel, const std::vector<Unit> &units,
                                  const std::vector<Hole> &holes)
{
    std::vector<std::size_t> breaks;
    const std::vector<std::uint64_t> offsets = offsetsOf(channel, units);
    for (const Hole &hole : holes) {
        const auto behind = std::lower_bound(offsets.begin(), offsets.end(), hole.span.end());
        const auto index = static_cast<std::size_t>(behind - offsets.begin());
        if (index > 0 && index < offsets.size() && (breaks.empty() || breaks.back() != index))
            breaks.push_back(index);
    }
    return breaks;
}

std::vector<std::vector<std::int64_t>> countFrames(const Findings &findings, const std::vector<Hole> &holes,
                                                   const std::vector<BlockSeries> &blocks,
                                                   const std::vector<double> &periods)
{
    std::vector<Lane> lanes = lanesOf(findings, blocks, periods);
    const HoleJudge judge(findings, holes, blocks, periods);
    for (std::size_t i = 0; i < holes.size(); ++i) {
        const std::uint64_t limit =
            i + 1 < holes.size() ? holes[i + 1].span.offset : std::numeric_limits<std::uint64_t>::max();
        std::vector<LaneAtHole> places;
        for (Lane &lane : lanes) {
            places.push_back(placeOf(lane, holes[i].span, limit));
            countTo(lane, places.back().behind);
        }
        const std::vector<std::int64_t> missing = judge.missingIn(holes[i], lanes, places);
        for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
            if (missing[lane] > 0)
                lanes[lane].counts.push_back(lanes[lane].counts.back() + 1 + missing[lane]);
            countTo(lanes[lane], places[lane].end);
        }
    }
    std::vector<std::vector<std::int64_t>> counts;
    for (std::size_t i = 0; i < findings.channels.size(); ++i) {
        countTo(lanes[i], lanes[i].offsets.size());
        counts.push_back(std::move(lanes[i].counts));
    }
    return counts;
}
