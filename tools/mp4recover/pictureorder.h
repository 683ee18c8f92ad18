#pragma once

#include "bytes.h"
#include "findings.h"
#include "parametersets.h"

#include <cstdint>
#include <vector>

/// The sets of a channel that its slices are read with.
struct ChannelSets {
    std::vector<H264Sequence> h264Sequences = {};
    std::vector<H264Picture> h264Pictures = {};
    std::vector<H265Sequence> h265Sequences = {};
    std::vector<H265Picture> h265Pictures = {};
};

/// Reads whatever sets are among these units.
[[nodiscard]] ChannelSets readSets(VideoCodec codec, const std::vector<ParameterSet> &sets);

/// For each picture of the channel how many pictures of its coded sequence are shown before it, plus the
/// number of pictures in the sequences before. Empty where all are shown in the order in which they are
/// decoded.
[[nodiscard]] std::vector<std::uint32_t> displayOrder(Bytes bytes, const std::vector<Unit> &units,
                                                      const Channel &channel, const ChannelSets &sets);
