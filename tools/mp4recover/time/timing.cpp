#include "time/timing.h"

#include "time/holes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int minimumTimescale = 10000;

/// The clock against the count of the channel's pictures. Between two holes a new segment begins, as it isn't
/// known yet how many are missing there.
std::vector<FrameReading> readingsOf(const Channel &channel, const std::vector<Unit> &units,
                                     const std::vector<Hole> &holes, const std::vector<ClockMark> &clock)
{
    std::vector<FrameReading> readings;
    std::size_t next = 0;
    std::size_t segment = 0;
    for (const ClockMark &mark : clock) {
        while (next < channel.pictures.size() && units[channel.pictures[next].firstUnit].offset < mark.offset)
            ++next;
        while (segment < holes.size() && holes[segment].span.offset < mark.offset)
            ++segment;
        if (next > 0 && next < channel.pictures.size())
            readings.push_back({mark.seconds, double(next), segment});
    }
    return readings;
}

/// Channels of which the same is known have the same rate, so they are counted together.
std::vector<Rate> ratesOf(const Findings &findings, const std::vector<ChannelHints> &hints,
                          const std::vector<Hole> &holes, const std::vector<ClockMark> &clock)
{
    std::vector<std::vector<FrameReading>> readings;
    for (const Channel &channel : findings.channels)
        readings.push_back(readingsOf(channel, findings.units, holes, clock));
    std::vector<Rate> rates;
    for (std::size_t i = 0; i < hints.size(); ++i) {
        std::vector<FrameReading> together;
        for (std::size_t other = 0; other < hints.size(); ++other) {
            const bool isAlike = hints[i].rate.requested > 0 && hints[other].rate == hints[i].rate;
            if (other != i && !isAlike)
                continue;
            for (FrameReading reading : readings[other]) {
                reading.segment += other * (holes.size() + 1);
                together.push_back(reading);
            }
        }
        rates.push_back(chooseRate(together, hints[i].rate));
    }
    return rates;
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

/// Channels whose first pictures are lost begin late, by the pictures of the channel that has most.
void alignStarts(const Findings &findings, std::vector<VideoTimes> &all)
{
    constexpr double noticeableSeconds = 0.5;
    const auto longest =
        std::max_element(all.begin(), all.end(), [](const VideoTimes &a, const VideoTimes &b) {
            return a.decode.size() < b.decode.size();
        });
    if (longest == all.end())
        return;
    std::vector<ClockMark> marks;
    const auto &pictures = findings.channels[static_cast<std::size_t>(longest - all.begin())].pictures;
    for (std::size_t i = 0; i < pictures.size(); ++i)
        marks.push_back(
            {findings.units[pictures[i].firstUnit].offset, double(longest->decode[i]) / longest->timescale});
    const ClockLine line(marks);
    for (std::size_t i = 0; i < all.size(); ++i) {
        VideoTimes &times = all[i];
        if (times.decode.empty() || &times == &*longest)
            continue;
        const double late = line.at(findings.units[findings.channels[i].pictures.front().firstUnit].offset);
        // In pieces of a second each the later channels always stand behind.
        const bool hasRoom = late + double(times.end()) / times.timescale
            < double(longest->end()) / longest->timescale + noticeableSeconds;
        if (late < noticeableSeconds || !hasRoom)
            continue;
        const auto ticks = std::llround(late * times.timescale);
        for (std::size_t picture = 1; picture < times.decode.size(); ++picture)
            times.decode[picture] += ticks;
        if (times.decode.size() == 1)
            times.lastDuration += ticks;
    }
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
    const std::vector<Hole> holes = holesOf(findings);
    const std::vector<ClockMark> clock = changesOfSecond(findings);
    const std::vector<Rate> rates = ratesOf(findings, hints, holes, clock);
    std::vector<double> perSecond;
    for (const Rate &rate : rates)
        perSecond.push_back(rate.value());
    const auto counts = countFrames(findings, holes, clock, perSecond);
    std::vector<VideoTimes> all(findings.channels.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        VideoTimes &times = all[i];
        const int factor = (minimumTimescale + rates[i].numerator - 1) / rates[i].numerator;
        times.timescale = rates[i].numerator * factor;
        times.lastDuration = std::int64_t{rates[i].denominator} * factor;
        for (const std::int64_t frame : counts[i])
            times.decode.push_back(frame * times.lastDuration);
        if (!counts[i].empty())
            times.lost = counts[i].back() + 1 - static_cast<std::int64_t>(counts[i].size());
        setShown(times, hints[i].order);
    }
    alignStarts(findings, all);
    return all;
}
