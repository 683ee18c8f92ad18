#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <QObject>
#include <QTimer>

/// The host's monotonic time and a way to wait for it. Main thread.
class HostClock : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    [[nodiscard]] virtual std::chrono::nanoseconds now() const = 0;
    /// reached() comes from the event loop once now() has come to that time. A later call replaces an
    /// earlier one.
    virtual void callAt(std::chrono::nanoseconds time) = 0;

Q_SIGNALS:
    void reached();
};
using HostClockMaker = std::function<std::unique_ptr<HostClock>()>;

/// The real one.
class SteadyClock final : public HostClock
{
    Q_OBJECT
public:
    SteadyClock();
    [[nodiscard]] std::chrono::nanoseconds now() const override;
    void callAt(std::chrono::nanoseconds time) override;

private:
    QTimer m_timer;
};
