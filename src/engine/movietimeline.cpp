#include "movietimeline.h"

#include <algorithm>

MovieTimeline::MovieTimeline(std::unique_ptr<HostClock> clock)
    : m_clock(std::move(clock))
{
    connect(m_clock.get(), &HostClock::reached, this, [this] {
        if (m_heldSince && m_clock->now() >= m_holdEnd)
            endHold();
        else
            tick();
    });
}

MovieTimeline::Time MovieTimeline::now() const { return m_heldSince.value_or(m_clock->now()) - m_heldInAll; }

std::optional<HoldStage> MovieTimeline::holdStage() const
{
    const auto earliest = std::min_element(m_holders.begin(), m_holders.end());
    return earliest == m_holders.end() ? std::nullopt : std::optional(*earliest);
}

void MovieTimeline::hold(const QObject *by, HoldStage stage)
{
    const std::optional<HoldStage> former = holdStage();
    const Time host = m_clock->now();
    if (!m_heldSince)
        m_heldSince = host;
    m_holdEnd = host + holdLimit;
    m_holders.insert(by, stage);
    holdersChanged(former);
}

void MovieTimeline::advanceHold(const QObject *by, HoldStage stage)
{
    const auto holder = m_holders.find(by);
    if (holder == m_holders.end())
        return;
    const std::optional<HoldStage> former = holdStage();
    *holder = stage;
    holdersChanged(former);
}

void MovieTimeline::release(const QObject *by)
{
    const std::optional<HoldStage> former = holdStage();
    if (m_holders.remove(by))
        holdersChanged(former);
}

void MovieTimeline::holdersChanged(std::optional<HoldStage> former)
{
    const std::optional<HoldStage> stage = holdStage();
    if (!stage)
        return endHold();
    if (stage == former)
        return arm();
    m_holdEnd = m_clock->now() + holdLimit;
    tick();
}

void MovieTimeline::endHold()
{
    m_holders.clear();
    m_heldInAll += m_clock->now() - *m_heldSince;
    m_heldSince.reset();
    tick();
}

void MovieTimeline::wakeBy(Time time)
{
    m_nextWake = std::min(time, m_nextWake.value_or(time));
    if (!m_isTicking)
        arm();
}

void MovieTimeline::tick()
{
    m_mustTickAgain = m_isTicking; // a hold that ends in the middle of a tick: some have looked already
    if (m_isTicking)
        return;
    m_isTicking = true;
    do {
        m_mustTickAgain = false;
        m_nextWake.reset();
        Q_EMIT ticked();
    } while (m_mustTickAgain);
    m_isTicking = false;
    arm();
}

void MovieTimeline::arm()
{
    if (m_heldSince)
        m_clock->callAt(m_holdEnd);
    else if (m_nextWake)
        m_clock->callAt(*m_nextWake + m_heldInAll);
}
