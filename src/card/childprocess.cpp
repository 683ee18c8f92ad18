#include "childprocess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <QFile>
#include <QTimer>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

constexpr qsizetype chunkSize = 65536; // a pipe's usual capacity

/// At most one chunk; empty at the end of the file and when nothing is there.
QByteArray readOnce(int fd, bool *isAtEnd)
{
    QByteArray chunk(chunkSize, Qt::Uninitialized);
    ssize_t count = 0;
    do {
        count = ::read(fd, chunk.data(), static_cast<size_t>(chunk.size()));
    } while (count < 0 && errno == EINTR);
    *isAtEnd = count == 0 || (count < 0 && errno != EAGAIN);
    chunk.resize(std::max<ssize_t>(count, 0));
    return chunk;
}

/// The child starts as a terminal would start it, whatever our own libraries did to our signals.
class SpawnSettings
{
public:
    explicit SpawnSettings(int output)
    {
        // Our own standard streams may be closed, so that output may have one of their numbers: the empty
        // standard input comes last.
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        sigset_t signals;
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        ::sigaddset(&signals, SIGPIPE);
        ::sigaddset(&signals, SIGCHLD);
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;
    ~SpawnSettings()
    {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

int statusOf(const siginfo_t &info)
{
    return info.si_status; // the exit status, or the signal's number, by si_code
}

} // namespace

ChildProcess startChildProcess(const QString &executable, const QString &command)
{
    ChildProcess child;
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        child.error = qt_error_string(errno);
        return child;
    }
    FileDescriptor readEnd(ends[0]);
    const FileDescriptor writeEnd(ends[1]);
    QByteArray path = QFile::encodeName(executable);
    QByteArray option = QByteArrayLiteral("-c");
    QByteArray line = command.toUtf8();
    const std::array<char *, 4> arguments{path.data(), option.data(), line.data(), nullptr};
    const SpawnSettings settings(writeEnd.get());
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, path.constData(), &settings.actions, &settings.attributes,
                                    arguments.data(), environ);
    if (error != 0) {
        child.error = qt_error_string(error);
        return child;
    }
    child.pid = pid;
    child.output = std::move(readEnd);
    return child;
}

QByteArray readToEnd(int fd)
{
    QByteArray bytes;
    for (bool isAtEnd = false; !isAtEnd;)
        bytes += readOnce(fd, &isAtEnd);
    return bytes;
}

int waitForStatus(pid_t pid)
{
    siginfo_t info{};
    int result = 0;
    do {
        result = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? statusOf(info) : -1;
}

ChildWatcher::ChildWatcher(ChildProcess child, ChunkHandler onChunk, std::function<void(int)> onExit,
                           QObject *parent)
    : QObject(parent)
    , m_child(std::move(child))
    , m_outputNotifier(m_child.output.get(), QSocketNotifier::Read)
    , m_onChunk(std::move(onChunk))
    , m_onExit(std::move(onExit))
{
    ::fcntl(m_child.output.get(), F_SETFL, O_NONBLOCK);
    connect(&m_outputNotifier, &QSocketNotifier::activated, this, &ChildWatcher::readChunk);
    watchExit();
}

void ChildWatcher::endChild() const
{
    constexpr int patienceMs = 1000;
    if (m_isFinished)
        return;
    ::kill(m_child.pid, SIGTERM);
    pollfd exit{m_exitDescriptor.get(), POLLIN, 0};
    if (::poll(&exit, 1, patienceMs) <= 0)
        ::kill(m_child.pid, SIGKILL);
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(m_child.pid), &info, WEXITED | WNOWAIT); // finish() takes the status
}

void ChildWatcher::watchExit()
{
    m_exitDescriptor = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_child.pid, 0)));
    if (m_exitDescriptor.get() >= 0) {
        m_exitNotifier = std::make_unique<QSocketNotifier>(m_exitDescriptor.get(), QSocketNotifier::Read);
        connect(m_exitNotifier.get(), &QSocketNotifier::activated, this, &ChildWatcher::finish);
        return;
    }
    // Too many open files, or a sandbox without such descriptors.
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &ChildWatcher::checkExit);
    timer->start(20);
}

void ChildWatcher::checkExit()
{
    siginfo_t info{};
    const int result = ::waitid(P_PID, static_cast<id_t>(m_child.pid), &info, WEXITED | WNOHANG | WNOWAIT);
    if (result != 0 || info.si_pid == m_child.pid)
        finish();
}

void ChildWatcher::readChunk()
{
    bool isAtEnd = false;
    const QByteArray chunk = readOnce(m_child.output.get(), &isAtEnd);
    if (isAtEnd)
        m_outputNotifier.setEnabled(false);
    if (!chunk.isEmpty())
        m_onChunk(chunk); // may spin the event loop: nothing follows
}

void ChildWatcher::finish()
{
    if (std::exchange(m_isFinished, true))
        return;
    m_outputNotifier.setEnabled(false);
    if (m_exitNotifier)
        m_exitNotifier->setEnabled(false);
    deleteLater();
    const int status = waitForStatus(m_child.pid);
    // What the child wrote is in the pipe by now. What it left behind may go on writing for ever.
    int unread = 0;
    ::ioctl(m_child.output.get(), FIONREAD, &unread);
    QByteArrayList chunks;
    for (bool isAtEnd = false; unread > 0 && !isAtEnd;) {
        chunks.append(readOnce(m_child.output.get(), &isAtEnd));
        unread -= static_cast<int>(chunks.last().size());
        isAtEnd = isAtEnd || chunks.last().isEmpty();
    }
    const auto onChunk = m_onChunk;
    const auto onExit = m_onExit;
    for (const QByteArray &chunk : chunks)
        onChunk(chunk);
    onExit(status);
}
