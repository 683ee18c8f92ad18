#include "timedtrackplayer.h"

#include "nanoseconds.h"

#include <algorithm>
#include <cmath>

TimedTrackPlayer::TimedTrackPlayer(std::shared_ptr<MovieTimeline> timeline, Time duration)
    : m_timeline(std::move(timeline))
    , m_duration(duration)
{
    m_timeline->hold(this); // until the first picture or sound is there
    connect(m_timeline.get(), &MovieTimeline::ticked, this, &TimedTrackPlayer::tick);
}

TimedTrackPlayer::~TimedTrackPlayer()
{
    disconnect(m_timeline.get(), nullptr, this, nullptr);
    m_timeline->release(this);
}

double TimedTrackPlayer::durationSeconds() const { return toSeconds(m_duration); }

void TimedTrackPlayer::play()
{
    if (m_isPlaying || m_hasEnded)
        return;
    m_isPlaying = true;
    m_startedAt = m_timeline->now();
    m_nextReport = m_base;
    reportSoon();
    if (m_isReady) // else setReady() will ask
        if (const std::optional<HoldStage> stage = neededToStart())
            m_timeline->hold(this, *stage);
    tick();
}

void TimedTrackPlayer::pause()
{
    if (!m_isPlaying)
        return;
    m_base = position();
    m_isPlaying = false;
    reportSoon();
    if (m_isReady)
        m_timeline->release(this);
    tick();
}

void TimedTrackPlayer::seek(double seconds, SeekTolerance)
{
    const double highest = toSeconds(m_duration);
    const double target = seconds > 0 ? std::min(seconds, highest) : 0;
    m_timeline->hold(this); // first, so that all players that jump in this turn start from the same time
    m_base = std::min(Time(std::llround(target * 1e9)), m_duration);
    m_startedAt = m_timeline->now();
    m_hasEnded = false;
    m_isReady = false;
    m_dataEnd.reset();
    startSeek(m_base, ++m_serial);
    m_nextReport = m_base;
    reportSoon();
}

void TimedTrackPlayer::setReady()
{
    m_isReady = true;
    if (const std::optional<HoldStage> stage = m_isPlaying ? neededToStart() : std::nullopt)
        m_timeline->advanceHold(this, *stage);
    else
        m_timeline->release(this);
}

TimedTrackPlayer::Time TimedTrackPlayer::position() const
{
    return m_isPlaying ? std::min(m_base + (m_timeline->now() - m_startedAt), end()) : m_base;
}

TimedTrackPlayer::Time TimedTrackPlayer::end() const
{
    return std::min(m_duration, m_dataEnd.value_or(m_duration));
}

void TimedTrackPlayer::tick()
{
    const Time now = position();
    present(now);
    if (!isRunning())
        return;
    if (now + sameTime >= end())
        return finish();
    if (now >= m_nextReport) {
        m_nextReport = (now / reportInterval + 1) * reportInterval;
        reportSoon();
    }
    scheduleWake(now);
}

void TimedTrackPlayer::finish()
{
    m_base = position();
    m_isPlaying = false;
    m_hasEnded = true;
    m_isReportPending = false;
    present(m_base);
    Q_EMIT ended(); // and nothing after it: the player may be gone
}

/// By the event loop, so that a command returns before anybody hears of what it brought about.
void TimedTrackPlayer::reportSoon()
{
    if (m_isReportPending)
        return;
    m_isReportPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (std::exchange(m_isReportPending, false))
                Q_EMIT positionReported(toSeconds(position()));
        },
        Qt::QueuedConnection);
}

void TimedTrackPlayer::scheduleWake(Time position)
{
    Time wake = std::min(m_nextReport, end());
    if (const std::optional<Time> due = nextDue(position))
        wake = std::min(wake, *due);
    m_timeline->wakeBy(m_startedAt + (std::max(wake, position) - m_base));
}
