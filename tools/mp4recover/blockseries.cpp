#include "blockseries.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>

namespace {

constexpr std::int64_t usualAccelerations = 10; // a second
constexpr std::array<std::int64_t, 8> usualCounts{1, 2, 4, 5, 10, 20, 25, 50};
constexpr std::size_t fewestOfThese = 4; // in the part of a second that is there

bool isHoleBetween(const std::vector<Span> &holes, std::uint64_t from, std::uint64_t to)
{
    const auto isBefore = [](const Span &hole, std::uint64_t at) { return hole.end() <= at; };
    const auto hole = std::lower_bound(holes.begin(), holes.end(), from, isBefore);
    return hole != holes.end() && hole->offset < to;
}

/// Blocks of one second with no hole between.
struct Run {
    std::size_t first = 0;
    std::size_t count = 0;
    bool isBeginKnown = false; ///< the block before has the second before
    bool isEndKnown = false;
};

std::vector<Run> runsOf(const BlockSeries &series, const std::vector<Span> &holes)
{
    std::vector<Run> runs;
    for (std::size_t i = 0; i < series.offsets.size(); ++i) {
        const bool isBroken = i > 0 && isHoleBetween(holes, series.offsets[i - 1], series.offsets[i]);
        if (i > 0 && !isBroken && series.seconds[i] == series.seconds[i - 1]) {
            ++runs.back().count;
            continue;
        }
        const bool isNext = i > 0 && !isBroken && series.seconds[i] == series.seconds[i - 1] + 1;
        if (!runs.empty())
            runs.back().isEndKnown = isNext;
        runs.push_back({i, 1, isNext, false});
    }
    return runs;
}

/// How many blocks come in a second if no whole second is there.
std::int64_t likelyCount(const BlockSeries &series, std::size_t largestRun, const PictureBeat &beat)
{
    const auto indexOf = [&beat](std::uint64_t offset) {
        return std::lower_bound(beat.offsets.begin(), beat.offsets.end(), offset) - beat.offsets.begin();
    };
    const auto pictures = double(indexOf(series.offsets.back()) - indexOf(series.offsets.front()));
    const auto largest = static_cast<std::int64_t>(largestRun);
    if (beat.perSecond <= 0 || pictures < 1)
        return largestRun >= fewestOfThese ? std::max(largest, usualAccelerations) : largest;
    const double likely = double(series.offsets.size() - 1) * beat.perSecond / pictures;
    std::int64_t best = largest;
    for (const std::int64_t usual : usualCounts)
        if (usual >= largest && std::abs(double(usual) - likely) < std::abs(double(best) - likely))
            best = usual;
    return best;
}

/// How many blocks most whole seconds have; 0 if they differ too much.
std::int64_t usualCount(const BlockSeries &series, const std::vector<Run> &runs, const PictureBeat &beat)
{
    std::map<std::size_t, std::size_t> counts;
    std::size_t whole = 0;
    std::size_t largest = 1;
    for (const Run &run : runs) {
        largest = std::max(largest, run.count);
        if (!run.isBeginKnown || !run.isEndKnown)
            continue;
        ++whole;
        ++counts[run.count];
    }
    if (whole == 0)
        return likelyCount(series, largest, beat);
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto &a, const auto &b) { return a.second < b.second; });
    return most->second * 10 >= whole * 6 ? static_cast<std::int64_t>(most->first) : 0;
}

BlockSeries changesOf(const BlockSeries &series, const std::vector<Run> &runs)
{
    BlockSeries changes;
    for (const Run &run : runs) {
        if (!run.isBeginKnown)
            continue;
        changes.offsets.push_back(series.offsets[run.first]);
        changes.seconds.push_back(series.seconds[run.first]);
    }
    return changes;
}

} // namespace

std::vector<BlockSeries> blockSeriesOf(const std::vector<ClockReading> &readings,
                                       const std::vector<Span> &holes, const PictureBeat &beat)
{
    std::vector<BlockSeries> all;
    for (const bool isPosition : {false, true}) {
        BlockSeries series;
        for (const ClockReading &reading : readings) {
            if (reading.isPosition != isPosition
                || (!series.seconds.empty() && reading.second < series.seconds.back()))
                continue;
            series.offsets.push_back(reading.offset);
            series.seconds.push_back(reading.second);
        }
        if (series.offsets.empty())
            continue;
        const std::vector<Run> runs = runsOf(series, holes);
        series.perSecond = usualCount(series, runs, beat);
        if (series.perSecond == 0)
            series = changesOf(series, runs);
        if (!series.offsets.empty())
            all.push_back(std::move(series));
    }
    return all;
}

std::vector<double> timesOf(const BlockSeries &series, const std::vector<Span> &holes)
{
    std::vector<double> times;
    times.reserve(series.offsets.size());
    for (const Run &run : runsOf(series, holes)) {
        const auto count = static_cast<std::int64_t>(run.count);
        const std::int64_t spread = std::max(count, series.perSecond);
        const std::int64_t first = run.isBeginKnown || !run.isEndKnown ? 0 : spread - count;
        for (std::int64_t i = 0; i < count; ++i)
            times.push_back(double(series.seconds[run.first]) + double(first + i) / double(spread));
    }
    return times;
}

int contradictions(const BlockSeries &series, const std::vector<std::int64_t> &places, std::size_t behind,
                   std::size_t end, std::int64_t missing)
{
    const auto perSecond = series.perSecond;
    const auto window = static_cast<std::size_t>(3 * perSecond);
    const std::size_t first = behind - std::min(behind, window);
    const std::size_t last = std::min(end, behind + window);
    const std::int64_t placeBehind = places[behind - 1] + 1 + missing;
    const auto placeOf = [&](std::size_t i) {
        return i < behind ? places[i] : placeBehind + static_cast<std::int64_t>(i - behind);
    };
    int fewest = std::numeric_limits<int>::max();
    for (std::int64_t phase = 0; phase < perSecond; ++phase) {
        // The second before the first change is the one that most blocks would have to begin with.
        std::map<std::int64_t, int> votes;
        for (std::size_t i = first; i < last; ++i)
            ++votes[series.seconds[i] - (placeOf(i) - places[first] + phase) / perSecond];
        int most = 0;
        for (const auto &[second, count] : votes)
            most = std::max(most, count);
        fewest = std::min(fewest, static_cast<int>(last - first) - most);
    }
    return fewest;
}
