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

void MovieTimeline::hold(const QObject *by)
{
    const Time host = m_clock->now();
    const bool isNew = !m_heldSince;
    if (isNew)
        m_heldSince = host;
    m_holdEnd = host + holdLimit;
    m_holders.insert(by);
    if (isNew)
        tick();
    else
        arm();
}

void MovieTimeline::release(const QObject *by)
{
    if (m_holders.remove(by) && m_holders.isEmpty())
        endHold();
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
