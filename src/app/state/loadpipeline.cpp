// The way of a recording from a click on its row to moving pictures.
#include "appviewmodel.h"
#include "card/repairfiles.h"
#include "common/log.h"
#include "common/processvalues.h"
#include "common/task.h"
#include "media/embeddeddata.h"

#include <algorithm>
#include <QJsonDocument>
#include <QPointer>

using namespace std::chrono_literals;

namespace {

/// Lets the highlight be drawn before the work begins.
constexpr auto highlightTime = 200ms;

QString fetchingMessage() { return AppViewModel::tr("영상 다운로드 중입니다. 잠시만 기다려주세요."); }

QString repairingMessage() { return AppViewModel::tr("영상을 복구 중입니다. 잠시만 기다려주세요."); }

QString damagedMessage() { return AppViewModel::tr("영상 파일이 손상되어 정상적으로 재생할 수 없습니다."); }

} // namespace

QCoro::Task<> AppViewModel::select(FileListItem item)
{
    if (m_procMessage || m_isSelecting)
        co_return;
    const QPointer<AppViewModel> self(this);
    m_isSelecting = true;
    cancelLoading();
    co_await runSelection(std::move(item));
    if (self)
        m_isSelecting = false;
}

QCoro::Task<> AppViewModel::runSelection(FileListItem item)
{
    const QPointer<AppViewModel> self(this);
    const int index = m_rows.rowOf(item.id);
    if (index < 0)
        co_return;
    if (m_playerManager.isPlaying())
        m_playerManager.stop();
    setSelectedIndex(index);
    m_rows.setSelectedRow(index);
    co_await sleepFor(highlightTime);
    if (!self)
        co_return;

    if (item.read == 0) {
        const bool isCardThere = co_await fetch(item);
        if (!self || !isCardThere)
            co_return;
    }

    const WorkFiles files = workFilesOf(item);
    const Playable playable = co_await makePlayable(item, files);
    if (!self)
        co_return;
    const bool isLoaded = co_await loadWithSound(item, files, playable.audioCount);
    if (!self)
        co_return;
    if (!isLoaded || !playable.isRepaired) {
        setAlertMessage(damagedMessage());
        co_return;
    }
    m_procManager.deleteDirectory(files.temp); // the player has it open
    getMp4Data(files.full);
    if (m_isAutoLoad) {
        co_await preloadPrevious(m_rows.rowOf(item.id));
        if (self)
            startLoading();
    }
}

/// False if the card has gone meanwhile. The size goes to the row alone: the background task still takes this
/// recording for one to be extracted.
QCoro::Task<bool> AppViewModel::fetch(FileListItem item)
{
    const QPointer<AppViewModel> self(this);
    setProcMessage(fetchingMessage());
    co_await extract(item);
    if (!self)
        co_return false;
    const bool isCardThere = isListed(item.id);
    if (isCardThere)
        m_rows.setRead(m_rows.rowOf(item.id), m_procManager.fileSize(item.cardPath(), true));
    setProcMessage(std::nullopt);
    co_return isCardThere;
}

/// Each folder of recordings has its own work files. A recording of such a name would be overwritten by them
/// or by the files of a repair, so they get out of its way.
AppViewModel::WorkFiles AppViewModel::workFilesOf(const FileListItem &item) const
{
    const QString full = processvalues::tempRoot() + item.cardPath();
    const QString folder = full.chopped(item.name.size());
    const auto isTaken = [&](const QString &path) {
        const auto liesThere = [&](const FileListItem &entry) {
            return entry.type == item.type && path == folder + entry.name;
        };
        return path == full || std::any_of(m_fileList.cbegin(), m_fileList.cend(), liesThere)
            || std::any_of(filtered().cbegin(), filtered().cend(), liesThere);
    };
    const auto isAnyTaken = [&](const QString &video) {
        const RepairFiles files(video);
        return isTaken(video) || isTaken(files.sound) || isTaken(files.joined) || isTaken(files.source)
            || isTaken(files.converted);
    };
    const auto freePath = [&](QString name) {
        while (isAnyTaken(folder + name))
            name.prepend(u'_');
        return folder + name;
    };
    return {full, freePath(QStringLiteral("temp.mp4")), freePath(QStringLiteral("playing.mp4"))};
}

/// Makes temp: a copy of a sound recording, else what a repair can give. After that only the sound of temp
/// itself counts, since what the damaged recording tells of its tracks can't be relied on.
QCoro::Task<AppViewModel::Playable> AppViewModel::makePlayable(FileListItem item, WorkFiles files)
{
    const QPointer<AppViewModel> self(this);
    const bool isUnfinished = item.name.contains(u".mov"); // the camera's name until it closes the file
    Playable playable;
    if (!isUnfinished) {
        const QString problem = co_await m_procManager.remux(files.full, files.temp);
        if (!self)
            co_return playable;
        if (problem.isEmpty()) {
            playable.isRepaired = true;
            playable.audioCount = co_await getAudioCount(files.full);
            co_return playable;
        }
        logLine(QStringLiteral("[AppViewModel] select ") + item.cardPath() + QStringLiteral(" -> ")
                + problem);
    }
    setProcMessage(repairingMessage());
    playable.isRepaired = co_await recoverWithAudio(files.full, files.temp);
    if (!self)
        co_return playable;
    setProcMessage(std::nullopt);
    playable.audioCount = co_await getAudioCount(files.temp);
    co_return playable;
}

QCoro::Task<bool> AppViewModel::recoverWithAudio(QString source, QString target)
{
    const QPointer<AppViewModel> self(this);
    const bool isRecovered = co_await m_procManager.recoverMp4(source, target);
    if (self && isRecovered)
        co_await m_procManager.mergeAudio(target);
    co_return isRecovered;
}

QCoro::Task<bool> AppViewModel::loadWithSound(FileListItem item, WorkFiles files, int audioCount)
{
    const QPointer<AppViewModel> self(this);
    QString playable = files.temp;
    if (audioCount <= 0) {
        logLine(QStringLiteral("[AppViewModel] select ") + item.name + QStringLiteral(" -> has no audio."));
    } else {
        co_await m_procManager.convertAudio(files.temp, files.playing);
        if (!self)
            co_return false;
        if (m_procManager.fileSize(files.playing, false) > 0)
            playable = files.playing;
    }
    const bool isLoaded = co_await loadMp4(playable);
    co_return isLoaded;
}

QCoro::Task<bool> AppViewModel::loadMp4(QString path)
{
    const QPointer<AppViewModel> self(this);
    const std::optional<QString> error = co_await m_playerManager.loadTracks(QUrl::fromLocalFile(path));
    if (!self)
        co_return false;
    if (error) {
        logLine(QStringLiteral("[AppViewModel] loadMp4 failure: ") + *error);
        co_return false;
    }
    m_videoPlayers = m_playerManager.videoPlayers();
    Q_EMIT videoPlayersChanged();
    m_playerManager.play();
    const int channels = static_cast<int>(m_videoPlayers.size());
    if (m_previousChannels != channels)
        setVideoChannel(-1);
    setPreviousChannels(channels);
    co_return true;
}

/// Nothing waits for it: the pictures play while the telemetry arrives.
void AppViewModel::getMp4Data(const QString &path)
{
    m_mediaData.reset();
    const quint64 request = ++m_telemetryRequest;
    parseMediaDataAsync(path, [self = QPointer<AppViewModel>(this), request](const QJsonArray &records) {
        if (!self || request != self->m_telemetryRequest)
            return;
        const QString json = QString::fromUtf8(QJsonDocument(records).toJson());
        const QString error = self->m_mediaData.load(json, self->m_playerManager.duration());
        if (!error.isEmpty())
            logLine(QStringLiteral("[AppViewModel] getMp4Data failed: ") + error);
    });
}

QCoro::Task<int> AppViewModel::countTracks(QString path, TrackKind kind, QString operation)
{
    const OpenedMovie opened = co_await m_openMovie(std::move(path));
    if (!opened.movie) {
        logLine(QStringLiteral("[AppViewModel] ") + operation + QStringLiteral(" failure: ") + opened.error);
        co_return 0;
    }
    const QList<TrackInfo> tracks = opened.movie->tracks();
    co_return static_cast<int>(std::count_if(tracks.cbegin(), tracks.cend(),
                                             [&](const TrackInfo &track) { return track.kind == kind; }));
}

QCoro::Task<int> AppViewModel::getAudioCount(QString path)
{
    return countTracks(std::move(path), TrackKind::Audio, QStringLiteral("getAudioCount"));
}

QCoro::Task<int> AppViewModel::getVideoCount(QString path)
{
    return countTracks(std::move(path), TrackKind::Video, QStringLiteral("getVideoCount"));
}

QCoro::Task<> AppViewModel::preloadPrevious(int index)
{
    const QPointer<AppViewModel> self(this);
    if (index < 1 || index >= filtered().size() || filtered().at(index - 1).read != 0)
        co_return;
    const FileListItem item = filtered().at(index - 1);
    co_await extract(item);
    if (self)
        m_rows.setRead(m_rows.rowOf(item.id), m_procManager.fileSize(item.cardPath(), true));
}
