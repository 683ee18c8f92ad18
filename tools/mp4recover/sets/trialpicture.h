#pragma once

#include "sets/trialdecoder.h"

#include <vector>

/// What becomes of pictures that are decoded on trial. Decoders of H.265 go on through nonsense without a
/// message, so the pictures must tell.

/// How much samples differ from their neighbours on the average. Nonsense is several times as rough as what a
/// camera sees.
[[nodiscard]] double roughness(const LumaView &picture);

/// Mean difference of two pictures of one size, in steps of luma.
[[nodiscard]] double meanDifference(const LumaView &a, const LumaView &b);

/// A decoder that lost its way ends a picture early, often without a message.
[[nodiscard]] bool isFilledToTheEnd(const LumaView &picture);

/// A copy of some of a picture's samples.
[[nodiscard]] std::vector<double> smallPicture(const LumaView &picture);
/// Correlation of two of these, from -1 to 1.
[[nodiscard]] double likeness(const std::vector<double> &a, const std::vector<double> &b);

/// Where the first difference between two pictures lies: the number of its block of that size, row by row; as
/// many as there are blocks if there is none. The loop filters carry differences a few samples up and left.
[[nodiscard]] int firstDifferentBlock(const LumaView &a, const LumaView &b, int blockSize);
[[nodiscard]] int countBlocks(const LumaView &picture, int blockSize);
