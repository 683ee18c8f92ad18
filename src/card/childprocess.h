#pragma once

#include "common/filedescriptor.h"

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <sys/types.h>

enum class Streams { Joined, Apart }; ///< standard output and standard error in one pipe, or in two

/// A child that was started, or the reason why it was not. It leads a process group of its own, which ends
/// with the program at the latest.
struct ChildProcess {
    pid_t pid = -1;
    FileDescriptor output; ///< read end of the pipe that is its standard output
    FileDescriptor messages; ///< of its standard error, if that is apart
    QString error; ///< if pid is -1
};

/// How a child ended.
struct ChildEnd {
    enum class Kind { Exited, Signalled, Lost }; ///< Lost: it can't be ended, or the system can't tell
    Kind kind = Kind::Lost;
    int status = -1; ///< the exit status or the number of the signal
};

/// Runs the executable with the arguments "-c" and command. Any thread.
[[nodiscard]] ChildProcess startChildProcess(const QString &executable, const QString &command,
                                             Streams streams);
/// Blocks until every writer has closed the pipe.
[[nodiscard]] QByteArray readToEnd(int fd);
/// Blocks until the child has ended.
ChildEnd waitForEnd(pid_t pid);

/// Reads a child's output and waits for its end on the main thread's event loop; deletes itself then.
class ChildWatcher : public QObject
{
    Q_OBJECT
public:
    using ChunkHandler = std::function<void(const QByteArray &)>;
    using EndHandler = std::function<void(ChildEnd)>;
    ChildWatcher(ChildProcess child, ChunkHandler onOutput, ChunkHandler onMessages, EndHandler onEnd);

    /// Asks the child's whole group to end, and makes it end if it is still there after patience. If even
    /// that fails, as for a process that waits for a dead device, the end is told as Lost after as long
    /// again.
    void end();
    /// The same for all children of all watchers at once; blocks until they have ended or are lost.
    static void endAll();

    static constexpr std::chrono::milliseconds patience{2000};

private:
    struct Stream {
        FileDescriptor pipe;
        ChunkHandler onChunk;
        std::unique_ptr<QSocketNotifier> notifier; // goes before its descriptor
    };
    void watch(Stream &stream, FileDescriptor pipe, ChunkHandler onChunk);
    void watchExit();
    void checkExit();
    void endFurther();
    void readChunk(Stream &stream);
    void finish();
    void giveUp();
    void stopWatching();
    void signalGroup(int signal) const;

    pid_t m_pid;
    std::array<Stream, 2> m_streams;
    FileDescriptor m_exitDescriptor;
    std::unique_ptr<QSocketNotifier> m_exitNotifier;
    EndHandler m_onEnd; ///< empty once it was told
    QTimer m_endTimer;
    int m_signal = 0; ///< the last one that asked it to end
    bool m_isFinished = false;
};
