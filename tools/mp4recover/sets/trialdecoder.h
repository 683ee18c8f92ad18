#pragma once

#include "common/avhandles.h"
#include "reading/bytes.h"
#include "reading/findings.h"
#include "sets/parametersets.h"

#include <cstdint>
#include <utility>
#include <vector>

/// One access unit as a sample: units behind their 4-byte lengths.
using Sample = std::vector<std::uint8_t>;

/// How far a trial came before the decoder's first message, and whether there was none.
struct TrialResult {
    std::size_t pictures = 0;
    int macroblocks = 0; ///< of the picture that the message is about, where it tells (H.264)
    bool isClean = false;

    [[nodiscard]] bool isFartherThan(const TrialResult &other) const
    {
        return std::pair(pictures, macroblocks) > std::pair(other.pictures, other.macroblocks);
    }
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
    enum class Stop {
        AtFirstMessage,
        Never, ///< goes on behind what can't be decoded; references that are missing aren't held against it
    };
    /// Sets that parse, one of each kind at least.
    TrialDecoder(VideoCodec codec, const std::vector<ParameterSet> &sets, Stop stop = Stop::AtFirstMessage);

    /// False for a message; the decoder is of no use then if it stops there.
    [[nodiscard]] bool decode(const Sample &sample);
    /// What the decoder still holds comes out.
    [[nodiscard]] bool finish();
    [[nodiscard]] std::size_t pictures() const { return m_pictures; }
    /// How many macroblocks of a picture came before the newest message; 0 where it doesn't tell.
    [[nodiscard]] int macroblocksBeforeMessage() const;
    /// The newest decoded picture that came out; none before the first.
    [[nodiscard]] LumaView picture() const;
    /// What the newest sample and the one before it were decoded to, whenever these come out.
    [[nodiscard]] LumaView current() const { return viewOf(m_current.get()); }
    [[nodiscard]] LumaView previous() const { return viewOf(m_previous.get()); }

private:
    [[nodiscard]] bool send(const AVPacket *packet);
    [[nodiscard]] static LumaView viewOf(const AVFrame *frame);
    static int takeBuffer(AVCodecContext *codec, AVFrame *frame, int flags);

    Stop m_stop;
    FramePtr m_current;
    FramePtr m_previous;
    bool m_hasCurrent = false; ///< of the sample that is being decoded
    CodecPtr m_codec;
    FramePtr m_frame;
    FramePtr m_received; // asking for more empties it
    PacketPtr m_packet;
    std::size_t m_pictures = 0;
};

/// Decodes all samples, or up to the first message.
[[nodiscard]] TrialResult tryDecoding(VideoCodec codec, const std::vector<ParameterSet> &sets,
                                      const std::vector<Sample> &samples);

/// How many of the samples can be decoded, also behind others that can't; stops when more than `mostFaults`
/// of them failed.
[[nodiscard]] std::size_t countDecodable(VideoCodec codec, const std::vector<ParameterSet> &sets,
                                         const std::vector<Sample> &samples, std::size_t mostFaults);

/// The picture's units but its parameter sets.
[[nodiscard]] Sample sampleOf(Bytes bytes, const std::vector<Unit> &units, VideoCodec codec,
                              const Picture &picture);
