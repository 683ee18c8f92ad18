#pragma once

#include "unitsearch.h"

/// Where the recording ends, if the file was allocated before and an older recording's data stands behind:
/// the telemetry's clock steps there to the past, or far ahead. The border lies in the break of the chain of
/// units before the first block of the other time; without such a step it is the end of the payload.
[[nodiscard]] std::uint64_t recordingEnd(Bytes bytes, Span payload, const Landmarks &landmarks);

/// Drops what begins at or behind the end.
void cutOff(Landmarks &landmarks, std::uint64_t end);
