#pragma once

#include "reading/accessunits.h"

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
        bool isBehindRestart = false; ///< the count was begun anew by a picture that is lost; H.265
    };

    Numbering() = default;
    /// Bits of the number; what reorderStepOf() gives.
    Numbering(VideoCodec codec, int bits, int reorderStep);

    [[nodiscard]] bool hasStarted() const { return m_hasStarted; }
    /// Whether the same numbers would fit.
    [[nodiscard]] bool isAt(const Numbering &other) const
    {
        return m_mark == other.m_mark && m_seen == other.m_seen && m_behind == other.m_behind
            && m_hasStarted == other.m_hasStarted;
    }
    [[nodiscard]] Fit fit(const SliceStart &slice) const;
    void advance(const SliceStart &slice);
    /// As if a picture had been there that others refer to.
    void skip(bool restartsCount);

private:
    [[nodiscard]] std::int32_t distance(std::uint32_t number) const;
    [[nodiscard]] Fit fitOrder(std::uint32_t number) const;
    [[nodiscard]] std::uint64_t openNumbers() const;

    VideoCodec m_codec = VideoCodec::H264;
    std::uint8_t m_bits = 4;
    std::uint8_t m_reorderStep = 1;
    std::uint8_t m_behind = 0; ///< of H.265: how far the highest number but one is behind the highest
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

/// By how much the picture order of H.265 grows from one picture to the next that isn't shown before it: 1
/// where pictures are shown in the order in which they are coded.
[[nodiscard]] int reorderStepOf(VideoCodec codec, const AccessUnits &found, int counterBits,
                                std::size_t channelCount);
