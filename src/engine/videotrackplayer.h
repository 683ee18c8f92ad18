#pragma once

#include "timedtrackplayer.h"
#include "videodecodethread.h"

/// Shows one video track: the newest picture that is due is the latest one. Main thread, but latestFrame().
class VideoTrackPlayer final : public TimedTrackPlayer
{
    Q_OBJECT
public:
    VideoTrackPlayer(std::shared_ptr<MovieTimeline> timeline, std::shared_ptr<TrackReader> reader,
                     std::shared_ptr<AVCodecContext> decoder);

    void setVolume(float) override { } ///< a video track has none
    [[nodiscard]] VideoFramePtr latestFrame() const override;

private:
    void startSeek(Time target, quint64 newSerial) override;
    [[nodiscard]] std::optional<HoldStage> neededToStart() override;
    void present(Time position) override;
    [[nodiscard]] std::optional<Time> nextDue(Time position) const override;
    void decoderProgressed();

    mutable std::mutex m_latestMutex;
    VideoFramePtr m_latest;
    std::atomic<bool> m_isNotified = false;
    VideoDecodeThread m_decodeThread; // last: it calls into the object
};
