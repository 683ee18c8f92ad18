#pragma once

#include "accessunits.h"

#include <array>
#include <cstdint>
#include <vector>

/// What a picture is like, from its coded data alone: where things move and how finely its parts are coded. A
/// camera's pictures resemble each other from one to the next.
struct PictureTraits {
    static constexpr std::size_t columns = 8;
    static constexpr std::size_t rows = 6;
    static constexpr std::size_t perCell = 3; ///< motion across and down in quarters of a sample, quantiser

    std::array<std::int8_t, columns * rows * perCell> values{};
    bool isKnown = false;
    /// Bit i: it can't be decoded with the parameter sets of channel i.
    std::uint8_t misfits = 0;
};

/// 0 for alike.
[[nodiscard]] double distance(const PictureTraits &a, const PictureTraits &b);

/// Decodes pictures of a first assignment to channels and looks at their motion. Motion is told by the coded
/// data without the pictures that it refers to, so the assignment may be wrong. `wanted` tells which pictures
/// are to be looked at, those of each channel from a key picture on; `sets` are the parameter sets by
/// channel. One entry a picture, or none at all where nothing could be decoded. H.264 only.
[[nodiscard]] std::vector<PictureTraits> traitsOf(Bytes bytes, const AccessUnits &found,
                                                  const std::vector<std::uint8_t> &channels,
                                                  const std::vector<bool> &wanted,
                                                  const std::vector<std::vector<ParameterSet>> &sets);

/// The picture's slices behind their lengths, with the padding that the decoder wants.
[[nodiscard]] std::vector<std::uint8_t> slicesOf(Bytes bytes, const AccessUnits &found,
                                                 const AccessUnit &picture);
