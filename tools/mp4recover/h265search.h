#pragma once

#include "findings.h"
#include "parametersets.h"
#include "trialdecoder.h"

#include <vector>

/// Sets of H.265 for pictures in a row, at best a whole group from its key frame on, found by their slice
/// headers, by decoding them, and by what they look like then. Covers encoders that write their reference
/// sets into the slices, or refer to the picture before only.
struct H265Found {
    H265Guess guess;
    std::size_t cleanPictures = 0; ///< so many look decoded with it, from the first one on
};
[[nodiscard]] H265Found searchH265Sets(const ChannelRequest &size, const std::vector<int> &pictureIds,
                                       const std::vector<Sample> &samples, double effort);

[[nodiscard]] std::vector<ParameterSet> buildH265Sets(H265Guess guess, const std::vector<int> &pictureIds);
