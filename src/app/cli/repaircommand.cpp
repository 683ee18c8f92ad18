#include "repaircommand.h"

#include "card/processmanager.h"
#include "card/processvalues.h"
#include "card/tooloutput.h"
#include "desktop/imagedesktop.h"
#include "engine/moviefile.h"
#include "targetfile.h"

#include <algorithm>
#include <QCoreApplication>
#include <QFileInfo>
#include <QIODevice>

using processvalues::tempRoot;

namespace {

QString tr(const char *text) { return QCoreApplication::translate("Repair", text); }

QCoro::Task<QList<TrackInfo>> tracksOf(QString path)
{
    const OpenedMovie opened = co_await openMovie(path);
    co_return opened.movie ? opened.movie->tracks() : QList<TrackInfo>();
}

QCoro::Task<int> countSoundTracks(QString path)
{
    const QList<TrackInfo> tracks = co_await tracksOf(path);
    co_return static_cast<int>(std::count_if(tracks.cbegin(), tracks.cend(), [](const TrackInfo &track) {
        return track.kind == TrackKind::Audio;
    }));
}

bool hasPictures(const QList<TrackInfo> &tracks)
{
    return std::any_of(tracks.cbegin(), tracks.cend(),
                       [](const TrackInfo &track) { return track.kind == TrackKind::Video; });
}

QString described(const QList<TrackInfo> &tracks)
{
    QString text;
    int channel = 0;
    for (const TrackInfo &track : tracks) {
        const QString seconds = QString::number(track.durationSeconds, 'f', 2);
        if (track.kind == TrackKind::Audio)
            text += tr("소리: %1초\n").arg(seconds);
        else
            text += tr("채널 %1: %2x%3, %4초\n")
                        .arg(++channel)
                        .arg(track.pictureSize.width())
                        .arg(track.pictureSize.height())
                        .arg(seconds);
    }
    return text;
}

/// One recording on its way.
class Repair
{
public:
    explicit Repair(RepairRequest request)
        : m_request(std::move(request))
        , m_target(m_request.target, m_request.existing, {m_request.recording})
    {
    }
    QCoro::Task<Outcome> prepare();
    QCoro::Task<Outcome> run();
    [[nodiscard]] const QString &report() const { return m_report; }

private:
    [[nodiscard]] Outcome checkFiles() const;
    [[nodiscard]] Outcome failed(const WorkResult &result) const;
    QCoro::Task<Outcome> finish(QString playable, QString made, bool hasLosses);

    RepairRequest m_request;
    TargetFile m_target;
    std::unique_ptr<WorkFolder> m_home;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<ProcessManager> m_manager;
    QString m_report;
};

Outcome Repair::checkFiles() const
{
    const QFileInfo recording(m_request.recording);
    if (!recording.isFile() || !recording.isReadable())
        return {ExitStatus::NotFound, tr("%1: 녹화 파일을 읽을 수 없습니다.").arg(m_request.recording)};
    return {};
}

QCoro::Task<Outcome> Repair::prepare()
{
    Outcome outcome = checkFiles();
    if (outcome.status == ExitStatus::Whole)
        outcome = m_target.prepare();
    if (outcome.status != ExitStatus::Whole)
        co_return outcome;
    m_home = WorkFolder::makeHome();
    if (!m_home)
        co_return Outcome{ExitStatus::NotWritten, tr("임시 폴더를 만들 수 없습니다.")};
    m_desktop = makeCardlessDesktop();
    m_manager = std::make_unique<ProcessManager>(*m_desktop);
    co_await m_manager->setup();
    for (const QString &tool : {QStringLiteral("ffmpeg"), QStringLiteral("mp4recover")}) {
        if (m_manager->fileSize(m_manager->helperRoot() + tool, false) == 0)
            co_return Outcome{ExitStatus::Internal, tr("%1을(를) 찾을 수 없습니다.").arg(tool)};
    }
    co_return Outcome();
}

QCoro::Task<Outcome> Repair::run()
{
    const QFileInfo source(m_request.recording);
    PlayableRequest way;
    way.source = source.canonicalFilePath();
    way.isUnfinished = source.fileName().contains(u".mov");
    way.video = tempRoot() + QStringLiteral("temp.mp4");
    way.withSound = m_target.workPath(QStringLiteral("recording.mp4"));
    way.countSoundTracks = countSoundTracks;
    const Playable playable = co_await m_manager->makePlayable(way);
    const Recovery recovery = playable.recovery.value_or(Recovery());
    if (!playable.recovery && playable.result.hasSucceeded())
        m_report = tr("손상되지 않은 영상입니다.") + u'\n';
    if (!playable.damage.isEmpty())
        m_report += playable.damage + u'\n';
    if (playable.recovery && !recovery.isDescribed)
        m_report += tr("채널 정보가 없습니다.") + u'\n';
    for (const QString &line : recovery.report)
        m_report += line + u'\n';
    if (!playable.result.hasSucceeded())
        co_return failed(playable.result);
    if (playable.sound.problem == ToolProblem::DiskFull)
        co_return failed(playable.sound);
    const bool hasLosses = tooloutput::areFramesLost(recovery.report);
    const Outcome outcome = co_await finish(playable.file, way.withSound, hasLosses);
    co_return outcome;
}

Outcome Repair::failed(const WorkResult &result) const
{
    switch (result.problem) {
    case ToolProblem::None:
    case ToolProblem::Damaged: break;
    case ToolProblem::DiskFull:
        return {ExitStatus::NotWritten, tr("%1: 디스크 공간이 부족합니다.").arg(result.reason)};
    case ToolProblem::ToolMissing:
    case ToolProblem::TimedOut:
    case ToolProblem::Cancelled:
        return {ExitStatus::Internal, tr("보조 도구가 실패했습니다: %1").arg(result.reason)};
    }
    return {ExitStatus::Unrepairable, tr("%1: 재생할 수 있는 영상이 없습니다.").arg(m_request.recording)};
}

/// Puts the file into the target's place.
QCoro::Task<Outcome> Repair::finish(QString playable, QString made, bool hasLosses)
{
    const QList<TrackInfo> tracks = co_await tracksOf(playable);
    if (!hasPictures(tracks))
        co_return failed({ToolProblem::Damaged, {}});
    if (playable != made)
        co_await m_manager->copyFile(QUrl::fromLocalFile(playable), QUrl::fromLocalFile(made));
    if (m_manager->fileSize(made, false) == 0)
        co_return Outcome{ExitStatus::NotWritten, tr("%1: 쓸 수 없습니다.").arg(m_target.path())};
    const Outcome placed = m_target.takePlace(made);
    if (placed.status != ExitStatus::Whole)
        co_return placed;
    m_report += described(tracks);
    if (hasLosses)
        co_return Outcome{ExitStatus::Incomplete, tr("일부를 복구하지 못했습니다.")};
    co_return Outcome();
}

} // namespace

QCoro::Task<Outcome> repair(RepairRequest request, QIODevice *results)
{
    Repair way(std::move(request));
    Outcome outcome = co_await way.prepare();
    if (outcome.status == ExitStatus::Whole)
        outcome = co_await way.run();
    const QByteArray report = way.report().toUtf8();
    const Outcome delivered = deliver(results, report);
    co_return outcome.isWhole() ? delivered : outcome;
}
