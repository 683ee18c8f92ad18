#pragma once

#include "hostclock.h"

#include <optional>
#include <QSet>

/// The time that all players of one movie run on: the host's, but for the stretches in which it is held, so
/// that after a jump all channels set off together. A hold ends when everybody who asked for it has released
/// it, at the latest after holdLimit: one slow channel can't delay the others for longer. Main thread.
class MovieTimeline : public QObject
{
    Q_OBJECT
public:
    using Time = std::chrono::nanoseconds;
    static constexpr Time holdLimit = std::chrono::milliseconds(500);

    explicit MovieTimeline(std::unique_ptr<HostClock> clock);

    [[nodiscard]] Time now() const;
    [[nodiscard]] const HostClock &hostClock() const { return *m_clock; }
    [[nodiscard]] bool isHeld() const { return m_heldSince.has_value(); }
    void hold(const QObject *by);
    void release(const QObject *by);
    /// ticked() comes at that time at the latest. To be asked for anew at each tick.
    void wakeBy(Time time);

Q_SIGNALS:
    /// A time that somebody asked for has come, or time was held or released.
    void ticked();

private:
    void tick();
    void endHold();
    void arm();

    std::unique_ptr<HostClock> m_clock;
    Time m_heldInAll{0};
    std::optional<Time> m_heldSince; // host time
    Time m_holdEnd{0}; // host time
    QSet<const QObject *> m_holders;
    std::optional<Time> m_nextWake;
    bool m_isTicking = false;
    bool m_mustTickAgain = false;
};
