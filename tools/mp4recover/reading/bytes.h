#pragma once

#include <cstdint>
#include <span>

/// The bytes of the damaged recording.
using Bytes = std::span<const std::uint8_t>;

/// Big-endian numbers; the caller has made sure that the bytes are there.
inline std::uint16_t bigEndian16(const std::uint8_t *bytes)
{
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

inline std::uint32_t bigEndian32(const std::uint8_t *bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8
        | bytes[3];
}

inline std::uint64_t bigEndian64(const std::uint8_t *bytes)
{
    return std::uint64_t{bigEndian32(bytes)} << 32 | bigEndian32(bytes + 4);
}
