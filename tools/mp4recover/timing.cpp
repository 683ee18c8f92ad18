#include "timing.h"

#include "holes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int minimumTimescale = 10000;
constexpr double longestLateSeconds = 24 * 3600;

std::uint64_t offsetOf(const Picture &picture, const std::vector<Unit> &units)
{
    return units[picture.firstUnit].offset;
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Readings of the clock against the count of the channel's pictures. `counts` may leave out what is missing
/// at `breaks`: there a new segment begins.
std::vector<FrameReading> readingsOf(const Channel &channel, const std::vector<Unit> &units,
                                     const std::vector<std::int64_t> &counts,
                                     const std::vector<std::size_t> &breaks, const BlockSeries &blocks,
                                     const std::vector<double> &times)
{
    std::vector<FrameReading> readings;
    std::size_t next = 0;
    std::size_t segment = 0;
    for (std::size_t i = 0; i < blocks.offsets.size(); ++i) {
        while (next < channel.pictures.size() && offsetOf(channel.pictures[next], units) < blocks.offsets[i])
            ++next;
        while (segment < breaks.size() && breaks[segment] < next)
            ++segment;
        const bool isInside = next > 0 && next < channel.pictures.size();
        const bool isAtBreak = segment < breaks.size() && breaks[segment] == next;
        if (isInside && !isAtBreak)
            readings.push_back({times[i], double(counts[next]), segment});
    }
    return readings;
}

/// What all channels have in common.
struct Common {
    std::vector<Hole> holes;
    std::vector<BlockSeries> blocks;
    std::vector<double> blockTimes; ///< of the first series
};

/// The pictures of the channel that has most.
PictureBeat beatOf(const Findings &findings, const std::vector<ChannelHints> &hints)
{
    std::size_t densest = 0;
    for (std::size_t i = 1; i < findings.channels.size(); ++i)
        if (findings.channels[i].pictures.size() > findings.channels[densest].pictures.size())
            densest = i;
    PictureBeat beat;
    if (findings.channels.empty())
        return beat;
    for (const Picture &picture : findings.channels[densest].pictures)
        beat.offsets.push_back(offsetOf(picture, findings.units));
    const RateHints &rate = hints[densest].rate;
    if (rate.requested > 0 || rate.inSets > 0)
        beat.perSecond = chooseRate({}, rate).value();
    return beat;
}

Common commonOf(const Findings &findings, const std::vector<ChannelHints> &hints)
{
    Common common;
    common.holes = holesOf(findings);
    std::vector<Span> spans;
    for (const Hole &hole : common.holes)
        if (hole.span.size > 0)
            spans.push_back(hole.span);
    common.blocks = blockSeriesOf(findings.clock, spans, beatOf(findings, hints));
    if (!common.blocks.empty())
        common.blockTimes = timesOf(common.blocks.front(), spans);
    return common;
}

/// Channels of which the same is known have the same rate, so they are counted together.
std::vector<Rate> ratesOf(const Findings &findings, const std::vector<ChannelHints> &hints,
                          const Common &common)
{
    std::vector<std::vector<FrameReading>> readings(findings.channels.size());
    for (std::size_t i = 0; i < findings.channels.size() && !common.blocks.empty(); ++i) {
        const Channel &channel = findings.channels[i];
        std::vector<std::int64_t> counts(channel.pictures.size());
        for (std::size_t picture = 0; picture < counts.size(); ++picture)
            counts[picture] = static_cast<std::int64_t>(picture);
        readings[i] =
            readingsOf(channel, findings.units, counts, breaksOf(channel, findings.units, common.holes),
                       common.blocks.front(), common.blockTimes);
    }
    std::vector<Rate> rates;
    for (std::size_t i = 0; i < hints.size(); ++i) {
        std::vector<FrameReading> together;
        std::size_t segments = 0;
        for (std::size_t other = 0; other < hints.size(); ++other) {
            const bool isAlike = hints[i].rate.requested > 0 && hints[other].rate == hints[i].rate;
            if (other != i && !isAlike)
                continue;
            for (FrameReading reading : readings[other]) {
                reading.segment += segments;
                together.push_back(reading);
            }
            segments += common.holes.size() + 1;
        }
        rates.push_back(chooseRate(together, hints[i].rate));
    }
    return rates;
}

/// What the clock showed when the channel's first picture was taken; 0 without a clock.
double startOf(const Channel &channel, const std::vector<Unit> &units,
               const std::vector<std::int64_t> &counts, const Common &common, double rate)
{
    if (common.blocks.empty())
        return 0;
    std::vector<double> starts;
    for (const FrameReading &reading :
         readingsOf(channel, units, counts, {}, common.blocks.front(), common.blockTimes))
        starts.push_back(reading.seconds - reading.frames / rate);
    return starts.empty() ? 0 : median(std::move(starts));
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
        delay = std::max(delay, (std::int64_t(i) - order[i]) * times.lastDuration);
    times.shownLater.resize(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        // Places that are exchanged over a gap would be farther apart than the pictures ever were.
        const std::int64_t later = times.decode[order[i]] + delay - times.decode[i];
        times.shownLater[i] = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(later, 0, std::numeric_limits<std::int32_t>::max()));
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

std::vector<VideoTimes> timePictures(const Findings &findings, const std::vector<ChannelHints> &hints)
{
    const Common common = commonOf(findings, hints);
    const std::vector<Rate> rates = ratesOf(findings, hints, common);
    std::vector<double> periods;
    for (const Rate &rate : rates)
        periods.push_back(1 / rate.value());
    const auto counts = countFrames(findings, common.holes, common.blocks, periods);
    std::vector<VideoTimes> all(findings.channels.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        VideoTimes &times = all[i];
        const Rate rate = rates[i];
        const int factor = (minimumTimescale + rate.numerator - 1) / rate.numerator;
        times.timescale = rate.numerator * factor;
        times.lastDuration = std::int64_t{rate.denominator} * factor;
        times.decode.reserve(counts[i].size());
        for (const std::int64_t frame : counts[i])
            times.decode.push_back(frame * times.lastDuration);
        if (!counts[i].empty())
            times.lost = counts[i].back() + 1 - static_cast<std::int64_t>(counts[i].size());
        times.startSeconds = startOf(findings.channels[i], findings.units, counts[i], common, rate.value());
        setShown(times, hints[i].order);
    }
    return all;
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
        if (times.decode.empty() || late < noticeableSeconds || late > longestLateSeconds)
            continue;
        const auto ticks = std::llround(late * times.timescale);
        for (std::size_t i = 1; i < times.decode.size(); ++i)
            times.decode[i] += ticks;
        if (times.decode.size() == 1)
            times.lastDuration += ticks;
    }
}
