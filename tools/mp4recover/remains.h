#pragma once

#include "unitsearch.h"

/// What stands between the landmarks.
struct Remains {
    Sound sound;
    std::vector<Span> losses;
};

/// Whether the bytes begin as a frame of AAC or of MPEG audio layer III does.
[[nodiscard]] bool isSoundStart(Bytes bytes);

/// Tells sound from padding and from what damage left over. AAC in MP4 and PCM have no headers, so sound is
/// what nothing else claims, told by its beginnings and by how its numbers follow each other. Looks only at
/// [payload.offset, payload.end()).
[[nodiscard]] Remains classifyRemains(Bytes bytes, Span payload, const Landmarks &landmarks);
