#pragma once

#include "childprocess.h"

#include <functional>
#include <QCoroTask>
#include <QString>

/// The one way to start a child process: a text command line, run by /bin/bash with -c. Standard output and
/// standard error come as one text, standard input is empty; environment and folder are the program's own.
/// These operations have no time limit, and nothing but the program's end ends what they run; runTool() has
/// both.
class Shell
{
public:
    using OutputHandler = std::function<void(const QString &chunk)>;

    Shell() = delete;

    /// Blocks until the child has ended and everybody has closed its output. Returns all of the output, with
    /// ill-formed UTF-8 repaired; "[Shell] run error: " and the reason if the child can't be started. Any
    /// thread.
    [[nodiscard]] static QString run(const QString &command);

    /// Completes with the child's exit status (the signal's number if a signal ended it, -1 if it could not
    /// be started) when it has ended, even while a process that it left behind keeps the output open.
    /// onOutput gets what each single read gave, before that; a chunk that isn't well-formed UTF-8 is dropped
    /// whole. Main thread.
    static QCoro::Task<int> runAsync(QString command, OutputHandler onOutput);

    /// What runAsync is made of. Both handlers are called later on the main thread, never from within the
    /// call; onExit exactly once, last.
    static void startProcess(const QString &command, OutputHandler onOutput, std::function<void(int)> onExit);

    /// Starts the command for a ChildWatcher of one's own. Any thread.
    [[nodiscard]] static ChildProcess start(const QString &command, Streams streams);

    /// For tests: another executable in the place of /bin/bash.
    static void setExecutable(const QString &path);
};
