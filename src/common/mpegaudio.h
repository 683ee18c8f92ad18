#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// The header of an MPEG audio layer III frame (ISO/IEC 11172-3, 2.4.1.3, and 13818-3).
struct MpegAudioHeader {
    std::uint32_t frameSize = 0; ///< bytes, header included
    int sampleRateHz = 0;
    int channelCount = 0;
    int samplesPerFrame = 0;

    /// Whether both can be frames of one sound.
    [[nodiscard]] bool isAlike(const MpegAudioHeader &other) const
    {
        return sampleRateHz == other.sampleRateHz && channelCount == other.channelCount;
    }
};

/// None if the first 4 bytes are no such header.
[[nodiscard]] std::optional<MpegAudioHeader> mpegAudioHeaderAt(std::span<const std::uint8_t> bytes);
