#include "holejudge.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

namespace {

constexpr double windowSeconds = 3; // on each side of a hole
constexpr double mostDoubt = 25; // of one witness, as a squared number of standard errors
constexpr std::int64_t mostTried = 20'000; // lengths of a hole

double squared(double value) { return value * value; }

/// The distances of a lane's times to another one's where both stand side by side in the file.
struct Distances {
    double mean = 0;
    double variance = 0; ///< of one of them
    double effective = 0; ///< so many of them are independent
};

Distances summarize(const std::vector<double> &values)
{
    Distances result;
    if (values.empty())
        return result;
    for (const double value : values)
        result.mean += value / double(values.size());
    std::size_t crossings = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        result.variance += squared(values[i] - result.mean) / double(values.size());
        crossings += i > 0 && (values[i] > result.mean) != (values[i - 1] > result.mean) ? 1 : 0;
    }
    result.effective = double(std::min(values.size(), 1 + crossings));
    return result;
}

/// What the count of the picture or block would be if none were missing before it.
std::int64_t plainCount(const Lane &lane, const LaneAtHole &place, std::size_t index)
{
    if (index < place.behind)
        return lane.counts[index];
    return lane.counts[place.behind - 1] + 1 + static_cast<std::int64_t>(index - place.behind);
}

Distances distancesIn(const Lane &lane, const LaneAtHole &place, const Lane &other,
                      const LaneAtHole &otherPlace, std::size_t first, std::size_t last)
{
    std::vector<double> values;
    for (std::size_t i = first; i < last; ++i) {
        const auto above = std::upper_bound(other.offsets.begin(), other.offsets.end(), lane.offsets[i]);
        const auto next = static_cast<std::size_t>(above - other.offsets.begin());
        const bool isBehind = i >= place.behind;
        if (next == 0 || (!isBehind && next > otherPlace.before))
            continue;
        const std::size_t latest = isBehind ? std::max(next, otherPlace.behind) : next;
        const std::int64_t count = plainCount(other, otherPlace, latest - 1);
        values.push_back(double(plainCount(lane, place, i)) * lane.period
                         - (double(count) + 0.5) * other.period);
    }
    return summarize(values);
}

/// How much longer the hole is by that lane than by the other, if neither lost anything, and how well that
/// is known. Seconds.
struct Shift {
    double seconds = 0;
    double error = 0;
};

std::optional<Shift> shiftOf(const Lane &lane, const LaneAtHole &place, const Lane &other,
                             const LaneAtHole &otherPlace)
{
    const auto window = static_cast<std::size_t>(windowSeconds / lane.period) + 1;
    const Distances before = distancesIn(lane, place, other, otherPlace,
                                         place.before - std::min(place.before, window), place.before);
    const Distances behind =
        distancesIn(lane, place, other, otherPlace, place.behind, std::min(place.end, place.behind + window));
    if (before.effective == 0 || behind.effective == 0)
        return std::nullopt;
    const double shortest = std::min(lane.period, other.period);
    // A few distances may be alike by chance.
    const double variance = std::max({before.variance, behind.variance, squared(shortest)});
    const double countingError = 0.15 * shortest;
    return Shift{before.mean - behind.mean,
                 std::sqrt(variance / before.effective + variance / behind.effective) + countingError};
}

} // namespace

LaneAtHole placeOf(const Lane &lane, const Span &hole, std::uint64_t limit)
{
    const auto indexOf = [&lane](std::uint64_t offset) {
        return static_cast<std::size_t>(std::lower_bound(lane.offsets.begin(), lane.offsets.end(), offset)
                                        - lane.offsets.begin());
    };
    return {indexOf(hole.offset), indexOf(hole.end()), indexOf(limit)};
}

HoleJudge::HoleJudge(const Findings &findings, const std::vector<Hole> &holes,
                     const std::vector<BlockSeries> &blocks, const std::vector<double> &periods)
    : m_findings(findings)
    , m_blocks(blocks)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> units;
    for (const Unit &unit : findings.units)
        units.emplace_back(unit.offset, unit.size);
    std::sort(units.begin(), units.end());
    m_bytesBefore.push_back(0);
    for (const auto &[offset, size] : units) {
        constexpr std::uint64_t lengthSize = 4;
        m_unitOffsets.push_back(offset);
        m_bytesBefore.push_back(m_bytesBefore.back() + size + lengthSize);
    }
    std::size_t densest = 0;
    for (std::size_t i = 0; i < findings.channels.size(); ++i) {
        m_sizes.push_back(sizesOf(findings.channels[i], findings.units));
        m_habits.push_back(
            numberHabitsOf(findings.channels[i], breaksOf(findings.channels[i], findings.units, holes)));
        if (findings.channels[i].pictures.size() > findings.channels[densest].pictures.size())
            densest = i;
    }
    const std::int64_t common = commonGroupLength(m_habits);
    for (NumberHabits &habits : m_habits)
        if (habits.groupLength == 0)
            habits.groupLength = common;
    if (!findings.channels.empty())
        measureBetween(findings.channels[densest],
                       breaksOf(findings.channels[densest], findings.units, holes), periods[densest]);
}

HoleJudge::Sizes HoleJudge::sizesOf(const Channel &channel, const std::vector<Unit> &units)
{
    std::vector<double> usual;
    std::vector<double> keys;
    for (const Picture &picture : channel.pictures) {
        double size = 0;
        for (std::uint32_t i = 0; i < picture.unitCount; ++i)
            size += units[picture.firstUnit + i].size + 4.0;
        (picture.isSync ? keys : usual).push_back(size);
    }
    Sizes sizes;
    for (const double size : usual)
        sizes.usual += size / double(usual.size());
    for (const double size : usual)
        sizes.deviation += squared(size - sizes.usual) / double(usual.size());
    sizes.deviation = std::sqrt(sizes.deviation);
    for (const double size : keys)
        sizes.key += size / double(keys.size());
    return sizes;
}

double HoleJudge::unclaimed(std::uint64_t from, std::uint64_t to) const
{
    const auto indexOf = [this](std::uint64_t offset) {
        return std::lower_bound(m_unitOffsets.begin(), m_unitOffsets.end(), offset) - m_unitOffsets.begin();
    };
    const auto first = static_cast<std::size_t>(indexOf(from));
    const auto last = static_cast<std::size_t>(indexOf(to));
    const auto claimed = double(m_bytesBefore[last] - m_bytesBefore[first]);
    return std::max(0.0, double(to) - double(from) - claimed);
}

double HoleJudge::bytesIn(const Hole &hole, const std::vector<Lane> &lanes, double &extraSeconds) const
{
    // What stands around a loss may be a part of what was lost, that passes for sound.
    const auto behind = std::lower_bound(m_unitOffsets.begin(), m_unitOffsets.end(), hole.span.end());
    const auto before = std::lower_bound(m_unitOffsets.begin(), m_unitOffsets.end(), hole.span.offset);
    std::uint64_t from = before == m_unitOffsets.begin() ? hole.span.offset : *(before - 1);
    from = std::min(from, hole.searchFrom);
    const std::uint64_t to = behind == m_unitOffsets.end() ? hole.span.end() : *behind;
    double picturesPerSecond = 0;
    for (std::size_t i = 0; i < m_sizes.size(); ++i)
        picturesPerSecond += lanes[i].offsets.empty() ? 0 : 1 / lanes[i].period;
    extraSeconds = picturesPerSecond > 0 ? 1 / picturesPerSecond : 0;
    if (hole.span.size == 0)
        extraSeconds = lanes.front().period;
    return unclaimed(from, to);
}

void HoleJudge::measureBetween(const Channel &channel, const std::vector<std::size_t> &breaks, double period)
{
    std::vector<double> steps;
    auto nextBreak = breaks.begin();
    for (std::size_t i = 1; i < channel.pictures.size(); ++i) {
        if (nextBreak != breaks.end() && *nextBreak == i) {
            ++nextBreak;
            continue;
        }
        steps.push_back(unclaimed(m_findings.units[channel.pictures[i - 1].firstUnit].offset,
                                  m_findings.units[channel.pictures[i].firstUnit].offset));
    }
    const Distances summary = summarize(steps);
    m_betweenPerSecond = summary.mean / period;
    m_betweenVariance = summary.variance / period;
}

/// One hole's witnesses: the lane by which lengths are tried, and how the others stand to it.
struct HoleJudge::Weighing {
    struct Witness {
        std::size_t lane = 0;
        Shift shift;
        std::optional<MissingCost> numbers; // of a channel
        const BlockSeries *blocks = nullptr; // else
    };

    const HoleJudge &judge;
    const std::vector<Lane> &lanes;
    const std::vector<LaneAtHole> &places;
    std::size_t reference = 0;
    std::vector<Witness> witnesses;
    double bytes = 0; // that nothing else accounts for
    double extraSeconds = 0; // in front of what is lost
    mutable std::vector<std::map<std::int64_t, double>> known; // costs of each witness

    [[nodiscard]] double ownCost(std::size_t witness, std::int64_t missing) const
    {
        const Witness &w = witnesses[witness];
        const auto [entry, isNew] = known[witness].try_emplace(missing, 0);
        if (!isNew)
            return entry->second;
        const LaneAtHole &place = places[w.lane];
        constexpr double contradiction = 3;
        entry->second = w.numbers ? (*w.numbers)(missing)
                                  : std::min(mostDoubt,
                                             contradiction
                                                 * contradictions(*w.blocks, lanes[w.lane].counts,
                                                                  place.behind, place.end, missing));
        return entry->second;
    }

    [[nodiscard]] std::int64_t bestFor(std::size_t witness, double seconds, double &cost) const
    {
        const Witness &w = witnesses[witness];
        const double period = lanes[w.lane].period;
        const double middle = (seconds + w.shift.seconds) / period;
        const double reach = std::min(40.0, 4 * w.shift.error / period + 1);
        const auto first = std::max<std::int64_t>(0, std::llround(middle - reach));
        const auto last = std::max<std::int64_t>(first, std::llround(middle + reach));
        double least = std::numeric_limits<double>::max();
        std::int64_t best = first;
        for (std::int64_t missing = first; missing <= last; ++missing) {
            const double off = (double(missing) - middle) * period / w.shift.error;
            const double sum = std::min(mostDoubt, squared(off)) + ownCost(witness, missing);
            if (sum < least) {
                least = sum;
                best = missing;
            }
        }
        cost += least;
        return best;
    }

    /// How badly the bytes fit.
    [[nodiscard]] double byteCost(double seconds, const std::vector<std::int64_t> &missing) const
    {
        const double time = seconds + extraSeconds;
        double expected = judge.m_betweenPerSecond * time;
        double variance = judge.m_betweenVariance * std::max(time, lanes[reference].period);
        for (std::size_t i = 0; i < judge.m_sizes.size(); ++i) {
            const Sizes &sizes = judge.m_sizes[i];
            const auto witness = std::find_if(witnesses.begin(), witnesses.end(),
                                              [i](const Witness &w) { return w.lane == i; });
            double count = seconds / lanes[i].period;
            double keys = 0;
            if (witness != witnesses.end()) {
                count = double(missing[i]);
                keys = witness->numbers->missingKeys(missing[i]);
            }
            constexpr double keyDeviation = 0.3;
            expected += (count - keys) * sizes.usual + keys * sizes.key;
            variance += count * squared(sizes.deviation) + keys * squared(keyDeviation * sizes.key)
                + squared(sizes.usual / 2);
        }
        constexpr double sceneDeviation = 0.1; // pictures one behind the other are alike
        return std::min(mostDoubt,
                        squared(expected - bytes) / (variance + squared(sceneDeviation * expected) + 1));
    }

    [[nodiscard]] double weigh(std::int64_t missingReference, std::vector<std::int64_t> &missing) const
    {
        const double seconds = double(missingReference) * lanes[reference].period;
        double cost = 0;
        for (std::size_t i = 0; i < witnesses.size(); ++i) {
            if (witnesses[i].lane == reference) {
                missing[reference] = missingReference;
                cost += ownCost(i, missingReference);
            } else {
                missing[witnesses[i].lane] = bestFor(i, seconds, cost);
            }
        }
        return cost + byteCost(seconds, missing);
    }
};

std::vector<std::int64_t> HoleJudge::missingIn(const Hole &hole, const std::vector<Lane> &lanes,
                                               const std::vector<LaneAtHole> &places) const
{
    std::vector<std::int64_t> best(lanes.size(), 0);
    const std::size_t channels = m_findings.channels.size();
    std::optional<std::size_t> reference;
    const auto weight = [&](std::size_t lane) {
        return double(std::min(places[lane].before, places[lane].end - places[lane].behind));
    };
    for (std::size_t i = 0; i < channels; ++i)
        if (places[i].isOnBothSides() && (!reference || weight(i) > weight(*reference)))
            reference = i;
    if (!reference)
        return best;
    Weighing weighing{*this, lanes, places, *reference, {}, 0, 0, {}};
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        if (!places[i].isOnBothSides())
            continue;
        const auto shift = i == *reference
            ? Shift{0, 1}
            : shiftOf(lanes[i], places[i], lanes[*reference], places[*reference]);
        if (!shift)
            continue;
        Weighing::Witness witness{i, *shift, {}, nullptr};
        if (i < channels)
            witness.numbers.emplace(m_findings.channels[i], m_habits[i], lanes[i].counts, places[i].behind,
                                    places[i].end);
        else
            witness.blocks = &m_blocks[i - channels];
        weighing.witnesses.push_back(std::move(witness));
    }
    weighing.known.resize(weighing.witnesses.size());
    weighing.bytes = bytesIn(hole, lanes, weighing.extraSeconds);

    constexpr double smallestPart = 0.3; // of the usual size
    const double smallest = std::max(1.0, smallestPart * m_sizes[*reference].usual);
    std::int64_t most = 2 + static_cast<std::int64_t>(std::min(weighing.bytes / smallest, double(mostTried)));
    for (const Weighing::Witness &witness : weighing.witnesses) {
        if (witness.blocks == nullptr)
            continue;
        const std::size_t behind = places[witness.lane].behind;
        const double seconds = double(witness.blocks->seconds[behind] - witness.blocks->seconds[behind - 1]);
        const double by = (seconds + 2) / lanes[*reference].period;
        most = std::min(most, std::max<std::int64_t>(1, std::llround(by)));
    }
    double least = std::numeric_limits<double>::max();
    std::vector<std::int64_t> missing(lanes.size(), 0);
    for (std::int64_t tried = 0; tried <= most; ++tried) {
        const double cost = weighing.weigh(tried, missing);
        if (cost < least) {
            least = cost;
            best = missing;
        }
    }
    return best;
}
