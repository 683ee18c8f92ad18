#pragma once

#include "toolresult.h"

#include <chrono>
#include <QCoroTask>
#include <stop_token>

/// The slowest at which a sound tool works anywhere, in bytes of its input per second.
enum class ToolPace : quint64 {
    Copying = 500'000, ///< what a worn card in the oldest of readers gives
    Repairing = 150'000, ///< mp4recover may take a second for each megabyte and channel, of up to five
};

/// How long a tool may work on so many bytes.
[[nodiscard]] std::chrono::milliseconds toolTimeLimit(quint64 inputBytes, ToolPace pace);

/// Runs a tool's command line to its end. The one place where tools are run; one that didn't succeed is
/// logged here, once. A run that is stopped, or reaches the limit, is ended with all that it has started:
/// asked first, and made to end two seconds later. Main thread.
QCoro::Task<ToolResult> runTool(QString command, std::chrono::milliseconds limit, std::stop_token stop);

/// For tests: what tools get for no bytes at all, instead of a minute.
void setLeastToolTime(std::chrono::milliseconds time);
