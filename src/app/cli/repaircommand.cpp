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

bool holds(const QList<TrackInfo> &tracks, TrackKind kind)
{
    return std::any_of(tracks.cbegin(), tracks.cend(),
                       [kind](const TrackInfo &track) { return track.kind == kind; });
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
    [[nodiscard]] Outcome checkRoom() const;
    QCoro::Task<QList<TrackInfo>> makePlayable();
    QCoro::Task<Outcome> finish(QList<TrackInfo> tracks);

    RepairRequest m_request;
    TargetFile m_target;
    std::unique_ptr<WorkFolder> m_home;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<ProcessManager> m_manager;
    QString m_temp;
    QString m_report;
    bool m_areFramesLost = false;
};

Outcome Repair::checkFiles() const
{
    const QFileInfo recording(m_request.recording);
    if (!recording.isFile() || !recording.isReadable())
        return {ExitStatus::NotFound, tr("%1: 녹화 파일을 읽을 수 없습니다.").arg(m_request.recording)};
    return {};
}

/// A tool that fills the disk leaves a file that looks done.
Outcome Repair::checkRoom() const
{
    constexpr quint64 copiesAtOnce = 3;
    const quint64 bytes = m_manager->fileSize(QFileInfo(m_request.recording).canonicalFilePath(), false);
    const QString place = QFileInfo(m_request.target).absolutePath();
    for (const auto &[folder, copies] : {std::pair{tempRoot(), copiesAtOnce}, {place, quint64{1}}}) {
        const DiskSpace space = m_desktop->diskSpace(folder);
        if (space.total > 0 && space.available < bytes * copies)
            return {ExitStatus::NotWritten, tr("%1: 디스크 공간이 부족합니다.").arg(folder)};
    }
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
    m_temp = tempRoot() + QStringLiteral("temp.mp4");
    co_return checkRoom();
}

/// Makes temp; gives the tracks whose sound counts, or none if there is nothing to play.
QCoro::Task<QList<TrackInfo>> Repair::makePlayable()
{
    const QString source = QFileInfo(m_request.recording).absoluteFilePath();
    if (!QFileInfo(source).fileName().contains(u".mov")) {
        const QString problem = co_await m_manager->remux(source, m_temp);
        if (problem.isEmpty()) {
            m_report = tr("손상되지 않은 영상입니다.") + u'\n';
            QList<TrackInfo> tracks = co_await tracksOf(source);
            co_return tracks;
        }
        m_report = problem + u'\n';
    }
    QObject::connect(m_manager.get(), &ProcessManager::repairReported, m_manager.get(),
                     [this](const QStringList &lines) {
                         m_report += lines.join(u'\n') + u'\n';
                         m_areFramesLost = tooloutput::areFramesLost(lines);
                     });
    const bool isRecovered = co_await m_manager->recoverMp4(source, m_temp);
    if (!isRecovered)
        m_report += tr("채널 정보가 없습니다.") + u'\n';
    else
        co_await m_manager->mergeAudio(m_temp);
    QList<TrackInfo> tracks = co_await tracksOf(m_temp);
    co_return tracks;
}

QCoro::Task<Outcome> Repair::run()
{
    const QList<TrackInfo> tracks = co_await makePlayable();
    if (!holds(tracks, TrackKind::Video))
        co_return Outcome{ExitStatus::Unrepairable,
                          tr("%1: 재생할 수 있는 영상이 없습니다.").arg(m_request.recording)};
    const Outcome outcome = co_await finish(tracks);
    co_return outcome;
}

QCoro::Task<Outcome> Repair::finish(QList<TrackInfo> tracks)
{
    const QString made = m_target.workPath(QStringLiteral("recording.mp4"));
    if (holds(tracks, TrackKind::Audio))
        co_await m_manager->convertAudio(m_temp, made);
    if (m_manager->fileSize(made, false) == 0)
        co_await m_manager->copyFile(QUrl::fromLocalFile(m_temp), QUrl::fromLocalFile(made));
    const QList<TrackInfo> madeTracks = co_await tracksOf(made);
    if (!holds(madeTracks, TrackKind::Video))
        co_return Outcome{ExitStatus::NotWritten, tr("%1: 쓸 수 없습니다.").arg(m_target.path())};
    const Outcome placed = m_target.takePlace(made);
    if (placed.status != ExitStatus::Whole)
        co_return placed;
    m_report += described(madeTracks);
    if (m_areFramesLost)
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
