#pragma once

#include "reading/stretchsearch.h"
#include "sets/parametersets.h"

#include <vector>

/// A coded picture with the units that stand before it: delimiter, parameter sets, messages.
struct AccessUnit {
    std::uint64_t offset = 0;
    std::uint64_t end = 0;
    std::uint32_t firstUnit = 0; ///< among those kept
    std::uint16_t unitCount = 0;
    std::uint16_t sliceCount = 0;
    SliceStart slice; ///< the first one
    /// Distinct contents of the parameter sets in it: 1 + index into AccessUnits::sets; 0 for none.
    std::uint16_t setsId = 0;
    bool isDamaged = false;
    bool isSupported = false; ///< stands directly beside something known
};

/// The parameter sets of an access unit, as they stand in it.
struct SetGroup {
    std::vector<ParameterSet> sets;
    int width = 0; ///< as cropped; 0 without a sequence set
    int height = 0;
    int counterBits = 0; ///< log2 of frame_num's or of the picture order's modulus; 0 without a sequence set
};

struct AccessUnits {
    std::vector<FoundUnit> units; ///< those that belong to pictures
    std::vector<AccessUnit> pictures;
    std::vector<SetGroup> sets;
};

/// Puts units together to pictures. Units that belong to no picture, such as the later slices of one whose
/// first slice is lost, are left out.
[[nodiscard]] AccessUnits groupUnits(Bytes bytes, VideoCodec codec, const std::vector<FoundUnit> &units);
