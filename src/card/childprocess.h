#pragma once

#include <functional>
#include <memory>
#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

/// Owns a file descriptor.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd)
        : m_fd(fd)
    {
    }
    FileDescriptor(FileDescriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    [[nodiscard]] int get() const { return m_fd; }

private:
    int m_fd = -1;
};

/// A child that was started, or the reason why it was not.
struct ChildProcess {
    pid_t pid = -1;
    FileDescriptor output; ///< read end of the pipe that is its standard output and standard error
    QString error; ///< if pid is -1
};

/// Runs the executable with the arguments "-c" and command. Any thread.
[[nodiscard]] ChildProcess startChildProcess(const QString &executable, const QString &command);
/// Blocks until every writer has closed the pipe.
[[nodiscard]] QByteArray readToEnd(int fd);
/// Blocks until the child has ended; its exit status or the number of the signal that ended it, -1 if the
/// system can't tell.
int waitForStatus(pid_t pid);

/// Reads a child's output and waits for its end on the main thread's event loop; deletes itself then.
class ChildWatcher : public QObject
{
    Q_OBJECT
public:
    using ChunkHandler = std::function<void(const QByteArray &)>;
    ChildWatcher(ChildProcess child, ChunkHandler onChunk, std::function<void(int)> onExit, QObject *parent);
    void endChild() const; ///< blocks until it has ended, for at most some seconds

private:
    void watchExit();
    void checkExit();
    void readChunk();
    void finish();

    ChildProcess m_child;
    FileDescriptor m_exitDescriptor;
    QSocketNotifier m_outputNotifier; // notifiers go before their descriptors
    std::unique_ptr<QSocketNotifier> m_exitNotifier;
    ChunkHandler m_onChunk;
    std::function<void(int)> m_onExit;
    bool m_isFinished = false;
};
