#pragma once

#include "budget.h"
#include "reading/bytes.h"
#include "reading/findings.h"
#include "sets/parametersets.h"
#include "sets/trialdecoder.h"

#include <map>
#include <optional>
#include <vector>

/// Parameter sets that were built.
struct BuiltSets {
    std::vector<ParameterSet> units;
    std::size_t cleanPictures = 0; ///< so many were decoded without a message; 0: a mere guess
    bool isWhole = false; ///< these are a group of pictures as long as there is any
};

/// Parameter sets for a channel that has none, or none that fit: built from its size, and judged by decoding
/// a group of pictures, as long as the budget lasts. Where no guess gets through a group, because pictures of
/// it are damaged or on the wrong channel, the one that came farthest. None for channels without a size or
/// without pictures.
[[nodiscard]] std::optional<BuiltSets> searchSets(Bytes bytes, const std::vector<Unit> &units,
                                                  const Channel &channel,
                                                  const std::map<int, std::size_t> &usedIds,
                                                  const Budget &budget);

/// Pictures to judge sets by: the first whole ones from a key frame on, and a key frame of another group; at
/// most so many of the first.
[[nodiscard]] std::vector<Sample> samplesForTrial(Bytes bytes, const std::vector<Unit> &units,
                                                  const Channel &channel, std::size_t count);
