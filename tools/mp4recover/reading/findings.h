#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class MappedFile;

/// A stretch of the source file, in bytes.
struct Span {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    [[nodiscard]] std::uint64_t end() const { return offset + size; }
};

enum class VideoCodec { H264, H265 };

/// What `--chN WxH@FPS` says of a channel.
struct ChannelRequest {
    int width = 0;
    int height = 0;
    int framesPerSecond = 0;
    bool operator==(const ChannelRequest &) const = default;
};

/// One network abstraction layer unit, behind its 4-byte length.
struct Unit {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    std::uint8_t type = 0; ///< nal_unit_type of the codec
};

/// One access unit: `unitCount` units from `firstUnit` on in Findings::units, in decode order.
struct Picture {
    std::uint32_t firstUnit = 0;
    std::uint16_t unitCount = 0;
    bool isSync = false; ///< IDR, or IRAP of H.265
    bool isReference = true;
    bool isDamaged = false; ///< bytes of it are known to be lost (a stretch of zeros, a slice missing)
    bool followsLoss = false; ///< something of this channel is missing right before it
    std::uint32_t picturesMissingBefore = 0; ///< by its frame number; 0 also where unknown
    /// The number it carries (frame_num of H.264, the order's low bits of H.265), in Channel::numberBits.
    std::uint32_t number = 0;
    bool restartsNumbers = false; ///< IDR: the numbers begin with 0 again
};

struct Channel {
    VideoCodec codec = VideoCodec::H264;
    std::optional<ChannelRequest> request;
    std::vector<Picture> pictures;
    /// Parameter sets without length or start code, found in the stream (first), then those of the index.
    std::vector<std::vector<std::uint8_t>> parameterSets;
    int numberBits = 0; ///< of Picture::number; 0 where these are unknown
};

enum class SoundKind { None, Aac, Mp3, Pcm16 };

struct Sound {
    SoundKind kind = SoundKind::None;
    std::vector<Span> stretches; ///< in file order, without blocks, padding and video
    int indexedRateHz = 0; ///< what an index says, which may be another recording's: a hint
};

/// A telemetry block with a reading of the camera's clock, which has whole seconds.
struct ClockReading {
    std::uint64_t offset = 0; ///< of the block in the file
    std::int64_t second = 0; ///< since an epoch that readings of one kind share
    bool isPosition = false; ///< else an acceleration
};

/// What was found in a damaged recording, before anything is decoded or written.
struct Findings {
    std::vector<Unit> units;
    std::vector<Channel> channels; ///< in the order of the requests
    Sound sound;
    std::vector<ClockReading> clock; ///< in file order
    std::vector<Span> losses; ///< stretches that nothing could be made of
    std::vector<std::string> remarks; ///< what somebody who repairs a recording wants to know
};
