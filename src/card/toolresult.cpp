#include "toolresult.h"

#include <algorithm>
#include <QStringList>

namespace {

// bash's, for a tool that it can't run.
constexpr int notExecutable = 126;
constexpr int notFound = 127;

bool saysThatTheDiskIsFull(const QString &messages)
{
    // The system's words; ext4util writes a message without blanks.
    static const QStringList words{
        QStringLiteral("No space left on device"), QStringLiteral("No-space-left-on-device"),
        QStringLiteral("Disk quota exceeded"), QStringLiteral("Disk-quota-exceeded")};
    return std::any_of(words.cbegin(), words.cend(),
                       [&](const QString &word) { return messages.contains(word); });
}

} // namespace

ToolProblem ToolResult::problem() const
{
    switch (end) {
    case End::TimedOut: return ToolProblem::TimedOut;
    case End::Cancelled: return ToolProblem::Cancelled;
    case End::NotStarted: return ToolProblem::ToolMissing;
    case End::Signalled:
    case End::Exited: break;
    }
    if (hasSucceeded())
        return ToolProblem::None;
    if (end == End::Exited && (status == notExecutable || status == notFound))
        return ToolProblem::ToolMissing;
    return saysThatTheDiskIsFull(messages) ? ToolProblem::DiskFull : ToolProblem::Damaged;
}

QString ToolResult::summary() const
{
    constexpr qsizetype mostWords = 300;
    QString how;
    switch (end) {
    case End::Exited: how = QStringLiteral("ended with status %1").arg(status); break;
    case End::Signalled: how = QStringLiteral("was ended by signal %1").arg(status); break;
    case End::TimedOut: how = QStringLiteral("took too long and was ended"); break;
    case End::Cancelled: how = QStringLiteral("was cancelled"); break;
    case End::NotStarted: how = QStringLiteral("could not be started"); break;
    }
    const QString words = messages.right(4 * mostWords).simplified().right(mostWords);
    return words.isEmpty() ? how : how + QStringLiteral(": ") + words;
}
