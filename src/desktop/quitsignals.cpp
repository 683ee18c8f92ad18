#include "quitsignals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <QSocketNotifier>
#include <unistd.h>

namespace {

constexpr std::array quitSignals{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, quitSignals.size()> formerActions;
std::atomic<int> signalPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

// Only calls that are safe in a signal handler.
void onSignal(int signal)
{
    const int savedErrno = errno;
    const char byte = static_cast<char>(signal);
    // A full pipe means that a request is waiting already.
    [[maybe_unused]] const auto written = write(signalPipe.load(), &byte, 1);
    errno = savedErrno;
}

} // namespace

QuitSignals::QuitSignals(QObject *parent)
    : QObject(parent)
{
    if (pipe2(m_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    signalPipe = m_pipe[1];
    auto *notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &QuitSignals::drain);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < quitSignals.size(); ++i) {
        sigaction(quitSignals[i], nullptr, &formerActions[i]);
        if (formerActions[i].sa_handler != SIG_IGN)
            sigaction(quitSignals[i], &action, nullptr);
    }
}

QuitSignals::~QuitSignals()
{
    if (m_pipe[0] < 0)
        return;
    for (size_t i = 0; i < quitSignals.size(); ++i)
        sigaction(quitSignals[i], &formerActions[i], nullptr);
    signalPipe = -1;
    close(m_pipe[0]);
    close(m_pipe[1]);
}

void QuitSignals::drain()
{
    int signal = 0;
    for (char byte = 0; read(m_pipe[0], &byte, 1) > 0;)
        signal = byte;
    if (signal != 0)
        Q_EMIT received(signal);
}
