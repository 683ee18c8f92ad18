#include "childprocess.h"

#include "groupguard.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
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
    SpawnSettings(int output, int messages)
    {
        // Our own standard streams may be closed, so that a pipe may have one of their numbers: the pipes are
        // made with higher ones, and the empty standard input comes last.
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, messages, STDERR_FILENO);
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        sigset_t signals;
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setflags(&attributes,
                                   POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
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

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// With numbers above those of the standard streams. False with errno set if there is none.
bool openPipe(Pipe *result)
{
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    for (int &end : ends) {
        const FileDescriptor low(end);
        end = ::fcntl(end, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
    result->readEnd = FileDescriptor(ends[0]);
    result->writeEnd = FileDescriptor(ends[1]);
    return ends[0] >= 0 && ends[1] >= 0;
}

ChildProcess failedStart(int error)
{
    ChildProcess child;
    child.error = qt_error_string(error);
    return child;
}

bool hasEnded(pid_t pid)
{
    siginfo_t info{};
    const int result = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT);
    return result != 0 || info.si_pid == pid;
}

} // namespace

ChildProcess startChildProcess(const QString &executable, const QString &command, Streams streams)
{
    Pipe output;
    Pipe messages;
    if (!openPipe(&output) || (streams == Streams::Apart && !openPipe(&messages)))
        return failedStart(errno);
    QByteArray path = QFile::encodeName(executable);
    QByteArray option = QByteArrayLiteral("-c");
    QByteArray line = command.toUtf8();
    const std::array<char *, 4> arguments{path.data(), option.data(), line.data(), nullptr};
    const int outputFd = output.writeEnd.get();
    const SpawnSettings settings(outputFd, streams == Streams::Apart ? messages.writeEnd.get() : outputFd);
    ChildProcess child;
    const int error = ::posix_spawn(&child.pid, path.constData(), &settings.actions, &settings.attributes,
                                    arguments.data(), environ);
    if (error != 0)
        return failedStart(error);
    groupguard::begin(child.pid);
    child.output = std::move(output.readEnd);
    child.messages = std::move(messages.readEnd);
    return child;
}

QByteArray readToEnd(int fd)
{
    QByteArray bytes;
    for (bool isAtEnd = false; !isAtEnd;)
        bytes += readOnce(fd, &isAtEnd);
    return bytes;
}

ChildEnd waitForEnd(pid_t pid)
{
    siginfo_t info{};
    int result = 0;
    do {
        result = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED);
    } while (result != 0 && errno == EINTR);
    groupguard::end(pid);
    if (result != 0)
        return {};
    return {info.si_code == CLD_EXITED ? ChildEnd::Kind::Exited : ChildEnd::Kind::Signalled, info.si_status};
}

ChildWatcher::ChildWatcher(ChildProcess child, ChunkHandler onOutput, ChunkHandler onMessages,
                           EndHandler onEnd)
    : QObject(qApp)
    , m_pid(child.pid)
    , m_onEnd(std::move(onEnd))
    , m_endTimer(this)
{
    watch(m_streams[0], std::move(child.output), std::move(onOutput));
    if (child.messages.get() >= 0)
        watch(m_streams[1], std::move(child.messages), std::move(onMessages));
    m_endTimer.setSingleShot(true);
    connect(&m_endTimer, &QTimer::timeout, this, &ChildWatcher::endFurther);
    [[maybe_unused]] static const auto atQuit =
        connect(qApp, &QCoreApplication::aboutToQuit, qApp, &ChildWatcher::endAll);
    watchExit();
}

void ChildWatcher::watch(Stream &stream, FileDescriptor pipe, ChunkHandler onChunk)
{
    ::fcntl(pipe.get(), F_SETFL, O_NONBLOCK);
    stream.notifier = std::make_unique<QSocketNotifier>(pipe.get(), QSocketNotifier::Read);
    stream.pipe = std::move(pipe);
    stream.onChunk = std::move(onChunk);
    connect(stream.notifier.get(), &QSocketNotifier::activated, this, [this, &stream] { readChunk(stream); });
}

void ChildWatcher::end()
{
    if (!m_isFinished && m_signal == 0)
        endFurther();
}

/// TERM, KILL, and no more hope.
void ChildWatcher::endFurther()
{
    if (m_signal == SIGKILL)
        return giveUp();
    m_signal = m_signal == 0 ? SIGTERM : SIGKILL;
    signalGroup(m_signal);
    m_endTimer.start(patience);
}

void ChildWatcher::endAll()
{
    const auto watchers = qApp->findChildren<ChildWatcher *>(QString(), Qt::FindDirectChildrenOnly);
    for (const int signal : {SIGTERM, SIGKILL}) {
        QDeadlineTimer deadline(patience);
        for (ChildWatcher *watcher : watchers) {
            if (watcher->m_isFinished || hasEnded(watcher->m_pid))
                continue;
            watcher->m_signal = signal;
            watcher->signalGroup(signal);
        }
        for (const ChildWatcher *watcher : watchers) {
            while (!watcher->m_isFinished && !hasEnded(watcher->m_pid) && !deadline.hasExpired())
                ::usleep(5000);
        }
    }
}

void ChildWatcher::signalGroup(int signal) const { ::kill(-m_pid, signal); }

void ChildWatcher::watchExit()
{
    m_exitDescriptor = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0)));
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
    if (hasEnded(m_pid))
        finish();
}

void ChildWatcher::readChunk(Stream &stream)
{
    bool isAtEnd = false;
    const QByteArray chunk = readOnce(stream.pipe.get(), &isAtEnd);
    if (isAtEnd)
        stream.notifier->setEnabled(false);
    if (!chunk.isEmpty())
        stream.onChunk(chunk); // may spin the event loop: nothing follows
}

void ChildWatcher::stopWatching()
{
    for (const Stream &stream : m_streams) {
        if (stream.notifier)
            stream.notifier->setEnabled(false);
    }
}

void ChildWatcher::finish()
{
    if (std::exchange(m_isFinished, true))
        return;
    stopWatching();
    if (m_exitNotifier)
        m_exitNotifier->setEnabled(false);
    m_endTimer.stop();
    deleteLater();
    if (m_signal != 0)
        signalGroup(SIGKILL); // what it left behind; the number stays taken until it has been waited for
    const ChildEnd end = waitForEnd(m_pid);
    if (!m_onEnd)
        return;
    // What the child wrote is in the pipes by now. What it left behind may go on writing for ever.
    std::array<QByteArrayList, 2> chunks;
    for (size_t i = 0; i < m_streams.size(); ++i) {
        int unread = 0;
        if (m_streams[i].notifier)
            ::ioctl(m_streams[i].pipe.get(), FIONREAD, &unread);
        for (bool isAtEnd = false; unread > 0 && !isAtEnd;) {
            chunks[i].append(readOnce(m_streams[i].pipe.get(), &isAtEnd));
            unread -= static_cast<int>(chunks[i].last().size());
            isAtEnd = isAtEnd || chunks[i].last().isEmpty();
        }
    }
    const auto onEnd = m_onEnd;
    const std::array handlers{m_streams[0].onChunk, m_streams[1].onChunk};
    for (size_t i = 0; i < chunks.size(); ++i) {
        for (const QByteArray &chunk : chunks[i])
            handlers[i](chunk);
    }
    onEnd(end);
}

/// Nobody waits for it any more; the watcher stays to see it go.
void ChildWatcher::giveUp()
{
    stopWatching();
    if (const EndHandler onEnd = std::exchange(m_onEnd, nullptr))
        onEnd({});
}
