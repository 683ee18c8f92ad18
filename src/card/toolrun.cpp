#include "toolrun.h"

#include "common/log.h"
#include "common/text.h"
#include "shell.h"

#include <coroutine>
#include <optional>
#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

std::chrono::milliseconds leastTime = 60s;

/// The beginning and the end of what a tool prints, with whole lines on both sides of what is left out.
class BoundedText
{
public:
    void append(const QByteArray &chunk)
    {
        const qsizetype room = std::min(most - m_head.size(), chunk.size());
        m_head += chunk.first(room);
        m_tail += chunk.sliced(room);
        if (m_tail.size() > 2 * most)
            cutTail();
    }
    [[nodiscard]] bool isCut() const { return m_isCut || m_tail.size() > most; }
    [[nodiscard]] QString text()
    {
        if (!isCut())
            return text::decodeUtf8Repairing(m_head + m_tail);
        cutTail();
        m_head.truncate(m_head.lastIndexOf('\n') + 1);
        return text::decodeUtf8Repairing(m_head + m_tail.sliced(m_tail.indexOf('\n') + 1));
    }

private:
    static constexpr qsizetype most = qsizetype{4} << 20; // bytes of each part

    void cutTail()
    {
        m_isCut = true;
        m_tail = m_tail.last(std::min(most, m_tail.size()));
    }

    QByteArray m_head;
    QByteArray m_tail;
    bool m_isCut = false;
};

/// A command that runs until it ends or is cut off.
class ToolRun
{
public:
    ToolRun(QString command, std::chrono::milliseconds limit, std::stop_token stop)
        : m_command(std::move(command))
        , m_stop(std::move(stop))
    {
        m_timer.setInterval(limit);
        m_timer.setSingleShot(true);
    }
    Q_DISABLE_COPY_MOVE(ToolRun)
    ~ToolRun() = default;

    /// onEnd is called later, once, when the result is there.
    void start(std::function<void()> onEnd)
    {
        ChildProcess child;
        if (m_stop.stop_requested())
            m_result.end = ToolResult::End::Cancelled;
        else
            child = Shell::start(m_command, Streams::Apart);
        if (child.pid < 0) {
            m_result.messages = child.error;
            QMetaObject::invokeMethod(qApp, onEnd, Qt::QueuedConnection);
            return;
        }
        m_watcher = new ChildWatcher(
            std::move(child), [this](const QByteArray &chunk) { m_output.append(chunk); },
            [this](const QByteArray &chunk) { m_messages.append(chunk); },
            [this, onEnd = std::move(onEnd)](ChildEnd end) {
                take(end);
                onEnd();
            });
        QObject::connect(&m_timer, &QTimer::timeout, [this] { cutOff(ToolResult::End::TimedOut); });
        m_timer.start();
        m_onStop.emplace(m_stop, [this] { cutOff(ToolResult::End::Cancelled); });
    }
    [[nodiscard]] const ToolResult &result() const { return m_result; }

private:
    void cutOff(ToolResult::End reason)
    {
        if (!m_watcher || m_reason)
            return;
        m_reason = reason;
        m_watcher->end();
    }
    void take(ChildEnd end)
    {
        m_timer.stop();
        m_onStop.reset();
        const bool isExited = end.kind == ChildEnd::Kind::Exited;
        m_result.end = m_reason.value_or(isExited ? ToolResult::End::Exited : ToolResult::End::Signalled);
        m_result.status = end.status;
        m_result.isCut = m_output.isCut() || m_messages.isCut();
        m_result.output = m_output.text();
        m_result.messages = m_messages.text();
    }

    QString m_command;
    std::stop_token m_stop;
    BoundedText m_output;
    BoundedText m_messages;
    QTimer m_timer;
    QPointer<ChildWatcher> m_watcher;
    std::optional<std::stop_callback<std::function<void()>>> m_onStop;
    std::optional<ToolResult::End> m_reason; ///< why it was cut off, if it was
    ToolResult m_result;
};

/// Starts the run when it is awaited. The compiler copies what is awaited, so the run itself is elsewhere.
struct EndOf {
    ToolRun *run;
    [[nodiscard]] bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> caller) const
    {
        run->start([caller] { caller.resume(); });
    }
    void await_resume() const noexcept { }
};

/// The last part of the path that the line begins with, in quotes.
QString toolName(const QString &command)
{
    return command.section(QStringLiteral("' "), 0, 0).section(u'/', -1);
}

} // namespace

std::chrono::milliseconds toolTimeLimit(quint64 inputBytes, ToolPace pace)
{
    constexpr quint64 longest = 24ULL * 3600; // sizes on a damaged card may be any number
    return leastTime + std::chrono::seconds(std::min(inputBytes / static_cast<quint64>(pace), longest));
}

void setLeastToolTime(std::chrono::milliseconds time) { leastTime = time; }

QCoro::Task<ToolResult> runTool(QString command, std::chrono::milliseconds limit, std::stop_token stop)
{
    ToolRun run(command, limit, std::move(stop));
    const EndOf end{&run};
    co_await end;
    if (!run.result().hasSucceeded())
        logLine(QStringLiteral("[ProcessManager] ") + toolName(command) + u' ' + run.result().summary());
    co_return run.result();
}
