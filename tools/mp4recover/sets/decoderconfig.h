#pragma once

#include "reading/findings.h"
#include "sets/parametersets.h"

#include <cstdint>
#include <vector>

/// The decoder configuration record of an MP4 sample entry (ISO/IEC 14496-15: avcC, hvcC) with units behind
/// 4-byte lengths. `sets` holds sets that parse; empty without a sequence set.
[[nodiscard]] std::vector<std::uint8_t> decoderConfiguration(VideoCodec codec,
                                                             const std::vector<ParameterSet> &sets);
