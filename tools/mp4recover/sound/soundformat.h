#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"
#include "time/timing.h"

#include "common/avhandles.h"

/// What has to be known to decode sound that has no header.
struct SoundFormat {
    SoundKind kind = SoundKind::None;
    int sampleRateHz = 0;
    int channelCount = 0;
    bool isBigEndian = false; ///< PCM
};

/// Kind `None` if no reading makes sense. `losses` in file order; `clock` may be unusable.
[[nodiscard]] SoundFormat soundFormatOf(Bytes bytes, const Sound &sound, const ClockLine &clock,
                                        const std::vector<Span> &losses);

/// A decoder for AAC frames without headers; none if the library refuses.
[[nodiscard]] CodecPtr openAacDecoder(int sampleRateHz, int channelCount);

/// Sends one stretch and calls `take(const AVFrame *)` for each frame; false on a message from the decoder.
template <typename Take>
bool decodeStretch(AVCodecContext *decoder, AVPacket *packet, AVFrame *frame, Bytes stretch, Take take)
{
    packet->data = const_cast<std::uint8_t *>(stretch.data());
    packet->size = static_cast<int>(stretch.size());
    bool isGood = avcodec_send_packet(decoder, packet) >= 0;
    for (int code = 0; (code = avcodec_receive_frame(decoder, frame)) != AVERROR(EAGAIN);) {
        if (code < 0) {
            isGood = false;
            break;
        }
        take(frame);
    }
    return isGood;
}

/// By how many bytes the samples of a PCM stretch begin late: 0 or 1.
[[nodiscard]] std::size_t pcmMisalignment(Bytes stretch, bool isBigEndian);
