#pragma once

#include "bytes.h"
#include "findings.h"
#include "parametersets.h"
#include "trialdecoder.h"

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
    bool isWhole = false; ///< these are a group of pictures as long as there is any
};

/// Parameter sets for a channel that has none, or none that fit: built from its size, and judged by decoding
/// a group of pictures. The number of trials and the time that they take are bounded. Where no guess gets
/// through a group, because pictures of it are damaged or on the wrong channel, the likeliest one. None for
/// channels without a size or without pictures.
/// `effort`, from 0 to 1, shortens the search.
[[nodiscard]] std::optional<BuiltSets> searchSets(Bytes bytes, const std::vector<Unit> &units,
                                                  const Channel &channel,
                                                  const std::map<int, std::size_t> &usedIds,
                                                  double effort = 1);

/// Pictures to judge sets by: the first whole ones from a key frame on, and a key frame of another group; at
/// most so many of the first.
[[nodiscard]] std::vector<Sample> samplesForTrial(Bytes bytes, const std::vector<Unit> &units,
                                                  const Channel &channel, std::size_t count);

/// Sets like those of another channel in the size of this one; none if that has another codec.
[[nodiscard]] std::optional<BuiltSets> setsLike(const BuiltSets &example, const Channel &channel,
                                                const std::map<int, std::size_t> &usedIds);
