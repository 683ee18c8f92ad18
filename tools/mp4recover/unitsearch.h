#pragma once

#include "blocks.h"
#include "stretchsearch.h"

#include <functional>

/// Told the share of the bytes that were searched, 0 to 1, now and then.
using Progress = std::function<void(double)>;

/// Everything in a recording that has a header or a length of its own, in file order.
struct Landmarks {
    VideoCodec codec = VideoCodec::H264; ///< the one that explains more
    std::vector<FoundUnit> units;
    std::vector<Span>
        soundFrames; ///< with a header of MPEG audio layer III; by chance there are some in any file
    std::vector<Block> blocks;
};

/// Searches [payload.offset, payload.end()) once from start to end, without the boxes, which are in file
/// order and don't overlap. Memory: what is found, and the mapping of some megabytes.
[[nodiscard]] Landmarks searchUnits(const MappedFile &file, Span payload, const std::vector<Span> &boxes,
                                    const Progress &progress);
