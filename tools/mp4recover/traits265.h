#pragma once

#include "traits.h"

/// As traitsOf(), for H.265.
[[nodiscard]] std::vector<PictureTraits> traitsOfH265(Bytes bytes, const AccessUnits &found,
                                                      const std::vector<std::uint8_t> &channels,
                                                      const std::vector<bool> &wanted,
                                                      const std::vector<std::vector<ParameterSet>> &sets);
