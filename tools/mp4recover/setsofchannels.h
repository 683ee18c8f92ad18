#pragma once

#include "setschoice.h"

#include <vector>

/// The parameter sets of each of the first `count` channels: recorded ones with which its pictures can be
/// decoded; where there are none, built ones; where these don't get through whole groups, built ones like
/// another channel's, since cameras code all channels alike. `None` only where nothing can be built.
[[nodiscard]] std::vector<ChosenSets> setsOfChannels(Bytes bytes, const Findings &findings,
                                                     std::size_t count);
