#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <optional>
#include <vector>

/// A telemetry block that the camera wrote between the media data: 3 letters of tag ("DAT", "GPS", "SHO"), 5
/// decimal digits of length, the payload. No video unit contains one.
struct Block {
    enum class Kind : std::uint8_t { Channels, Position, Acceleration };

    std::uint64_t offset = 0; ///< of the tag
    std::uint32_t size = 0; ///< with the 8 bytes of header
    Kind kind = Kind::Channels;
    /// Seconds of the camera's calendar (of UTC for positions), since an epoch that all of them share.
    std::optional<std::int64_t> second;

    [[nodiscard]] std::uint64_t end() const { return offset + size; }
};

/// The block at that place, if its header is valid, it ends within the bytes and its payload fits its kind.
[[nodiscard]] std::optional<Block> blockAt(Bytes bytes, std::uint64_t offset);

/// The channels that a block of kind Channels describes, such as "vid:[2]1920.1080.30:1280.720.30".
[[nodiscard]] std::vector<ChannelRequest> channelsOf(Bytes bytes, const Block &block);

/// The blocks that carry a time.
[[nodiscard]] std::vector<ClockReading> clockOf(const std::vector<Block> &blocks);
