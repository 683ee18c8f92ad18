#pragma once

#include "blockseries.h"
#include "findings.h"

#include <cstdint>
#include <vector>

/// A place at which pictures may be missing.
struct Hole {
    Span span; ///< what is lost; empty where just the pictures' numbers jump
    std::uint64_t searchFrom = 0; ///< in front of it by as much as what is missing may stand
};

/// Those of the recording, in file order. Between two of them there is a picture of some channel.
[[nodiscard]] std::vector<Hole> holesOf(const Findings &findings);

/// Indexes of the channel's pictures right behind holes.
[[nodiscard]] std::vector<std::size_t> breaksOf(const Channel &channel, const std::vector<Unit> &units,
                                                const std::vector<Hole> &holes);

/// Each channel's pictures counted in frame times, with those that are missing. All channels and the blocks
/// lost the same time in a hole, so what each of them tells about it is weighed together: the numbers of its
/// pictures and the length of its groups, seconds of the clock, how it runs beside the others, and the bytes.
/// `periods`: seconds from picture to picture of each channel.
[[nodiscard]] std::vector<std::vector<std::int64_t>> countFrames(const Findings &findings,
                                                                 const std::vector<Hole> &holes,
                                                                 const std::vector<BlockSeries> &blocks,
                                                                 const std::vector<double> &periods);
