#pragma once

#include <chrono>
#include <QCoroTask>
#include <QMetaObject>
#include <QObject>
#include <utility>

/// Starts a task on the main thread. QCoro tasks run eagerly; here the first step comes after the current
/// turn, in the order of the calls, and not at all if context is gone by then. makeTask returns a QCoro::Task
/// and is itself no coroutine: a coroutine lambda would lose its captures.
template <typename MakeTask> void startTask(QObject *context, MakeTask makeTask)
{
    QMetaObject::invokeMethod(
        context, [makeTask = std::move(makeTask)]() mutable { makeTask(); }, Qt::QueuedConnection);
}

/// Gives the thread up for this long.
QCoro::Task<> sleepFor(std::chrono::milliseconds time);
