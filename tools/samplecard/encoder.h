#pragma once

#include "common/avhandles.h"
#include "drive.h"
#include "failure.h"
#include "scene.h"

#include <QDateTime>
#include <vector>

/// A coded frame, and when it is to stand in the file: seconds from the start of the recording.
struct TimedPacket {
    double seconds = 0;
    PacketPtr packet;
};
using TimedPackets = std::vector<TimedPacket>;

/// Draws and encodes one channel, second by second. Each channel may run on a thread of its own.
class ChannelEncoder
{
public:
    struct Setup {
        int channel = 1; ///< from 1
        QSize picture;
        int fps = 30;
        std::uint32_t seed = 0;
        QDateTime start; ///< by the camera's clock
    };
    ChannelEncoder(const Setup &setup, const Drive &drive);

    [[nodiscard]] Failure open();
    [[nodiscard]] const AVCodecContext *codec() const { return m_codec.get(); }
    /// The next second of pictures, coded, appended to `packets`.
    [[nodiscard]] Failure encodeSecond(TimedPackets &packets);

private:
    void drawFrame();

    Setup m_setup;
    const Drive &m_drive;
    Scene m_scene;
    QImage m_image;
    CodecPtr m_codec;
    ScalerPtr m_scaler;
    FramePtr m_frame;
    int m_frameNumber = 0;
};

/// Makes and encodes the sound: a low tone, and a click at each whole second.
class SoundEncoder
{
public:
    static constexpr int sampleRate = 44100;
    SoundEncoder(double toneHz, int channelCount);

    [[nodiscard]] Failure open();
    [[nodiscard]] const AVCodecContext *codec() const { return m_codec.get(); }
    /// Sound up to that second from the start, coded; at the last second also what the coder still holds.
    [[nodiscard]] Failure encodeUntil(int second, bool isLast, TimedPackets &packets);

private:
    void fillFrame(int sampleCount);

    double m_toneHz;
    int m_channelCount;
    CodecPtr m_codec;
    FramePtr m_frame;
    qint64 m_position = 0; // samples
};
