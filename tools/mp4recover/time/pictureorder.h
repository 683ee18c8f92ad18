#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <cstdint>
#include <vector>

/// For each picture of the channel how many pictures of its coded sequence are shown before it, plus the
/// number of pictures in the sequences before. Empty where all are shown in the order in which they are
/// decoded. `configuration` is the decoder's.
[[nodiscard]] std::vector<std::uint32_t> displayOrder(Bytes bytes, const std::vector<Unit> &units,
                                                      const Channel &channel,
                                                      const std::vector<std::uint8_t> &configuration);
