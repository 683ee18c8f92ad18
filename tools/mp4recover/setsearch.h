#pragma once

#include "bytes.h"
#include "findings.h"
#include "parametersets.h"

#include <map>
#include <optional>
#include <vector>

/// Parameter sets for a channel that has none, or none that fit: built from its size, and judged by decoding
/// a group of pictures. The number of trials and the time that they take are bounded.
[[nodiscard]] std::optional<std::vector<ParameterSet>> searchSets(Bytes bytes, const std::vector<Unit> &units,
                                                                  const Channel &channel,
                                                                  const std::map<int, std::size_t> &usedIds);
