#pragma once

#include "sounddecodethread.h"
#include "soundoutput.h"
#include "timedtrackplayer.h"

/// Sounds one track. Without a device it keeps the time all the same, and decodes nothing. Main thread.
class SoundTrackPlayer final : public TimedTrackPlayer
{
    Q_OBJECT
public:
    SoundTrackPlayer(std::shared_ptr<MovieTimeline> timeline, std::shared_ptr<TrackReader> reader,
                     std::shared_ptr<AVCodecContext> decoder);
    ~SoundTrackPlayer() override;

    void setVolume(float level) override { m_output->setVolume(level); }
    [[nodiscard]] VideoFramePtr latestFrame() const override { return nullptr; }

private:
    void startSeek(Time target, quint64 newSerial) override;
    [[nodiscard]] std::optional<HoldStage> neededToStart() override;
    void present(Time position) override;
    [[nodiscard]] std::optional<Time> nextDue(Time) const override { return std::nullopt; }
    void startDecoding(const QAudioFormat &format);
    void seekDecoder(Time target);
    void begin(Time position, SoundOutput::Clock clock);
    void silence(Time position);
    void decoderProgressed();

    std::shared_ptr<TrackReader> m_reader;
    std::shared_ptr<AVCodecContext> m_decoder;
    SoundOutput *m_output; // its own master
    bool m_isSounding = false; // the device was started
    quint64 m_start = 0; // number of that start
    bool m_hasBegun = false; // since that start it plays, or never will
    bool m_isWithoutDevice = false;
    std::unique_ptr<SoundDecodeThread> m_decodeThread; // last: it calls into the object
};
