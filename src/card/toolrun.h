#pragma once

#include <QCoroTask>
#include <QString>

/// Runs a tool's command line to its end and gives all that it printed, up to a bound that no sound tool
/// reaches. Main thread.
QCoro::Task<QString> outputOf(QString command);
