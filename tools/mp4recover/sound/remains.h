#pragma once

#include "reading/unitsearch.h"

/// What stands between the landmarks.
struct Remains {
    Sound sound;
    std::vector<Span> losses;
};

/// What the sound is like, if there is any.
struct SoundShape {
    SoundKind kind = SoundKind::None;
    std::uint64_t largestPiece = 0; ///< bytes between two other things
};

/// Guesses from what stands between the landmarks in that part of the file. AAC in MP4 and PCM have no
/// headers, so sound is what nothing else claims, told by its beginnings and by how its numbers follow each
/// other.
[[nodiscard]] SoundShape soundShapeOf(Bytes bytes, Span part, const Landmarks &landmarks);

/// What no landmark claims in that part of the file, without padding and holes of zeros; sound for the most
/// part.
[[nodiscard]] std::vector<Span> leftoversIn(Bytes bytes, Span part, const Landmarks &landmarks);

/// Tells sound from padding and from what damage left over, in [payload.offset, payload.end()).
[[nodiscard]] Remains classifyRemains(Bytes bytes, Span payload, const Landmarks &landmarks);
