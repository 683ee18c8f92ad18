#pragma once

#include "reading/findings.h"
#include "time/clockmarks.h"

#include <cstdint>
#include <vector>

/// A place at which pictures of all channels may be missing, and the bytes that are.
struct Hole {
    Span span;
    std::uint64_t lost = 0;
};

/// The losses of a recording, in file order; those with no picture between are one.
[[nodiscard]] std::vector<Hole> holesOf(const Findings &findings);

/// Each channel's pictures counted in frame times, with those that are missing. What all channels lost in a
/// hole took the same time: the numbers of their pictures and the length of their groups tell it but for
/// whole groups, the clock and the bytes tell how many of these. `rates`: pictures a second of each channel.
[[nodiscard]] std::vector<std::vector<std::int64_t>> countFrames(const Findings &findings,
                                                                 const std::vector<Hole> &holes,
                                                                 const std::vector<ClockMark> &clock,
                                                                 const std::vector<double> &rates);
