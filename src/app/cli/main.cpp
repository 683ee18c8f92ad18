#include "card/childprocess.h"
#include "commands.h"
#include "common/task.h"
#include "desktop/quitsignals.h"
#include "workfolder.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <QCoreApplication>
#include <QFile>
#include <QThreadPool>
#include <unistd.h>

namespace {

/// The log goes to standard output, which here belongs to the results alone. Gives a descriptor for them.
int takeStandardOutput(bool isVerbose)
{
    const int results = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int log = isVerbose ? STDERR_FILENO : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (log >= 0)
        ::dup2(log, STDOUT_FILENO);
    return results;
}

QCoro::Task<> run(Request request, QIODevice *results)
{
    const Outcome outcome = co_await carryOut(std::move(request), results);
    if (!outcome.message.isEmpty())
        std::fprintf(stderr, "vornex-cli: %s\n", outcome.message.toUtf8().constData());
    QCoreApplication::exit(static_cast<int>(outcome.status));
}

/// Commands that make files have folders to be removed, and tools that write into them.
bool makesFiles(Request::Command command)
{
    return command == Request::Command::List || command == Request::Command::Extract
        || command == Request::Command::Repair;
}

/// Leaves nothing behind, and ends as the signal would have ended the program.
void endBySignal(int signal)
{
    ChildWatcher::endAll();
    QThreadPool::globalInstance()->waitForDone();
    WorkFolder::removeAll();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

int say(const Outcome &answer)
{
    const bool isWhole = answer.status == ExitStatus::Whole;
    std::fprintf(isWhole ? stdout : stderr, isWhole ? "%s\n" : "vornex-cli: %s\n",
                 answer.message.toUtf8().constData());
    return static_cast<int>(answer.status);
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away ends the work in order
    const QCoreApplication application(argc, argv);
    const Request request = Request::parse(QCoreApplication::arguments());
    if (request.answer)
        return say(*request.answer);
    QFile results;
    if (!results.open(takeStandardOutput(request.isVerbose), QIODevice::WriteOnly | QIODevice::Unbuffered,
                      QFileDevice::AutoCloseHandle)) {
        return static_cast<int>(ExitStatus::NotWritten);
    }
    std::optional<QuitSignals> quitSignals;
    if (makesFiles(request.command))
        QObject::connect(&quitSignals.emplace(), &QuitSignals::received, &application, endBySignal);
    startTask(QCoreApplication::instance(), [&request, &results] { return run(request, &results); });
    return QCoreApplication::exec();
}
