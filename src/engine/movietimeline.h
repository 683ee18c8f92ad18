#pragma once

#include "hostclock.h"

#include <optional>
#include <QHash>

/// What a track that holds the time still waits for. All tracks get over a stage before the next one counts.
enum class HoldStage {
    Picture, ///< what belongs to the newest position: until then others leave it the processor
    Supply, ///< enough decoded ahead to go on without a gap
    Device, ///< the sound device, which has begun to play
};

/// The time that all players of one movie run on: the host's, but for the stretches in which it is held, so
/// that all channels set off together. A hold ends when everybody who asked for it has released it, and
/// at the latest holdLimit after the last jump, start, or stage that was reached: one slow channel can't
/// delay the others for longer. Main thread.
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
    /// The earliest stage that somebody waits for; none while time goes on.
    [[nodiscard]] std::optional<HoldStage> holdStage() const;
    void hold(const QObject *by, HoldStage stage = HoldStage::Picture);
    /// Without effect on a hold that has ended.
    void advanceHold(const QObject *by, HoldStage stage);
    void release(const QObject *by);
    /// ticked() comes at that time at the latest. To be asked for anew at each tick.
    void wakeBy(Time time);

Q_SIGNALS:
    /// A time that somebody asked for has come, or time was held or released, or a stage was reached.
    void ticked();

private:
    void tick();
    void holdersChanged(std::optional<HoldStage> former);
    void endHold();
    void arm();

    std::unique_ptr<HostClock> m_clock;
    Time m_heldInAll{0};
    std::optional<Time> m_heldSince; // host time
    Time m_holdEnd{0}; // host time
    QHash<const QObject *, HoldStage> m_holders;
    std::optional<Time> m_nextWake;
    bool m_isTicking = false;
    bool m_mustTickAgain = false;
};
