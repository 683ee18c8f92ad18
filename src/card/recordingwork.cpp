#include "recordingwork.h"

#include "common/log.h"
#include "common/recordingformats.h"
#include "common/text.h"
#include "files.h"
#include "inputcheck.h"
#include "media/embeddeddata.h"
#include "soundtail.h"
#include "toolcommands.h"
#include "tooloutput.h"

#include <QCoroFuture>
#include <QFileInfo>
#include <QPointer>
#include <QStorageInfo>
#include <QtConcurrentRun>

namespace {

/// A tool that failed with less left on the disk than this failed of that.
constexpr quint64 fullDiskBytes = 1 << 20;

constexpr char soundFormats[] = "mp3"; // what mp4recover writes

QString failedRemux() { return QStringLiteral("Failed to remux MP4 file."); }

WorkResult cancelled() { return {ToolProblem::Cancelled, {}}; }

struct ChannelDescription {
    std::optional<QList<VideoChannel>> channels; ///< of the recording's first description
    QString error; ///< why the recording can't be read
};

ChannelDescription describeChannels(const QString &path)
{
    const ParsedMediaData parsed = parseMediaData(path);
    const QList<VideoInfo> &infos = parsed.records.videoInfos;
    return {infos.isEmpty() ? std::nullopt : std::optional(infos.first().channels), parsed.error};
}

} // namespace

struct RecordingWork::Step {
    QString source;
    QString target;
    QString command;
    std::stop_token stop;
    const char *formats = recordingFormats; ///< that the source may be of; none: any
    ToolPace pace = ToolPace::Copying;
    QString *said = nullptr; ///< gets what the tool said
};

RecordingWork::RecordingWork(Means means, QObject *parent)
    : QObject(parent)
    , m_means(std::move(means))
{
}

QCoro::Task<WorkResult> RecordingWork::carryOut(Step step)
{
    const QPointer<RecordingWork> self(this);
    m_means.discard(step.target);
    if (step.formats) {
        const auto looking = QtConcurrent::run(&m_workers, reasonAgainstInput, step.source, step.formats);
        const QString reason = co_await qCoro(looking).waitForFinished();
        if (!reason.isEmpty()) {
            logLine(QStringLiteral("[ProcessManager] ") + step.source + QStringLiteral(" is refused: ")
                    + reason);
            co_return WorkResult{ToolProblem::Damaged, reason};
        }
    }
    if (!self)
        co_return cancelled();
    WorkResult result = co_await carryOutOnce(step);
    if (!self || result.problem != ToolProblem::DiskFull)
        co_return result;
    const bool hasRoom = co_await m_means.makeRoom(files::size(step.source));
    if (self && hasRoom)
        result = co_await carryOutOnce(step);
    co_return result;
}

QCoro::Task<WorkResult> RecordingWork::carryOutOnce(Step step)
{
    const QPointer<RecordingWork> self(this);
    const auto limit = toolTimeLimit(files::size(step.source), step.pace);
    const ToolResult tool = co_await runTool(step.command, limit, step.stop);
    if (!self)
        co_return cancelled();
    if (step.said)
        *step.said = tool.messages + tool.output;
    co_return judge(tool, step.target);
}

/// For sources that stand on the command line without quotes.
QCoro::Task<WorkResult> RecordingWork::carryOutPlain(QString operation, Step step)
{
    if (!text::isPlainShellWord(step.source)) {
        m_means.discard(step.target);
        logLine(QStringLiteral("[ProcessManager] ") + operation + QStringLiteral(": not a plain path: ")
                + step.source);
        co_return WorkResult{ToolProblem::Damaged, QStringLiteral("not a plain path")};
    }
    const WorkResult result = co_await carryOut(std::move(step));
    co_return result;
}

WorkResult RecordingWork::judge(const ToolResult &tool, const QString &target) const
{
    const bool isExited = tool.end == ToolResult::End::Exited;
    ToolProblem problem = tool.problem();
    const DiskSpace space = m_means.diskSpace(QFileInfo(target).path());
    if (problem == ToolProblem::Damaged && space.total > 0 && space.available < fullDiskBytes)
        problem = ToolProblem::DiskFull;
    if (isExited && problem != ToolProblem::DiskFull && files::size(target) > 0)
        return {};
    m_means.discard(target);
    if (problem == ToolProblem::DiskFull)
        return {problem, QStorageInfo(QFileInfo(target).path()).rootPath()};
    return {problem == ToolProblem::None ? ToolProblem::Damaged : problem, tool.summary()};
}

QCoro::Task<WorkResult> RecordingWork::remux(QString source, QString target, std::stop_token stop)
{
    QString said;
    Step step{source, target, toolcommands::remux(m_means.toolFolder(), source, target), std::move(stop)};
    step.said = &said;
    WorkResult result = co_await carryOut(step);
    if (result.hasSucceeded()) {
        // A message for each frame of a long recording would hold up the main thread.
        const auto search = QtConcurrent::run(&m_workers, [said] { return tooloutput::damageReport(said); });
        result.reason = co_await qCoro(search).waitForFinished();
        if (!result.reason.isEmpty())
            result.problem = ToolProblem::Damaged;
    } else if (result.problem == ToolProblem::Damaged) {
        result.reason = failedRemux();
    }
    co_return result;
}

QCoro::Task<WorkResult> RecordingWork::convertAudio(const QString &source, const QString &target,
                                                    std::stop_token stop)
{
    const QString command = toolcommands::convertAudio(m_means.toolFolder(), source, target);
    return carryOutPlain(QStringLiteral("convertAudio"), {source, target, command, std::move(stop)});
}

QCoro::Task<WorkResult> RecordingWork::extractChannelWithAudio(const QString &source, int index,
                                                               const QString &target, std::stop_token stop)
{
    const QString command =
        toolcommands::extractChannelWithAudio(m_means.toolFolder(), source, index, target);
    return carryOutPlain(QStringLiteral("extractChannelWithAudio"),
                         {source, target, command, std::move(stop)});
}

QCoro::Task<WorkResult> RecordingWork::extractChannel(const QString &source, int index, const QString &target,
                                                      std::stop_token stop)
{
    const QString command = toolcommands::extractChannel(m_means.toolFolder(), source, index, target);
    return carryOutPlain(QStringLiteral("extractChannel"), {source, target, command, std::move(stop)});
}

QCoro::Task<std::optional<QList<VideoChannel>>> RecordingWork::videoInfo(QString path)
{
    const auto scan = QtConcurrent::run(&m_workers, [path] { return describeChannels(path); });
    const ChannelDescription description = co_await qCoro(scan).waitForFinished();
    if (!description.error.isEmpty())
        logLine(QStringLiteral("[ProcessManager] getVideoInfo error: ") + description.error);
    co_return description.channels;
}

QCoro::Task<Recovery> RecordingWork::recover(QString source, QString target, std::stop_token stop)
{
    const QPointer<RecordingWork> self(this);
    m_means.discard(target);
    if (target.endsWith(u".mp4"))
        m_means.discard(RepairFiles(target).sound); // of an earlier recording
    const std::optional<QList<VideoChannel>> channels = co_await videoInfo(source);
    Recovery recovery;
    recovery.isDescribed = channels.has_value();
    recovery.result = {ToolProblem::Damaged, QStringLiteral("the recording doesn't tell of its channels")};
    if (!self || !channels)
        co_return recovery;
    const QString command = toolcommands::recover(m_means.toolFolder(), source, target, *channels);
    QString said;
    const Step step{source, target, command, std::move(stop), nullptr, ToolPace::Repairing, &said};
    recovery.result = co_await carryOut(step);
    recovery.report = tooloutput::repairReport(said);
    if (recovery.result.hasSucceeded()) { // else its words are in the log already
        for (const QString &line : recovery.report)
            logLine(QStringLiteral("[ProcessManager] recoverMp4: ") + line);
    }
    co_return recovery;
}

QCoro::Task<WorkResult> RecordingWork::mergeAudio(QString video, std::stop_token stop)
{
    const QPointer<RecordingWork> self(this);
    const RepairFiles made(video);
    if (files::size(made.sound) == 0)
        co_return WorkResult();
    WorkResult result = co_await join(video, made, stop);
    if (!self)
        co_return cancelled();
    m_means.discard(made.sound);
    if (!result.hasSucceeded())
        co_return result;
    co_await move(made.joined, made.source);
    if (!self)
        co_return cancelled();
    result = co_await convertAudio(made.source, made.converted, stop);
    if (!self)
        co_return cancelled();
    m_means.discard(made.source);
    if (result.hasSucceeded())
        co_await move(made.converted, video);
    co_return result;
}

/// Brings video and recovered sound together in one file.
QCoro::Task<WorkResult> RecordingWork::join(QString video, RepairFiles made, std::stop_token stop)
{
    const QPointer<RecordingWork> self(this);
    const auto preparing = QtConcurrent::run(&m_workers, [sound = made.sound, video] {
        extendSound(sound, video);
        return reasonAgainstInput(sound, soundFormats);
    });
    const QString reason = co_await qCoro(preparing).waitForFinished();
    if (!self)
        co_return cancelled();
    if (!reason.isEmpty())
        co_return WorkResult{ToolProblem::Damaged, reason};
    const QString command = toolcommands::mergeAudio(m_means.toolFolder(), video, made.sound, made.joined);
    const Step step{video, made.joined, command, std::move(stop)};
    const WorkResult result = co_await carryOutPlain(QStringLiteral("mergeAudio"), step);
    co_return result;
}

QCoro::Task<> RecordingWork::move(QString from, QString to)
{
    const auto moving = QtConcurrent::run(&m_workers, files::replaceByMove, from, to);
    const QString error = co_await qCoro(moving).waitForFinished();
    if (!error.isEmpty())
        logLine(QStringLiteral("[FileExtractor] rename failed:: ") + error);
}

QCoro::Task<Playable> RecordingWork::makePlayable(PlayableRequest request)
{
    const QPointer<RecordingWork> self(this);
    Playable playable;
    playable.file = request.video;
    if (!request.isUnfinished)
        playable.result = co_await remux(request.source, request.video, request.stop);
    if (!self || request.stop.stop_requested())
        playable.result = cancelled();
    const ToolProblem problem = playable.result.problem;
    // Where one tool is missing, the other may do without it.
    const bool isToBeRebuilt = problem == ToolProblem::Damaged || problem == ToolProblem::ToolMissing;
    if (isToBeRebuilt)
        playable.damage = problem == ToolProblem::Damaged ? playable.result.reason : failedRemux();
    if (isToBeRebuilt || (request.isUnfinished && playable.result.hasSucceeded()))
        co_await rebuild(request, &playable);
    if (self && playable.result.hasSucceeded())
        co_await addSound(request, &playable);
    if (request.stop.stop_requested())
        playable.result = cancelled();
    co_return playable;
}

QCoro::Task<> RecordingWork::rebuild(PlayableRequest request, Playable *playable)
{
    const QPointer<RecordingWork> self(this);
    const ToolProblem earlier = playable->result.problem;
    if (request.onRepair)
        request.onRepair(playable->damage);
    const Recovery recovery = co_await recover(request.source, request.video, request.stop);
    playable->recovery = recovery;
    playable->result = recovery.result;
    if (playable->result.problem == ToolProblem::Damaged && earlier == ToolProblem::ToolMissing)
        playable->result.problem = earlier; // nobody knows whether it is damaged
    if (self && recovery.result.hasSucceeded())
        playable->sound = co_await mergeAudio(request.video, request.stop);
}

/// After a rebuilding only the sound that came with it counts, since what the damaged recording says of its
/// tracks can't be relied on.
QCoro::Task<> RecordingWork::addSound(PlayableRequest request, Playable *playable)
{
    const QPointer<RecordingWork> self(this);
    const QString counted = playable->recovery ? request.video : request.source;
    playable->soundTracks = co_await request.countSoundTracks(counted);
    if (!self || playable->soundTracks <= 0)
        co_return;
    playable->sound = co_await convertAudio(request.video, request.withSound, request.stop);
    if (playable->sound.hasSucceeded())
        playable->file = request.withSound;
}
