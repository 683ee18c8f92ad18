#pragma once

#include "sets/setsearch.h"

/// Sets of H.265 for pictures in a row from a key frame on, found by decoding them and looking at what comes
/// of it: the decoder goes on through nonsense without a message.
[[nodiscard]] BuiltSets searchH265Sets(const ChannelRequest &size, const std::vector<int> &pictureIds,
                                       const std::vector<Sample> &samples, const Budget &budget);
