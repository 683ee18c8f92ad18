#include "pkexecconsent.h"

#include "common/log.h"
#include "toollookup.h"

#include <fcntl.h>
#include <memory>
#include <QCoroFuture>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QProcess>
#include <QPromise>
#include <QStandardPaths>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

QString reason(int errorNumber) { return QString::fromLocal8Bit(strerror(errorNumber)); }

// Whoever may write the helper or its folder could have anything run by an administrator who trusts us.
bool belongsToRootAlone(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && status.st_uid == 0
        && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

QString installedHelper()
{
    const QString helper = findBundledTool(QStringLiteral("vornex-authorize"));
    if (helper.isEmpty() || !belongsToRootAlone(helper) || !belongsToRootAlone(QFileInfo(helper).path()))
        return {};
    return helper;
}

void warnIfBitIsIgnored(const QString &toolPath)
{
    struct statvfs space = {};
    if (::statvfs(QFile::encodeName(toolPath).constData(), &space) == 0 && (space.f_flag & ST_NOSUID) != 0)
        logLine(
            {QStringLiteral("[PkexecConsent]"), toolPath,
             QStringLiteral("lies on a file system mounted \"nosuid\": its set-user-ID bit has no effect, "
                            "so cards can only be read by a user with rights on their device")});
}

QString outcomeOf(const QProcess &child, const QByteArray &output)
{
    if (child.error() == QProcess::FailedToStart)
        return QStringLiteral("pkexec can't be started: ") + child.errorString();
    if (child.exitStatus() != QProcess::NormalExit)
        return QStringLiteral("pkexec was ended by a signal");
    if (child.exitCode() == 0)
        return {};
    QString text = QStringLiteral("the command ended with status %1").arg(child.exitCode());
    if (child.exitCode() == 126)
        text = QStringLiteral("the administrator's consent was refused");
    else if (child.exitCode() == 127)
        text = QStringLiteral("the administrator can't be asked, or didn't authorise it (is a polkit "
                              "authentication agent running?)");
    const QString words = QString::fromLocal8Bit(output).simplified();
    return words.isEmpty() ? text : text + QStringLiteral(": ") + words;
}

// Also told when the start fails. An awaiter of the signal itself would bind its private argument, a null
// reference.
QFuture<void> endOf(const QProcess &child)
{
    const auto end = std::make_shared<QPromise<void>>();
    end->start();
    QObject::connect(&child, &QProcess::stateChanged, [end](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            end->finish();
    });
    return end->future();
}

QString changeToSetUserIdRoot(int file)
{
    struct stat status = {};
    if (::fstat(file, &status) != 0)
        return reason(errno);
    if (!S_ISREG(status.st_mode))
        return QStringLiteral("is no regular file");
    // The owner first: changing it clears the bit.
    if (::fchown(file, 0, 0) != 0 || ::fchmod(file, (status.st_mode & 0777) | S_ISUID) != 0)
        return reason(errno);
    return {};
}

} // namespace

QString setUserIdRoot(const QString &toolPath)
{
    const int file =
        ::open(QFile::encodeName(toolPath).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return reason(errno);
    const QString error = changeToSetUserIdRoot(file);
    ::close(file);
    return error;
}

PkexecConsent::PkexecConsent(bool runsAsRoot, QString helper)
    : m_runsAsRoot(runsAsRoot)
    , m_helper(std::move(helper))
{
}

PkexecConsent::PkexecConsent()
    : PkexecConsent(::geteuid() == 0, installedHelper())
{
}

QStringList PkexecConsent::argumentsFor(const QString &toolPath) const
{
    // Started from a terminal it must not ask there: nobody would see it.
    const QString noTextAgent = QStringLiteral("--disable-internal-agent");
    if (!m_helper.isEmpty())
        return {noTextAgent, m_helper, QFileInfo(toolPath).canonicalPath()};
    return {noTextAgent,          QStringLiteral("/bin/sh"),
            QStringLiteral("-c"), QStringLiteral("chown root:root \"$1\" && chmod u+s \"$1\""),
            QStringLiteral("sh"), toolPath};
}

QCoro::Task<QString> PkexecConsent::makeSetUserIdRoot(QString toolPath)
{
    warnIfBitIsIgnored(toolPath);
    if (m_runsAsRoot)
        co_return setUserIdRoot(toolPath);
    const QString pkexec = QStandardPaths::findExecutable(QStringLiteral("pkexec"));
    if (pkexec.isEmpty())
        co_return QStringLiteral("pkexec is not installed, so the administrator can't be asked");
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.setStandardInputFile(QProcess::nullDevice());
    const QFuture<void> end = endOf(child);
    child.start(pkexec, argumentsFor(toolPath), QIODevice::ReadOnly);
    co_await qCoro(end).waitForFinished();
    co_return outcomeOf(child, child.readAll());
}
