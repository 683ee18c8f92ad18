#include "videotrackplayer.h"

VideoTrackPlayer::VideoTrackPlayer(std::shared_ptr<MovieTimeline> timeline,
                                   std::shared_ptr<TrackReader> reader,
                                   std::shared_ptr<AVCodecContext> decoder)
    : TimedTrackPlayer(std::move(timeline), reader->duration())
    , m_decodeThread(std::move(reader), std::move(decoder), [this] {
        if (!m_isNotified.exchange(true))
            QMetaObject::invokeMethod(this, &VideoTrackPlayer::decoderProgressed, Qt::QueuedConnection);
    })
{
}

VideoFramePtr VideoTrackPlayer::latestFrame() const
{
    const std::scoped_lock lock(m_latestMutex);
    return m_latest;
}

void VideoTrackPlayer::startSeek(Time target, quint64 newSerial) { m_decodeThread.seek(target, newSerial); }

void VideoTrackPlayer::present(Time position)
{
    if (timeline().holdStage() != HoldStage::Picture)
        m_decodeThread.runAhead();
    VideoFramePtr due = m_decodeThread.takeDue(position);
    if (!due)
        return;
    {
        const std::scoped_lock lock(m_latestMutex);
        m_latest.swap(due); // the former one goes outside the lock
    }
    Q_EMIT frameChanged();
}

std::optional<HoldStage> VideoTrackPlayer::neededToStart()
{
    return m_decodeThread.isSupplied() ? std::nullopt : std::optional(HoldStage::Supply);
}

std::optional<TimedTrackPlayer::Time> VideoTrackPlayer::nextDue(Time) const
{
    return m_decodeThread.nextFrameTime();
}

void VideoTrackPlayer::decoderProgressed()
{
    m_isNotified = false;
    const VideoDecodeThread::State state = m_decodeThread.state();
    if (state.isReady) {
        if (state.end)
            setDataEnd(*state.end);
        present(position());
        setReady();
    }
    tick();
}
