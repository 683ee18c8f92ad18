#include "processmanager.h"

#include "common/bundle.h"
#include "common/log.h"
#include "common/processvalues.h"
#include "desktop/desktop.h"
#include "files.h"

#include <cerrno>
#include <QCoroFuture>
#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>
#include <QtConcurrentRun>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using processvalues::tempRoot;

namespace {

void logFileFailure(const QString &what, const QString &error)
{
    if (!error.isEmpty())
        logLine(QStringLiteral("[FileExtractor] ") + what + error);
}

} // namespace

ProcessManager::ProcessManager(Desktop &desktop, QObject *parent)
    : QObject(parent)
    , m_desktop(desktop)
    , m_mirror(
          tempRoot(),
          [this](QString cardPath, QString target) {
              return runExtraction(std::move(cardPath), std::move(target));
          },
          desktop.diskSpace)
{
    connect(&m_mirror, &Mirror::freed, this, &ProcessManager::recordingFreed);
}

QCoro::Task<bool> ProcessManager::setup()
{
    const QPointer<ProcessManager> self(this);
    const QString dataFolder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    m_helperRoot = dataFolder.isEmpty() ? tempRoot() : dataFolder + u'/' + applicationName() + u'/';
    ensureDirectoryExists(m_helperRoot);
    ensureDirectoryExists(tempRoot());
    const QStringList tools{QStringLiteral("ext4util"), QStringLiteral("ffmpeg"),
                            QStringLiteral("mp4recover")};
    for (const QString &tool : tools) {
        co_await installTool(tool);
        if (!self)
            co_return false;
    }
    bool isReady = checkPrivilege(tools.first());
    if (!isReady)
        isReady = co_await authorizeExt4Tool(tools.first());
    if (!self)
        co_return false;
    if (isReady)
        warnIfBitIsVoid(tools.first());
    logLine(QStringLiteral("[ProcessManager] Initialization finished with success: ")
            + (isReady ? QStringLiteral("true") : QStringLiteral("false")));
    co_return isReady;
}

/// Only the size tells an old copy from a new one. A new one lacks the set-user-ID bit, so consent is asked
/// for again.
QCoro::Task<> ProcessManager::installTool(QString tool)
{
    const QString bundled = m_desktop.bundledTool(tool);
    if (bundled.isEmpty())
        co_return;
    const QString source = QFileInfo(bundled).canonicalFilePath(); // the size of a link itself tells nothing
    const QString target = m_helperRoot + tool;
    if (fileSize(target, false) == fileSize(source, false)) {
        logLine(QStringLiteral("[ProcessManager] ") + target + QStringLiteral(" -> already exists"));
        co_return;
    }
    co_await copyFile(QUrl::fromLocalFile(source), QUrl::fromLocalFile(target));
    QFile copy(target);
    copy.setPermissions(copy.permissions() | QFileDevice::ExeOwner | QFileDevice::ExeUser);
    logLine(QStringLiteral("[ProcessManager] ") + target + QStringLiteral(" -> copied"));
}

bool ProcessManager::checkPrivilege(const QString &tool) const
{
    struct stat status {
    }; // Qt doesn't know the set-user-ID bit
    if (::lstat(QFile::encodeName(m_helperRoot + tool).constData(), &status) != 0) {
        logLine(QStringLiteral("[ProcessManager] checkPrivilege error: ") + qt_error_string(errno));
        return false;
    }
    return status.st_uid == 0 && (status.st_mode & S_ISUID) != 0;
}

QCoro::Task<bool> ProcessManager::authorizeExt4Tool(QString tool)
{
    const QString error = co_await m_desktop.consent->makeSetUserIdRoot(m_helperRoot + tool);
    if (!error.isEmpty()) {
        logLine(QStringLiteral("[ProcessManager] authorizeExt4Tool error: ") + error);
        co_return false;
    }
    logLine(QStringLiteral("[ProcessManager] ") + tool + QStringLiteral(" authorized successfully"));
    co_return true;
}

/// A home mounted nosuid keeps the bit and ignores it: cards would look empty for no visible reason.
void ProcessManager::warnIfBitIsVoid(const QString &tool) const
{
    struct statvfs status {
    };
    const QString path = m_helperRoot + tool;
    if (::geteuid() != 0 && ::statvfs(QFile::encodeName(path).constData(), &status) == 0
        && (status.f_flag & ST_NOSUID) != 0)
        logLine(QStringLiteral("[ProcessManager] ") + path
                + QStringLiteral(" lies on a file system mounted nosuid: its set-user-ID bit has no effect"));
}

QCoro::Task<ToolResult> ProcessManager::runTool(QString command, quint64 inputBytes, ToolPace pace)
{
    return ::runTool(std::move(command), toolTimeLimit(inputBytes, pace), m_toolWork.get_token());
}

void ProcessManager::endToolWork() { std::exchange(m_toolWork, std::stop_source()).request_stop(); }

void ProcessManager::ensureDirectoryExists(const QString &path)
{
    const files::MadeFolder made = files::makeFolder(path);
    if (made.isNew)
        logLine(QStringLiteral("[FileExtractor] ensureDirectoryExists ") + path);
    logFileFailure({}, made.error);
}

quint64 ProcessManager::fileSize(const QString &path, bool inTemp) const
{
    return files::size(inTemp ? tempRoot() + path : path);
}

void ProcessManager::deleteDirectory(const QString &path)
{
    logFileFailure(QStringLiteral("deleteDirectory failed: "), m_mirror.discard(path));
}

QCoro::Task<> ProcessManager::copyFile(QUrl from, QUrl to)
{
    const auto copied = QtConcurrent::run(files::replaceByCopy, from.toLocalFile(), to.toLocalFile());
    const QString error = co_await qCoro(copied).waitForFinished();
    logFileFailure(QStringLiteral("copy failed:: "), error);
}

QCoro::Task<> ProcessManager::rename(QString from, QString to)
{
    const auto moved = QtConcurrent::run(files::replaceByMove, from, to);
    const QString error = co_await qCoro(moved).waitForFinished();
    logFileFailure(QStringLiteral("rename failed:: "), error);
}

bool ProcessManager::hasRoomForExtraction(quint64 nextBytes) const { return m_mirror.hasRoom(nextBytes); }

void ProcessManager::setRecordingsInUse(const QStringList &cardPaths) { m_mirror.setInUse(cardPaths); }

QCoro::Task<bool> ProcessManager::makeRoom(quint64 bytes) { return m_mirror.makeRoom(bytes); }

QString ProcessManager::mirrorDisk() const { return m_mirror.disk(); }
