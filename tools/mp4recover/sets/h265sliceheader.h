#pragma once

#include "sets/parametersets.h"
#include "sets/trialdecoder.h"

/// Whether the header of the first slice of an access unit can be read with these sets of H.265: it ends with
/// a one and zeros up to the next byte, and its values are those that encoders write. Wrong sets shift it.
[[nodiscard]] bool fitsSliceHeader(const Sample &sample, const H265Guess &guess);
