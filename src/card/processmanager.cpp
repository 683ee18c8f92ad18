#include "processmanager.h"

#include "common/bundle.h"
#include "common/log.h"
#include "common/userfolders.h"
#include "desktop/desktop.h"
#include "files.h"
#include "processvalues.h"

#include <QCoroFuture>
#include <QtConcurrentRun>

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
    , m_tools(desktop)
    , m_mirror(
          tempRoot(),
          [this](QString cardPath, QString target) {
              return runExtraction(std::move(cardPath), std::move(target));
          },
          desktop.diskSpace)
    , m_work(meansOfWork())
{
    connect(&m_mirror, &Mirror::freed, this, &ProcessManager::recordingFreed);
}

QCoro::Task<bool> ProcessManager::setup()
{
    const QString helperRoot = userfolders::data() + u'/' + applicationName() + u'/';
    ensureDirectoryExists(helperRoot);
    ensureDirectoryExists(tempRoot());
    m_mirror.clearLeftovers();
    return m_tools.setUp(helperRoot);
}

QCoro::Task<ToolResult> ProcessManager::runTool(QString command, quint64 inputBytes)
{
    return ::runTool(std::move(command), toolTimeLimit(inputBytes, ToolPace::Copying),
                     m_toolWork.get_token());
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

RecordingWork::Means ProcessManager::meansOfWork()
{
    return {[this] { return helperRoot(); }, [this](const QString &path) { deleteDirectory(path); },
            [this](quint64 bytes) { return makeRoom(bytes); }, m_desktop.diskSpace};
}

QCoro::Task<Playable> ProcessManager::makePlayable(PlayableRequest request)
{
    if (!request.stop.stop_possible())
        request.stop = m_toolWork.get_token();
    return m_work.makePlayable(std::move(request));
}

QCoro::Task<QString> ProcessManager::remux(QString src, QString dst)
{
    const WorkResult result = co_await m_work.remux(src, dst, m_toolWork.get_token());
    if (result.hasSucceeded())
        co_return QString();
    co_return result.problem == ToolProblem::Damaged ? result.reason
                                                     : QStringLiteral("Failed to remux MP4 file.");
}

QCoro::Task<> ProcessManager::convertAudio(QString src, QString dst)
{
    co_await m_work.convertAudio(src, dst, m_toolWork.get_token());
}

QCoro::Task<> ProcessManager::extractChannelWithAudio(QString src, int index, QString dst)
{
    co_await m_work.extractChannelWithAudio(src, index, dst, m_toolWork.get_token());
}

QCoro::Task<> ProcessManager::extractChannel(QString src, int index, QString dst)
{
    co_await m_work.extractChannel(src, index, dst, m_toolWork.get_token());
}

QCoro::Task<std::optional<QList<VideoChannel>>> ProcessManager::getVideoInfo(QString path)
{
    return m_work.videoInfo(std::move(path));
}

QCoro::Task<bool> ProcessManager::recoverMp4(QString src, QString dst)
{
    const Recovery recovery = co_await m_work.recover(src, dst, m_toolWork.get_token());
    co_return recovery.isDescribed;
}

QCoro::Task<> ProcessManager::mergeAudio(QString video)
{
    co_await m_work.mergeAudio(video, m_toolWork.get_token());
}
