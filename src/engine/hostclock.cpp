#include "hostclock.h"

#include <algorithm>

SteadyClock::SteadyClock()
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &HostClock::reached);
}

std::chrono::nanoseconds SteadyClock::now() const
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

void SteadyClock::callAt(std::chrono::nanoseconds time)
{
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(time - now());
    m_timer.start(std::clamp(wait, std::chrono::milliseconds(0), std::chrono::milliseconds(3'600'000)));
}
