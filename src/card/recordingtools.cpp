// What the tools do with recordings that lie on the computer.
#include "common/log.h"
#include "common/text.h"
#include "media/embeddeddata.h"
#include "processmanager.h"
#include "repairfiles.h"
#include "soundtail.h"
#include "tooloutput.h"

#include <algorithm>
#include <QCoroFuture>
#include <QJsonDocument>
#include <QPointer>
#include <QtConcurrentRun>

namespace {

/// For paths that stand on a command line without quotes.
bool arePlain(const QString &operation, const QStringList &paths)
{
    return std::all_of(paths.cbegin(), paths.cend(), [&](const QString &path) {
        if (!text::isPlainShellWord(path))
            logLine(QStringLiteral("[ProcessManager] ") + operation + QStringLiteral(": not a plain path: ")
                    + path);
        return text::isPlainShellWord(path);
    });
}

struct ChannelDescription {
    std::optional<QList<VideoChannel>> channels; ///< of the recording's first description
    QString error; ///< of a record that can't be decoded
};

ChannelDescription describeChannels(const QString &path)
{
    const DecodedMediaData decoded = decodeMediaData(QJsonDocument(parseMediaData(path)).toJson());
    if (!decoded.records)
        return {std::nullopt, decoded.error};
    for (const MediaData &record : *decoded.records) {
        if (record.videoInfo)
            return {record.videoInfo->channels, {}};
    }
    return {};
}

} // namespace

QCoro::Task<QString> ProcessManager::remux(QString src, QString dst)
{
    const QPointer<ProcessManager> self(this);
    deleteDirectory(dst);
    const ToolResult result =
        co_await runTool(toolcommands::remux(helperRoot(), src, dst), fileSize(src, false));
    const QString output = result.messages + result.output;
    if (!self || fileSize(dst, false) == 0)
        co_return QStringLiteral("Failed to remux MP4 file.");
    constexpr qsizetype quicklySearched = 1 << 20; // UTF-16 units
    if (output.size() <= quicklySearched)
        co_return tooloutput::damageReport(output);
    // A message for each frame of a long recording would hold up the main thread.
    const auto search = QtConcurrent::run([output] { return tooloutput::damageReport(output); });
    const QString report = co_await qCoro(search).waitForFinished();
    co_return report;
}

QCoro::Task<> ProcessManager::convertAudio(QString src, QString dst)
{
    deleteDirectory(dst);
    if (arePlain(QStringLiteral("convertAudio"), {src}))
        co_await runTool(toolcommands::convertAudio(helperRoot(), src, dst), fileSize(src, false));
}

QCoro::Task<> ProcessManager::extractChannelWithAudio(QString src, int index, QString dst)
{
    deleteDirectory(dst);
    if (arePlain(QStringLiteral("extractChannelWithAudio"), {src}))
        co_await runTool(toolcommands::extractChannelWithAudio(helperRoot(), src, index, dst),
                         fileSize(src, false));
}

QCoro::Task<> ProcessManager::extractChannel(QString src, int index, QString dst)
{
    deleteDirectory(dst);
    if (arePlain(QStringLiteral("extractChannel"), {src}))
        co_await runTool(toolcommands::extractChannel(helperRoot(), src, index, dst), fileSize(src, false));
}

QCoro::Task<std::optional<QList<VideoChannel>>> ProcessManager::getVideoInfo(QString path)
{
    const auto scan = QtConcurrent::run([path] { return describeChannels(path); });
    const ChannelDescription description = co_await qCoro(scan).waitForFinished();
    if (!description.error.isEmpty())
        logLine(QStringLiteral("[ProcessManager] getVideoInfo error: ") + description.error);
    co_return description.channels;
}

QCoro::Task<bool> ProcessManager::recoverMp4(QString src, QString dst)
{
    const QPointer<ProcessManager> self(this);
    deleteDirectory(dst);
    const std::optional<QList<VideoChannel>> channels = co_await getVideoInfo(src);
    if (!self || !channels)
        co_return false;
    const ToolResult result = co_await runTool(toolcommands::recover(helperRoot(), src, dst, *channels),
                                               fileSize(src, false), ToolPace::Repairing);
    const QStringList report = tooloutput::repairReport(result.output + result.messages);
    if (result.hasSucceeded()) { // else its words are in the log already
        for (const QString &line : report)
            logLine(QStringLiteral("[ProcessManager] recoverMp4: ") + line);
    }
    if (self)
        Q_EMIT repairReported(report);
    co_return true;
}

QCoro::Task<> ProcessManager::mergeAudio(QString video)
{
    const QPointer<ProcessManager> self(this);
    const RepairFiles files(video);
    if (fileSize(files.sound, false) == 0 || !arePlain(QStringLiteral("mergeAudio"), {video, files.sound}))
        co_return;
    const auto tail = QtConcurrent::run([sound = files.sound, video] { extendSound(sound, video); });
    co_await qCoro(tail).waitForFinished();
    if (!self)
        co_return;
    deleteDirectory(files.joined);
    co_await runTool(toolcommands::mergeAudio(helperRoot(), video, files.sound, files.joined),
                     fileSize(video, false));
    if (!self)
        co_return;
    deleteDirectory(files.sound);
    if (fileSize(files.joined, false) == 0)
        co_return;
    co_await rename(files.joined, files.source);
    if (!self)
        co_return;
    co_await convertAudio(files.source, files.converted);
    if (!self)
        co_return;
    deleteDirectory(files.source);
    if (fileSize(files.converted, false) > 0)
        co_await rename(files.converted, video);
}
