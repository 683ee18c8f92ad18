#pragma once

#include "unitsearch.h"

#include <optional>

/// Where the recording ends, if the file was allocated before and an older recording's data stands behind:
/// the telemetry's clock steps there to the past, or far ahead. The border lies in the break of the chain of
/// units before the first block of the other time; without such a step it is the end of the payload.
struct RecordingEnd {
    std::uint64_t offset = 0;
    /// If no break was found, as where both recordings are padded alike: between these places. Then the
    /// numbers of the pictures tell more than the offset, which is a guess.
    std::optional<Span> doubtful;
};
[[nodiscard]] RecordingEnd recordingEnd(Bytes bytes, Span payload, const Landmarks &landmarks);

/// Drops what begins at or behind the end.
void cutOff(Landmarks &landmarks, std::uint64_t end);
