#include "shell.h"

#include "common/text.h"

#include <QCoreApplication>

namespace {

QString &executable()
{
    static QString path = QStringLiteral("/bin/bash");
    return path;
}

QString startError(const ChildProcess &child) { return QStringLiteral("[Shell] run error: ") + child.error; }

/// Starts the command when it is awaited, and returns its status.
class Exit
{
public:
    Exit(QString command, Shell::OutputHandler onOutput)
        : m_command(std::move(command))
        , m_onOutput(std::move(onOutput))
    {
    }
    [[nodiscard]] bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> caller)
    {
        Shell::startProcess(m_command, m_onOutput, [this, caller](int status) {
            m_status = status;
            caller.resume();
        });
    }
    [[nodiscard]] int await_resume() const noexcept { return m_status; }

private:
    QString m_command;
    Shell::OutputHandler m_onOutput;
    int m_status = -1;
};

} // namespace

QString Shell::run(const QString &command)
{
    const ChildProcess child = start(command, Streams::Joined);
    if (child.pid < 0)
        return startError(child);
    const QByteArray output = readToEnd(child.output.get());
    waitForEnd(child.pid);
    return text::decodeUtf8Repairing(output);
}

QCoro::Task<int> Shell::runAsync(QString command, OutputHandler onOutput)
{
    Exit exit(std::move(command), std::move(onOutput));
    co_return co_await exit;
}

void Shell::startProcess(const QString &command, OutputHandler onOutput, std::function<void(int)> onExit)
{
    ChildProcess child = start(command, Streams::Joined);
    if (child.pid < 0) {
        const auto tellFailure = [error = startError(child), onOutput = std::move(onOutput),
                                  onExit = std::move(onExit)] {
            onOutput(error);
            onExit(-1);
        };
        QMetaObject::invokeMethod(qApp, tellFailure, Qt::QueuedConnection);
        return;
    }
    const auto decode = [onOutput = std::move(onOutput)](const QByteArray &chunk) {
        if (const auto text = text::decodeUtf8Strictly(chunk))
            onOutput(*text);
    };
    new ChildWatcher(std::move(child), decode, {},
                     [onExit = std::move(onExit)](ChildEnd end) { onExit(end.status); });
}

ChildProcess Shell::start(const QString &command, Streams streams)
{
    return startChildProcess(executable(), command, streams);
}

void Shell::setExecutable(const QString &path) { executable() = path; }
