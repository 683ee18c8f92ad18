#pragma once

#include "budget.h"
#include "reading/bytes.h"
#include "reading/findings.h"
#include "sets/parametersets.h"

#include <map>
#include <vector>

/// The parameter sets that a channel is played with.
struct ChosenSets {
    std::vector<ParameterSet> units; ///< empty: none
    bool isProven = false; ///< pictures were decoded with them
    int width = 0;
    int height = 0;
    double framesPerSecond = 0; ///< 0: not said
};

/// The parameter sets of each of the first `count` channels: recorded ones with which its pictures can be
/// decoded; where there are none, built ones.
[[nodiscard]] std::vector<ChosenSets> setsOfChannels(Bytes bytes, const Findings &findings, std::size_t count,
                                                     const Budget &budget);

/// Picture set ids that the slices of a channel refer to, with how many pictures do.
[[nodiscard]] std::map<int, std::size_t> usedPictureSets(Bytes bytes, const std::vector<Unit> &units,
                                                         const Channel &channel);
