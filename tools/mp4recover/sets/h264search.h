#pragma once

#include "sets/setsearch.h"
#include "sets/sliceguess.h"

/// Sets of H.264 for pictures in a row, at best a whole group from its key frame on, found by decoding them.
[[nodiscard]] BuiltSets searchH264Sets(const HeaderGuess &headers, const ChannelRequest &size,
                                       const std::vector<int> &pictureIds, const std::vector<Sample> &samples,
                                       const Budget &budget);
