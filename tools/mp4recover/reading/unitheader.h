#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <optional>

/// Sizes that no unit of a camera exceeds, in bytes.
inline constexpr std::uint32_t maximumUnitSize = (4U << 20U) - 1;
inline constexpr std::uint32_t maximumSetSize = 1024;
inline constexpr std::uint32_t maximumMessageSize = 4096;

enum class UnitKind : std::uint8_t {
    Slice,
    VideoSet,
    SequenceSet,
    PictureSet,
    Message, ///< supplemental enhancement information
    Delimiter,
    Filler,
    End, ///< of sequence or stream
};

/// The beginning of a slice header, as far as it can be read without parameter sets.
struct SliceStart {
    bool isFirst = false; ///< the first slice of its picture
    bool isSync = false; ///< IDR, or IRAP of H.265
    bool restartsCount = false; ///< IDR: the pictures are counted from 0 again
    bool isReference = true;
    std::uint8_t sliceType = 0; ///< 0 P, 1 B, 2 I for both codecs; 3 not known (H.265, later slices)
    std::uint8_t pictureSetId = 0;
    std::uint32_t firstBlock = 0; ///< first_mb_in_slice; of H.265 0 or 1
    /// The 32 bits behind pps_id (H.264: frame_num first) or behind slice_type (H.265: the order's low bits
    /// first), highest bit first.
    std::uint32_t restBits = 0;
};

/// What kind of unit its header says; none if the codec has no such header or cameras don't use it. `unit`
/// begins behind the length, and 2 bytes of it are there.
[[nodiscard]] std::optional<UnitKind> kindOf(VideoCodec codec, const std::uint8_t *unit);
[[nodiscard]] std::uint8_t typeOf(VideoCodec codec, const std::uint8_t *unit);

/// Reads the slice header; none if it can't be one. `unit` needn't be whole.
[[nodiscard]] std::optional<SliceStart> sliceStartOf(VideoCodec codec, Bytes unit);

/// Whether a whole unit that is no slice is well formed to its last bit.
[[nodiscard]] bool isWellFormed(VideoCodec codec, UnitKind kind, Bytes unit);
