#include "timing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

constexpr int minimumTimescale = 10000;
constexpr double largestGapSeconds = 24 * 3600;

/// Rates that cameras have.
constexpr std::array usualRates{Rate{10, 1}, Rate{12, 1},       Rate{15, 1},      Rate{20, 1},
                                Rate{24, 1}, Rate{25, 1},       Rate{55, 2},      Rate{30000, 1001},
                                Rate{30, 1}, Rate{45, 1},       Rate{50, 1},      Rate{60000, 1001},
                                Rate{60, 1}, Rate{24000, 1001}, Rate{15000, 1001}};

std::uint64_t offsetOf(const Picture &picture, const std::vector<Unit> &units)
{
    return units[picture.firstUnit].offset;
}

/// A reading of the clock and how many frame times had passed in the channel by then.
struct Reading {
    double seconds = 0;
    double frames = 0;
    std::size_t segment = 0; ///< pictures between two losses are one
};

/// The channel's pictures counted in frame times, with what the slices say is missing.
struct Count {
    std::vector<std::int64_t> frames; ///< one per picture
    std::vector<std::size_t> segmentStarts; ///< indexes of pictures
};

/// Frame numbers of which too few bits or too many are known tell of gaps that were never there.
std::int64_t missingBefore(const Channel &channel, const std::vector<Unit> &units, std::size_t index,
                           const ClockLine &clock, double likelyRate)
{
    const auto told = std::int64_t{channel.pictures[index].picturesMissingBefore};
    if (index == 0 || told == 0)
        return 0;
    constexpr double tolerance = 1.0; // seconds
    double elapsed = 10;
    if (clock.isUsable())
        elapsed = clock.at(offsetOf(channel.pictures[index], units))
            - clock.at(offsetOf(channel.pictures[index - 1], units));
    const double most = (std::clamp(elapsed, 0.0, largestGapSeconds) + tolerance) * likelyRate;
    return double(told) <= most ? told : 0;
}

Count countFrames(const Channel &channel, const std::vector<Unit> &units, const ClockLine &clock,
                  double likelyRate)
{
    Count count;
    std::int64_t frame = -1;
    for (std::size_t i = 0; i < channel.pictures.size(); ++i) {
        const Picture &picture = channel.pictures[i];
        if (i == 0 || picture.followsLoss)
            count.segmentStarts.push_back(i);
        frame += 1 + missingBefore(channel, units, i, clock, likelyRate);
        count.frames.push_back(frame);
    }
    return count;
}

std::vector<Reading> readingsOf(const Channel &channel, const std::vector<Unit> &units, const Count &count,
                                const ClockLine &clock)
{
    std::vector<Reading> readings;
    std::size_t next = 0;
    std::size_t segment = 0;
    for (const ClockMark &mark : clock.marks()) {
        while (next < channel.pictures.size() && offsetOf(channel.pictures[next], units) < mark.offset)
            ++next;
        while (segment + 1 < count.segmentStarts.size() && count.segmentStarts[segment + 1] < next)
            ++segment;
        const bool isInside = next > 0 && next < channel.pictures.size();
        const bool isAtLoss =
            segment + 1 < count.segmentStarts.size() && count.segmentStarts[segment + 1] == next;
        if (isInside && !isAtLoss)
            readings.push_back({mark.seconds, double(count.frames[next]), segment});
    }
    return readings;
}

/// A straight line through all segments: one slope, each with a start of its own.
struct Fit {
    double rate = 0; ///< frames a second; 0: too few readings
    double error = 0; ///< standard error of the rate
    double spread = 0; ///< root of the mean square distance of the readings, frames
};

/// How often the readings cross the line of that slope. Where writers run late by turns, neighbouring
/// readings are off alike, and many of them tell no more than one.
std::size_t crossings(const std::vector<Reading> &readings, double rate)
{
    std::size_t count = 0;
    for (std::size_t begin = 0; begin < readings.size();) {
        std::size_t end = begin;
        double sum = 0;
        for (; end < readings.size() && readings[end].segment == readings[begin].segment; ++end)
            sum += readings[end].frames - rate * readings[end].seconds;
        const double middle = sum / double(end - begin);
        const auto isAbove = [&](std::size_t i) {
            return readings[i].frames - rate * readings[i].seconds > middle;
        };
        for (std::size_t i = begin + 1; i < end; ++i)
            count += isAbove(i) != isAbove(i - 1) ? 1 : 0;
        begin = end;
    }
    return count;
}

Fit fitRate(const std::vector<Reading> &readings)
{
    double squares = 0;
    double products = 0;
    double frameSquares = 0;
    std::size_t steps = 0;
    for (std::size_t begin = 0; begin < readings.size();) {
        std::size_t end = begin;
        double seconds = 0;
        double frames = 0;
        for (; end < readings.size() && readings[end].segment == readings[begin].segment; ++end) {
            seconds += readings[end].seconds;
            frames += readings[end].frames;
            steps += end > begin && readings[end].frames > readings[end - 1].frames ? 1 : 0;
        }
        const auto size = double(end - begin);
        for (std::size_t i = begin; i < end; ++i) {
            const double x = readings[i].seconds - seconds / size;
            const double y = readings[i].frames - frames / size;
            squares += x * x;
            products += x * y;
            frameSquares += y * y;
        }
        begin = end;
    }
    Fit fit;
    if (squares < 0.1 || products <= 0 || steps < 2)
        return fit;
    fit.rate = products / squares;
    const auto size = double(readings.size());
    const double rest = std::max(0.0, frameSquares - fit.rate * products);
    constexpr double countingError = 0.3; // of whole frames
    fit.spread = std::max(countingError, std::sqrt(rest / size));
    const double effective =
        double(std::min({steps, readings.size(), 1 + 2 * crossings(readings, fit.rate)}));
    fit.error = fit.spread / std::sqrt(effective * squares / size);
    // The clock shows whole seconds: what lies between is only known where it has shown some.
    constexpr double trustedSpan = 2;
    constexpr double readingError = 0.15;
    const double span = readings.back().seconds - readings.front().seconds;
    if (span < trustedSpan)
        fit.error += fit.rate * readingError / std::max(span, readingError);
    return fit;
}

Rate asRate(double value)
{
    for (const Rate &usual : usualRates)
        if (std::abs(usual.value() - value) < 1e-4 * value)
            return usual;
    constexpr int thousandths = 1000;
    const double bounded = std::clamp(value, 0.1, 1000.0);
    const double scaled = std::round(bounded * thousandths);
    return {static_cast<int>(scaled), thousandths};
}

/// The rate that explains the count best; what the camera itself says is believed as far as the count lets
/// it.
Rate chooseRate(const Fit &fit, const RateHints &hints)
{
    const double requested = hints.requested > 0 && hints.requested <= 1000 ? hints.requested : 0;
    const double inSets = hints.inSets >= 1 && hints.inSets <= 1000 ? hints.inSets : 0;
    if (fit.rate <= 0) {
        // The arguments are whole numbers, rounded either way.
        if (inSets > 0 && (requested <= 0 || std::abs(inSets - requested) < 1))
            return asRate(inSets);
        return requested > 0 ? asRate(requested) : Rate{};
    }
    struct Candidate {
        double rate;
        double doubt; ///< as a squared number of standard errors
    };
    std::vector<Candidate> candidates;
    if (inSets > 0)
        candidates.push_back({inSets, 0});
    if (requested > 0)
        candidates.push_back({requested, 1});
    for (const Rate &usual : usualRates)
        candidates.push_back({usual.value(), 2.5});
    constexpr double clockTolerance = 3e-5;
    const double error = std::max(fit.error, clockTolerance * fit.rate);
    Candidate best{fit.rate, 9};
    double bestCost = best.doubt;
    for (const Candidate &candidate : candidates) {
        const double distance = (candidate.rate - fit.rate) / error;
        const double cost = distance * distance + candidate.doubt;
        if (cost < bestCost) {
            best = candidate;
            bestCost = cost;
        }
    }
    return asRate(best.rate);
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// By how many frame times a segment's pictures come later by the clock than counted.
struct Lateness {
    double frames = 0;
    bool isReliable = false;
};

/// Segments with few readings take the value of the one before. `spread` is set to the usual distance of a
/// reading from its segment's value, frames.
std::vector<Lateness> lateness(const std::vector<Reading> &readings, std::size_t segments, double rate,
                               double &spread)
{
    std::vector<Lateness> late(segments);
    spread = 0;
    std::vector<std::vector<double>> distances(segments);
    for (const Reading &reading : readings)
        distances[reading.segment].push_back(reading.seconds * rate - reading.frames);
    const auto first = std::find_if(distances.begin(), distances.end(),
                                    [](const std::vector<double> &values) { return !values.empty(); });
    if (first == distances.end())
        return late;
    std::vector<double> deviations;
    const double zero = median(*first);
    for (std::size_t i = 0; i < segments; ++i) {
        constexpr std::size_t enough = 4;
        if (i > 0)
            late[i] = {late[i - 1].frames, false};
        if (distances[i].empty())
            continue;
        const double middle = median(distances[i]);
        if (distances[i].size() >= enough)
            late[i] = {middle - zero, true};
        for (const double distance : distances[i])
            deviations.push_back(std::abs(distance - middle));
    }
    constexpr double deviationsInMedian = 1.48;
    spread = deviationsInMedian * median(std::move(deviations));
    return late;
}

/// Makes the gaps what the clock says where it contradicts the slices: their frame numbers wrap, and begin
/// anew at a key frame that may be lost too.
void correctGaps(Count &count, const std::vector<Lateness> &late, double rate, double spread,
                 int log2MaxFrameNum)
{
    const double tolerance = std::max(0.8, 2 * spread);
    const double wrap = log2MaxFrameNum > 0 ? double(std::int64_t{1} << log2MaxFrameNum) : 1;
    std::int64_t added = 0;
    for (std::size_t segment = 1; segment < count.segmentStarts.size(); ++segment) {
        const std::size_t begin = count.segmentStarts[segment];
        const std::size_t end =
            segment + 1 < count.segmentStarts.size() ? count.segmentStarts[segment + 1] : count.frames.size();
        const double wanted = std::clamp(late[segment].frames - double(added), -largestGapSeconds * rate,
                                         largestGapSeconds * rate);
        if (late[segment].isReliable && std::abs(wanted) > tolerance) {
            const double wraps = std::round(wanted / wrap) * wrap;
            const double correction = std::abs(wraps - wanted) <= tolerance ? wraps : std::round(wanted);
            added += static_cast<std::int64_t>(correction);
        }
        for (std::size_t i = begin; i < end; ++i)
            count.frames[i] += added;
    }
    // Where a gap became shorter, gaps before it that no reading confirms were too long.
    for (std::size_t i = 0; i < count.frames.size(); ++i)
        count.frames[i] = std::max(count.frames[i], static_cast<std::int64_t>(i));
    for (std::size_t i = count.frames.size(); i-- > 1;)
        count.frames[i - 1] = std::min(count.frames[i - 1], count.frames[i] - 1);
}

std::int64_t firstShownOf(const VideoTimes &times)
{
    std::int64_t first = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < times.shownLater.size(); ++i)
        first = std::min(first, times.decode[i] + times.shownLater[i]);
    return times.shownLater.empty() ? 0 : first;
}

/// Gives each picture the time of the place in which it is shown, later for all by what keeps every picture
/// from being shown before it is decoded.
void setShown(VideoTimes &times, const std::vector<std::uint32_t> &order)
{
    if (order.size() != times.decode.size())
        return;
    std::int64_t delay = 0;
    for (std::size_t i = 0; i < order.size(); ++i)
        delay = std::max(delay, times.decode[i] - times.decode[order[i]]);
    times.shownLater.resize(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        const std::int64_t later = times.decode[order[i]] + delay - times.decode[i];
        times.shownLater[i] = static_cast<std::int32_t>(
            std::min<std::int64_t>(later, std::numeric_limits<std::int32_t>::max()));
    }
    times.firstShown = firstShownOf(times);
}

} // namespace

ClockLine::ClockLine(const std::vector<ClockMark> &marks)
{
    for (const ClockMark &mark : marks)
        if (m_marks.empty()
            || (mark.offset > m_marks.back().offset && mark.seconds >= m_marks.back().seconds))
            m_marks.push_back(mark);
    if (m_marks.size() >= 2 && m_marks.back().seconds - m_marks.front().seconds < 0.5)
        m_marks.clear();
}

double ClockLine::at(std::uint64_t offset) const
{
    if (!isUsable())
        return 0;
    const auto above =
        std::upper_bound(m_marks.begin(), m_marks.end(), offset,
                         [](std::uint64_t at, const ClockMark &mark) { return at < mark.offset; });
    const bool isOutside = above == m_marks.begin() || above == m_marks.end();
    const ClockMark &from = isOutside ? m_marks.front() : *(above - 1);
    const ClockMark &to = isOutside ? m_marks.back() : *above;
    const ClockMark &base = above == m_marks.end() ? m_marks.back() : from;
    const double secondsPerByte = (to.seconds - from.seconds) / double(to.offset - from.offset);
    const double distance =
        offset >= base.offset ? double(offset - base.offset) : -double(base.offset - offset);
    // How densely the time goes on outside is anybody's guess.
    constexpr double longestGuess = 0.1;
    const double further = distance * secondsPerByte;
    return base.seconds + (isOutside ? std::clamp(further, -longestGuess, longestGuess) : further);
}

VideoTimes timePictures(const Channel &channel, const std::vector<Unit> &units, const ClockLine &clock,
                        const RateHints &hints, const std::vector<std::uint32_t> &order, int log2MaxFrameNum)
{
    VideoTimes times;
    const double likelyRate = std::clamp(std::max(hints.inSets, double(hints.requested)), 15.0, 120.0);
    Count count = countFrames(channel, units, clock, likelyRate);
    const std::vector<Reading> readings = readingsOf(channel, units, count, clock);
    const Fit fit = fitRate(readings);
    const Rate rate = chooseRate(fit, hints);
    if (!readings.empty()) {
        double spread = 0;
        const std::vector<Lateness> late =
            lateness(readings, count.segmentStarts.size(), rate.value(), spread);
        correctGaps(count, late, rate.value(), spread, log2MaxFrameNum);
        std::vector<double> starts;
        for (const Reading &reading : readings)
            if (reading.segment == readings.front().segment)
                starts.push_back(reading.seconds - reading.frames / rate.value());
        times.startSeconds = median(starts);
    }
    const int factor = (minimumTimescale + rate.numerator - 1) / rate.numerator;
    times.timescale = rate.numerator * factor;
    times.lastDuration = std::int64_t{rate.denominator} * factor;
    times.decode.reserve(count.frames.size());
    for (const std::int64_t frame : count.frames)
        times.decode.push_back(frame * times.lastDuration);
    setShown(times, order);
    return times;
}

VideoTimes timesOfIndex(const Channel &channel)
{
    VideoTimes times;
    times.timescale = static_cast<int>(
        std::clamp<std::uint32_t>(channel.timescale, 1, std::numeric_limits<std::int32_t>::max()));
    std::int32_t earliest = 0;
    bool hasOffsets = false;
    for (const IndexedTime &time : channel.times) {
        earliest = std::min(earliest, time.compositionOffset);
        hasOffsets = hasOffsets || time.compositionOffset != 0;
    }
    constexpr std::int64_t longest = std::int64_t{1} << 50;
    for (const IndexedTime &time : channel.times) {
        const std::int64_t wanted = std::clamp(time.decode, -longest, longest)
            - std::clamp(channel.times.front().decode, -longest, longest);
        times.decode.push_back(times.decode.empty() ? 0 : std::max(times.decode.back() + 1, wanted));
        if (hasOffsets)
            times.shownLater.push_back(static_cast<std::int32_t>(std::min<std::int64_t>(
                std::int64_t{time.compositionOffset} - earliest, std::numeric_limits<std::int32_t>::max())));
    }
    times.firstShown = firstShownOf(times);
    const std::size_t size = times.decode.size();
    times.lastDuration =
        size >= 2 ? times.decode[size - 1] - times.decode[size - 2] : times.timescale / 30 + 1;
    return times;
}

void alignStarts(std::vector<VideoTimes> &channels)
{
    constexpr double noticeableSeconds = 0.5;
    double earliest = std::numeric_limits<double>::max();
    for (const VideoTimes &times : channels)
        if (!times.decode.empty())
            earliest = std::min(earliest, times.startSeconds);
    for (VideoTimes &times : channels) {
        const double late = times.startSeconds - earliest;
        if (times.decode.empty() || late < noticeableSeconds || late > largestGapSeconds)
            continue;
        const auto ticks = std::llround(late * times.timescale);
        for (std::size_t i = 1; i < times.decode.size(); ++i)
            times.decode[i] += ticks;
        if (times.decode.size() == 1)
            times.lastDuration += ticks;
    }
}
