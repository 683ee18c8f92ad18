#pragma once

#include "findings.h"
#include "parametersets.h"
#include "trialdecoder.h"

#include <optional>
#include <vector>

/// Sets of H.265 for a group of pictures that begins with a key frame, found by decoding it and by comparing
/// what becomes of its key frame with `otherKeyFrame`, one of another group. Covers encoders that write their
/// reference sets into the slices; none if no guess gets through.
[[nodiscard]] std::optional<H265Guess> searchH265Sets(const ChannelRequest &size,
                                                      const std::vector<int> &pictureIds,
                                                      const std::vector<Sample> &samples,
                                                      const Sample &otherKeyFrame);

[[nodiscard]] std::vector<ParameterSet> buildH265Sets(H265Guess guess, const std::vector<int> &pictureIds);
