#pragma once

#include "bytes.h"
#include "findings.h"

#include <vector>

/// How 16-bit PCM stands in a recording.
struct PcmHabits {
    bool isBigEndian = false;
    std::uint64_t alignment = 1; ///< samples begin at multiples of this
    std::uint64_t pieceSize = 0; ///< bytes that usually stand together; 0: they vary
    std::uint64_t stride = 0; ///< from padded piece to padded piece where several follow each other; else 0
};

/// Learnt from stretches between two other things, with or without sound in them, their padding included.
[[nodiscard]] PcmHabits pcmHabitsOf(Bytes bytes, const std::vector<Span> &stretches, std::uint64_t alignment);

/// How much neighbouring 16-bit numbers differ, relative to what numbers by chance would: 1 for these.
[[nodiscard]] double roughness(Bytes bytes, bool isBigEndian);

/// Whether the bytes read as sound: numbers that follow each other, or small ones.
[[nodiscard]] bool isPcmLike(Bytes bytes, bool isBigEndian);

/// Whether they begin as PCM of either order does.
[[nodiscard]] bool isPcmStart(Bytes bytes);

/// What of a stretch between two other things is PCM: neither padding nor pieces of video nor holes.
[[nodiscard]] std::vector<Span> pcmIn(Bytes bytes, Span stretch, const PcmHabits &habits);
