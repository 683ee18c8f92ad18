#pragma once

#include "movietimeline.h"
#include "trackplayer.h"

/// The part of a track player that keeps the time: position, reports, the end. What is shown or heard is the
/// matter of the classes below. Main thread.
class TimedTrackPlayer : public TrackPlayer
{
    Q_OBJECT
public:
    using Time = MovieTimeline::Time;
    static constexpr Time reportInterval = std::chrono::milliseconds(100);

    ~TimedTrackPlayer() override;
    [[nodiscard]] double durationSeconds() const final;
    void play() final; ///< without effect behind the end, until a seek
    void pause() final;
    void seek(double seconds, SeekTolerance tolerance) final; ///< always exact

protected:
    TimedTrackPlayer(std::shared_ptr<MovieTimeline> timeline, Time duration);

    [[nodiscard]] Time position() const;
    [[nodiscard]] bool isPlaying() const { return m_isPlaying; }
    [[nodiscard]] bool isRunning() const { return m_isPlaying && !m_timeline->isHeld(); }
    [[nodiscard]] quint64 serial() const { return m_serial; } ///< raised by each seek
    [[nodiscard]] const MovieTimeline &timeline() const { return *m_timeline; }
    /// What belongs to the newest position is there: while it doesn't play, time may go on as far as this
    /// track is concerned. Once more when what neededToStart() told is there.
    void setReady();
    /// Where the data ends, if that is before the duration.
    void setDataEnd(Time end) { m_dataEnd = end; }
    void tick();

private:
    virtual void startSeek(Time target, quint64 newSerial) = 0;
    /// What is still to be waited for, now that what belongs to the position is there, before time goes on.
    [[nodiscard]] virtual std::optional<HoldStage> neededToStart() = 0;
    /// Called at each tick: shows what is due.
    virtual void present(Time position) = 0;
    /// The next time after position at which present() has something to do.
    [[nodiscard]] virtual std::optional<Time> nextDue(Time position) const = 0;

    [[nodiscard]] Time end() const;
    void finish();
    void reportSoon();
    void scheduleWake(Time position);

    std::shared_ptr<MovieTimeline> m_timeline;
    Time m_duration;
    std::optional<Time> m_dataEnd;
    Time m_base{0}; // position at m_startedAt, or while time stands still
    Time m_startedAt{0};
    Time m_nextReport{0};
    quint64 m_serial = 0;
    bool m_isReady = false; // setReady() since the last seek
    bool m_isPlaying = false;
    bool m_hasEnded = false;
    bool m_isReportPending = false;
};
