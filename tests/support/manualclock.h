#pragma once

#include "engine/hostclock.h"

#include <optional>
#include <QCoreApplication>

/// Time that a test moves by hand.
class ManualClock final : public HostClock
{
    Q_OBJECT
public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return m_now; }
    /// What is waited for.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> nextCall() const { return m_call; }
    void callAt(std::chrono::nanoseconds time) override { m_call = time; }

    /// Calls what was to be called on the way, each at its time.
    void advance(std::chrono::nanoseconds by) { advanceTo(m_now + by); }
    void advanceTo(std::chrono::nanoseconds until)
    {
        while (m_call && *m_call <= until) {
            m_now = std::max(m_now, *m_call);
            m_call.reset();
            Q_EMIT reached();
            QCoreApplication::processEvents();
        }
        m_now = until;
    }

private:
    std::chrono::nanoseconds m_now{1'000'000'000};
    std::optional<std::chrono::nanoseconds> m_call;
};
