#include "time/clockmarks.h"

#include <algorithm>

namespace {

bool isLossBetween(const std::vector<Span> &losses, std::uint64_t from, std::uint64_t to)
{
    const auto isBefore = [](const Span &loss, std::uint64_t at) { return loss.end() <= at; };
    const auto loss = std::lower_bound(losses.begin(), losses.end(), from, isBefore);
    return loss != losses.end() && loss->offset < to;
}

std::vector<ClockMark> changesOf(const Findings &findings, bool arePositions)
{
    std::vector<ClockMark> marks;
    const ClockReading *last = nullptr;
    for (const ClockReading &reading : findings.clock) {
        if (reading.isPosition != arePositions || (last != nullptr && reading.second < last->second))
            continue;
        const bool isChange = last != nullptr && reading.second == last->second + 1;
        if (isChange && !isLossBetween(findings.losses, last->offset, reading.offset))
            marks.push_back({reading.offset, double(reading.second)});
        last = &reading;
    }
    return marks;
}

} // namespace

std::vector<ClockMark> changesOfSecond(const Findings &findings)
{
    std::vector<ClockMark> marks = changesOf(findings, false);
    return marks.empty() ? changesOf(findings, true) : marks;
}
