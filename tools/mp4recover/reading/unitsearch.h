#pragma once

#include "reading/blocks.h"
#include "reading/boxes.h"
#include "reading/stretchsearch.h"

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
    std::vector<Box> indexes; ///< each box "moov", wherever it stands
    std::vector<Span> boxes; ///< these, and the boxes behind them
};

/// Searches the file once from `begin` to its end. Memory: what is found, and the mapping of some megabytes.
[[nodiscard]] Landmarks searchUnits(const MappedFile &file, std::uint64_t begin, const Progress &progress);
