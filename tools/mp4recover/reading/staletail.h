#pragma once

#include "reading/unitsearch.h"

/// Where the recording ends, if the file was allocated before and an older recording's data stands behind.
/// The chain of units breaks at the border, and the pictures behind it have other numbers or other parameter
/// sets; the telemetry's clock steps to the past, or far ahead. Without these it is the end of the payload.
struct RecordingEnd {
    std::uint64_t offset = 0;
    bool isTailStale = false; ///< nothing behind it belongs to the recording, or it can't be known
};
[[nodiscard]] RecordingEnd recordingEnd(Bytes bytes, Span payload, const Landmarks &landmarks);

/// Drops what begins at or behind the end.
void cutOff(Landmarks &landmarks, std::uint64_t end);
