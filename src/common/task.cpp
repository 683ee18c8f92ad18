#include "task.h"

#include <QCoroTimer>
#include <QTimer>

QCoro::Task<> sleepFor(std::chrono::milliseconds time)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(time);
    co_await qCoro(timer).waitForTimeout();
}
