#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

/// Whether the bytes begin as such sound does.
[[nodiscard]] bool isSoundStart(SoundKind kind, Bytes bytes);

/// How much PCM samples that lie `step` samples apart differ on the average, from the byte `start` on, every
/// `stride` samples.
[[nodiscard]] double pcmRoughness(Bytes bytes, bool isBigEndian, std::size_t start, std::size_t step,
                                  std::size_t stride);
