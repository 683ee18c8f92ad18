#include "toolset.h"

#include "common/log.h"
#include "desktop/desktop.h"
#include "files.h"

#include <algorithm>
#include <cerrno>
#include <QCoroFuture>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QtConcurrentRun>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

void log(const QString &text) { logLine(QStringLiteral("[ProcessManager] ") + text); }

/// In hexadecimal digits; empty if the file can't be read.
QByteArray checksumOf(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result().toHex() : QByteArray();
}

/// Lines as sha256sum writes and reads them.
ToolSet::Checksums readNote(const QString &path)
{
    ToolSet::Checksums checksums;
    const QStringList lines = files::readText(path).text.value_or(QString()).split(u'\n');
    for (const QString &line : lines)
        checksums.insert(line.section(QStringLiteral("  "), 1), line.section(u' ', 0, 0).toLatin1());
    checksums.remove(QString());
    return checksums;
}

QString writeNote(const QString &path, const ToolSet::Checksums &checksums)
{
    QString text;
    for (auto tool = checksums.cbegin(); tool != checksums.cend(); ++tool)
        text += QString::fromLatin1(tool.value()) + QStringLiteral("  ") + tool.key() + u'\n';
    return files::saveText(path, text);
}

/// What has to be known of a tool, found on a worker.
struct ToolState {
    bool isCurrent = false;
    QByteArray checksum; ///< of what came with the program
};

/// A copy that isn't noted is judged by itself.
ToolState stateOf(const QString &source, const QString &target, const QByteArray &noted)
{
    const QByteArray checksum = checksumOf(source);
    const bool hasSize = files::size(target) == files::size(source);
    return {hasSize && checksum == (noted.isEmpty() ? checksumOf(target) : noted), checksum};
}

/// The earlier copy stays until the new one is whole.
QString replaceTool(const QString &source, const QString &target)
{
    const QString copied = target + QStringLiteral(".new");
    QString error = files::replaceByCopy(source, copied);
    QFile copy(copied);
    if (error.isEmpty()
        && !copy.setPermissions(copy.permissions() | QFileDevice::ExeOwner | QFileDevice::ExeUser))
        error = copy.errorString();
    if (error.isEmpty())
        error = files::replaceByMove(copied, target);
    if (!error.isEmpty()) [[maybe_unused]]
        const QString removed = files::removeAll(copied);
    return error;
}

} // namespace

ToolSet::ToolSet(Desktop &desktop, QObject *parent)
    : QObject(parent)
    , m_desktop(desktop)
{
}

QCoro::Task<bool> ToolSet::setUp(QString folder)
{
    const QPointer<ToolSet> self(this);
    m_folder = std::move(folder);
    const QStringList tools{QStringLiteral("ext4util"), QStringLiteral("ffmpeg"),
                            QStringLiteral("mp4recover")};
    co_await installAll(tools);
    if (!self)
        co_return false;
    const bool needsRights = m_desktop.consent->isNeeded();
    bool isReady = !needsRights || checkPrivilege(tools.first());
    if (!isReady)
        isReady = co_await authorize(tools.first());
    if (!self)
        co_return false;
    if (isReady && needsRights)
        warnIfBitIsVoid(tools.first());
    log(QStringLiteral("Initialization finished with success: ")
        + (isReady ? QStringLiteral("true") : QStringLiteral("false")));
    co_return isReady;
}

QCoro::Task<> ToolSet::installAll(QStringList tools)
{
    const QPointer<ToolSet> self(this);
    const QString note = m_folder + QStringLiteral("installed.sha256");
    const auto reading = QtConcurrent::run(readNote, note);
    const Checksums noted = co_await qCoro(reading).waitForFinished();
    if (!self)
        co_return;
    m_installed = noted;
    for (const QString &tool : tools) {
        co_await install(tool);
        if (!self)
            co_return;
    }
    if (m_installed == noted)
        co_return;
    const auto writing = QtConcurrent::run(writeNote, note, m_installed);
    const QString error = co_await qCoro(writing).waitForFinished();
    if (!error.isEmpty())
        log(QStringLiteral("what was installed can't be noted: ") + error);
}

/// A new copy lacks the set-user-ID bit, so consent is asked for again.
QCoro::Task<> ToolSet::install(QString tool)
{
    const QPointer<ToolSet> self(this);
    const QString bundled = m_desktop.bundledTool(tool);
    if (bundled.isEmpty()) {
        log(tool + QStringLiteral(" -> missing"));
        co_return;
    }
    const QString source = QFileInfo(bundled).canonicalFilePath(); // the size of a link itself tells nothing
    const QString target = m_folder + tool;
    const auto looking = QtConcurrent::run(stateOf, source, target, m_installed.value(tool));
    const ToolState state = co_await qCoro(looking).waitForFinished();
    if (!self)
        co_return;
    if (!state.isCurrent) {
        const auto replacing = QtConcurrent::run(replaceTool, source, target);
        const QString error = co_await qCoro(replacing).waitForFinished();
        if (!error.isEmpty())
            logLine(QStringLiteral("[FileExtractor] copy failed:: ") + error);
        if (!self || !error.isEmpty())
            co_return;
    }
    log(target + (state.isCurrent ? QStringLiteral(" -> already exists") : QStringLiteral(" -> copied")));
    m_installed[tool] = state.checksum;
}

bool ToolSet::checkPrivilege(const QString &tool) const
{
    struct stat status {
    }; // Qt doesn't know the set-user-ID bit
    if (::lstat(QFile::encodeName(m_folder + tool).constData(), &status) != 0) {
        log(QStringLiteral("checkPrivilege error: ") + qt_error_string(errno));
        return false;
    }
    return status.st_uid == 0 && (status.st_mode & S_ISUID) != 0;
}

QCoro::Task<bool> ToolSet::authorize(QString tool)
{
    const QString error = co_await m_desktop.consent->makeSetUserIdRoot(m_folder + tool);
    log(error.isEmpty() ? tool + QStringLiteral(" authorized successfully")
                        : QStringLiteral("authorizeExt4Tool error: ") + error);
    co_return error.isEmpty();
}

/// A home mounted nosuid keeps the bit and ignores it: cards would look empty for no visible reason.
void ToolSet::warnIfBitIsVoid(const QString &tool) const
{
    struct statvfs status {
    };
    const QString path = m_folder + tool;
    if (::geteuid() != 0 && ::statvfs(QFile::encodeName(path).constData(), &status) == 0
        && (status.f_flag & ST_NOSUID) != 0)
        log(path
            + QStringLiteral(" lies on a file system mounted nosuid: its set-user-ID bit has no effect"));
}
