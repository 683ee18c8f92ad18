#pragma once

#include "bytes.h"
#include "findings.h"
#include "parametersets.h"

#include <map>
#include <optional>
#include <vector>

/// Parameter sets that were built.
struct BuiltSets {
    std::vector<ParameterSet> units;
    VideoCodec codec = VideoCodec::H264;
    H264Guess h264; ///< what they were built from, by the codec
    H265Guess h265;
    std::size_t cleanPictures = 0; ///< so many were decoded without a message; 0: a mere guess
};

/// Parameter sets for a channel that has none, or none that fit: built from its size, and judged by decoding
/// a group of pictures. The number of trials and the time that they take are bounded. Where no guess gets
/// through the whole group, because pictures of it are damaged or on the wrong channel, the one that gets
/// farthest. None for channels of H.265, without a size or without pictures.
[[nodiscard]] std::optional<BuiltSets> searchSets(Bytes bytes, const std::vector<Unit> &units,
                                                  const Channel &channel,
                                                  const std::map<int, std::size_t> &usedIds);

/// Sets like those of another channel in the size of this one; none if that has another codec.
[[nodiscard]] std::optional<BuiltSets> setsLike(const BuiltSets &example, const Channel &channel,
                                                const std::map<int, std::size_t> &usedIds);
