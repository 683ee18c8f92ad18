#pragma once

#include "bytes.h"
#include "common/avhandles.h"
#include "findings.h"
#include "parametersets.h"

#include <cstdint>
#include <vector>

/// One access unit as a sample: units behind their 4-byte lengths.
using Sample = std::vector<std::uint8_t>;

/// How many pictures a trial gave before the decoder's first message, and whether there was none.
struct TrialResult {
    std::size_t pictures = 0;
    bool isClean = false;
};

/// A decoded picture's luma, 8 bits a sample; valid while it is being looked at.
struct LumaView {
    const std::uint8_t *samples = nullptr;
    std::size_t stride = 0;
    int width = 0;
    int height = 0;
};

/// Decodes in this process and this thread to find out whether parameter sets are right. libavcodec conceals
/// what it can't decode, but says so: the first message ends the trial.
class TrialDecoder
{
public:
    /// Sets that parse, one of each kind at least.
    TrialDecoder(VideoCodec codec, const std::vector<ParameterSet> &sets);

    /// False at the first message; the decoder is of no use then.
    [[nodiscard]] bool decode(const Sample &sample);
    /// What the decoder still holds comes out.
    [[nodiscard]] bool finish();
    [[nodiscard]] std::size_t pictures() const { return m_pictures; }
    /// The newest decoded picture; none before the first.
    [[nodiscard]] LumaView picture() const;

private:
    [[nodiscard]] bool send(const AVPacket *packet);

    CodecPtr m_codec;
    FramePtr m_frame;
    FramePtr m_received; // asking for more empties it
    PacketPtr m_packet;
    std::size_t m_pictures = 0;
};

/// Decodes all samples, or up to the first message.
[[nodiscard]] TrialResult tryDecoding(VideoCodec codec, const std::vector<ParameterSet> &sets,
                                      const std::vector<Sample> &samples);

/// The picture's units but its parameter sets.
[[nodiscard]] Sample sampleOf(Bytes bytes, const std::vector<Unit> &units, VideoCodec codec,
                              const Picture &picture);
