#pragma once

#include "accessunits.h"

#include <cstdint>

/// Follows the numbers that the pictures of one channel carry in their slice headers: frame_num of H.264, the
/// low bits of the picture order of H.265.
class Numbering
{
public:
    /// How the number of a picture fits behind those before it.
    struct Fit {
        std::uint32_t ahead = 0; ///< pictures between it and the expected one; 0 fits
        bool isRepeated = false; ///< there has been such a picture already
    };

    Numbering() = default;
    /// Bits of the number; whether pictures may be reordered (H.265 alone: its numbers count in the order of
    /// showing).
    Numbering(VideoCodec codec, int bits, bool isReordered);

    [[nodiscard]] bool hasStarted() const { return m_hasStarted; }
    /// Whether the same numbers would fit.
    [[nodiscard]] bool isAt(const Numbering &other) const
    {
        return m_mark == other.m_mark && m_seen == other.m_seen && m_hasStarted == other.m_hasStarted;
    }
    [[nodiscard]] Fit fit(const SliceStart &slice) const;
    void advance(const SliceStart &slice);
    /// As if a picture had been there that others refer to.
    void skip(bool restartsCount);

private:
    [[nodiscard]] std::int32_t distance(std::uint32_t number) const;

    VideoCodec m_codec = VideoCodec::H264;
    std::uint8_t m_bits = 4;
    bool m_isReordered = false;
    bool m_hasStarted = false;
    /// H.264: the number of the next picture. H.265: the highest number since the last restart.
    std::uint32_t m_mark = 0;
    std::uint64_t m_seen = 0; ///< of H.265: bit i for the number m_mark - i
};

/// The number that a picture carries, if it has that many bits.
[[nodiscard]] std::uint32_t numberOf(const SliceStart &slice, int bits);

/// How many bits those numbers have: as the parameter sets say, else the width with which the numbers follow
/// each other best when `channelCount` channels are mixed.
[[nodiscard]] int counterBitsOf(VideoCodec codec, const AccessUnits &found, std::size_t channelCount);

/// Whether pictures are shown in another order than they are coded in.
[[nodiscard]] bool isReordered(const AccessUnits &found);
