#include "recordingloader.h"

#include "app/state/appstate.h"
#include "app/state/messages.h"
#include "card/processmanager.h"
#include "card/processvalues.h"
#include "card/repairfiles.h"
#include "common/log.h"
#include "common/task.h"
#include "media/mediadataviewmodel.h"
#include "playback/multitrackplayer.h"
#include "sessionmark.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

/// Lets the highlight be drawn before the work begins.
constexpr auto highlightTime = 200ms;

} // namespace

RecordingLoader::RecordingLoader(AppState &state, Stations stations, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_way(std::move(stations))
{
}

QCoro::Task<Selection> RecordingLoader::select(FileListItem item)
{
    if (m_state.procMessage() || m_state.isSelecting())
        co_return Selection::Refused;
    const QPointer<RecordingLoader> self(this);
    m_state.setIsSelecting(true);
    Q_EMIT began();
    const Selection selection = co_await run(std::move(item));
    if (!self)
        co_return Selection::Dropped;
    if (selection == Selection::Plays)
        Q_EMIT succeeded();
    m_state.setIsSelecting(false);
    co_return selection;
}

QCoro::Task<Selection> RecordingLoader::run(FileListItem item)
{
    const SessionMark here(this, m_state);
    const int index = m_state.rows()->rowOf(item.id);
    if (index < 0)
        co_return Selection::Dropped;
    if (m_way.player.isPlaying())
        m_way.player.stop();
    m_state.setSelectedIndex(index);
    m_state.rows()->setSelectedRow(index);
    co_await sleepFor(highlightTime);
    if (!here.isCurrent())
        co_return Selection::Dropped;
    const Extraction extraction = co_await fetch(item);
    if (!here.isCurrent())
        co_return Selection::Dropped;
    if (const auto end = endOfFailed(item, extraction))
        co_return *end;
    const Selection selection = co_await play(item);
    if (here.isCardGone() && selection != Selection::Plays)
        m_state.setAlertMessage(messages::cardRemoved());
    co_return selection;
}

/// A recording that lies there whole is there at once; one that is just extracted is waited for. The size
/// goes to the row alone: the background task still takes this recording for one to be extracted.
QCoro::Task<Extraction> RecordingLoader::fetch(FileListItem item)
{
    const SessionMark here(this, m_state);
    const int row = m_state.rows()->rowOf(item.id);
    const bool isFirst = (row < 0 ? item : m_state.filtered().at(row)).read == 0;
    if (isFirst)
        m_state.setProcMessage(messages::fetching());
    m_way.tools.setRecordingsInUse({item.cardPath()});
    const Extraction extraction = co_await m_way.tools.extract(item.cardPath(), item.size);
    if (isFirst && here.isCurrent())
        m_state.rows()->setRead(m_state.rows()->rowOf(item.id), extraction.size);
    if (isFirst && (here.isCurrent() || here.isCardGone()))
        m_state.setProcMessage(std::nullopt);
    co_return extraction;
}

/// What the card doesn't give whole, or not at all, is the recording's damage; it goes on and shows there.
std::optional<Selection> RecordingLoader::endOfFailed(const FileListItem &item, const Extraction &extraction)
{
    switch (extraction.outcome) {
    case Extraction::Outcome::Whole:
    case Extraction::Outcome::Incomplete:
    case Extraction::Outcome::Missing: return std::nullopt;
    case Extraction::Outcome::CardGone:
    case Extraction::Outcome::Cancelled: return Selection::Dropped;
    case Extraction::Outcome::DiskFull: m_state.setAlertMessage(messages::diskFull(extraction.reason)); break;
    case Extraction::Outcome::ToolFailed:
        m_state.setAlertMessage(messages::notRead(extraction.reason));
        break;
    }
    logLine(
        QStringLiteral("[AppViewModel] select ") + item.cardPath() + QStringLiteral(" -> ")
        + (extraction.outcome == Extraction::Outcome::DiskFull ? QStringLiteral("no room on ") : QString())
        + extraction.reason);
    return Selection::Failed;
}

QCoro::Task<Selection> RecordingLoader::play(FileListItem item)
{
    const SessionMark here(this, m_state);
    const WorkFiles files = workFilesOf(item);
    const Playable playable = co_await makePlayable(item, files);
    if (!here.isCurrent())
        co_return Selection::Dropped;
    const QString path = co_await withSound(item, files, playable.audioCount);
    if (!here.isCurrent())
        co_return Selection::Dropped;
    const bool isLoaded = co_await loadMp4(path);
    if (!here.isCurrent())
        co_return Selection::Dropped;
    if (!isLoaded || !playable.isRepaired) {
        m_state.setAlertMessage(messages::damaged());
        co_return Selection::Failed;
    }
    m_way.tools.deleteDirectory(files.temp); // the player has it open
    m_way.telemetry.loadFile(files.full, m_way.player.duration()); // nothing waits for it
    if (AppState::isAutoLoad)
        co_await preloadPrevious(m_state.rows()->rowOf(item.id));
    co_return Selection::Plays;
}

/// Each folder of recordings has its own work files. A recording of such a name would be overwritten by them
/// or by the files of a repair, so they get out of its way.
RecordingLoader::WorkFiles RecordingLoader::workFilesOf(const FileListItem &item) const
{
    const QString full = processvalues::tempRoot() + item.cardPath();
    const QString folder = full.chopped(item.name.size());
    const auto isTaken = [&](const QString &path) {
        const auto liesThere = [&](const FileListItem &entry) {
            return entry.type == item.type && path == folder + entry.name;
        };
        return path == full || std::any_of(m_state.fileList().cbegin(), m_state.fileList().cend(), liesThere)
            || std::any_of(m_state.filtered().cbegin(), m_state.filtered().cend(), liesThere);
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
/// itself counts, since what the damaged recording says of its tracks can't be relied on.
QCoro::Task<RecordingLoader::Playable> RecordingLoader::makePlayable(FileListItem item, WorkFiles files)
{
    const SessionMark here(this, m_state);
    Playable playable;
    if (!item.isUnfinished()) {
        const QString problem = co_await m_way.tools.remux(files.full, files.temp);
        if (!here.isCurrent())
            co_return playable;
        if (problem.isEmpty()) {
            playable.isRepaired = true;
            playable.audioCount = co_await getAudioCount(files.full);
            co_return playable;
        }
        logLine(QStringLiteral("[AppViewModel] select ") + item.cardPath() + QStringLiteral(" -> ")
                + problem);
    }
    m_state.setProcMessage(messages::repairing());
    playable.isRepaired = co_await recoverWithAudio(files.full, files.temp);
    if (here.isCurrent() || here.isCardGone())
        m_state.setProcMessage(std::nullopt);
    if (here.isCurrent())
        playable.audioCount = co_await getAudioCount(files.temp);
    co_return playable;
}

QCoro::Task<bool> RecordingLoader::recoverWithAudio(QString source, QString target)
{
    const SessionMark here(this, m_state);
    const bool isRecovered = co_await m_way.tools.recoverMp4(source, target);
    if (here.isCurrent() && isRecovered)
        co_await m_way.tools.mergeAudio(target);
    co_return isRecovered;
}

/// The file to be played.
QCoro::Task<QString> RecordingLoader::withSound(FileListItem item, WorkFiles files, int audioCount)
{
    const SessionMark here(this, m_state);
    if (audioCount <= 0) {
        logLine(QStringLiteral("[AppViewModel] select ") + item.name + QStringLiteral(" -> has no audio."));
        co_return files.temp;
    }
    co_await m_way.tools.convertAudio(files.temp, files.playing);
    const bool isConverted = here.isCurrent() && m_way.tools.fileSize(files.playing, false) > 0;
    co_return isConverted ? files.playing : files.temp;
}

QCoro::Task<bool> RecordingLoader::loadMp4(QString path)
{
    const SessionMark here(this, m_state);
    const std::optional<MovieError> error = co_await m_way.player.loadTracks(QUrl::fromLocalFile(path));
    if (here.isCardGone())
        m_way.player.clearVideoPlayers();
    if (!here.isCurrent())
        co_return false;
    if (error) {
        logLine(QStringLiteral("[AppViewModel] loadMp4 failure: ") + error->text);
        co_return false;
    }
    m_state.setVideoPlayers(m_way.player.videoPlayers());
    m_way.player.play();
    const int channels = static_cast<int>(m_state.videoPlayers().size());
    if (m_state.previousChannels() != channels)
        m_state.setVideoChannel(-1);
    m_state.setPreviousChannels(channels);
    co_return true;
}

QCoro::Task<int> RecordingLoader::countTracks(QString path, TrackKind kind, QString operation)
{
    const OpenedMovie opened = co_await m_way.openMovie(std::move(path));
    if (!opened.movie) {
        logLine(QStringLiteral("[AppViewModel] ") + operation + QStringLiteral(" failure: ")
                + opened.error.text);
        co_return 0;
    }
    const QList<TrackInfo> tracks = opened.movie->tracks();
    co_return static_cast<int>(std::count_if(tracks.cbegin(), tracks.cend(),
                                             [&](const TrackInfo &track) { return track.kind == kind; }));
}

QCoro::Task<int> RecordingLoader::getAudioCount(QString path)
{
    return countTracks(std::move(path), TrackKind::Audio, QStringLiteral("getAudioCount"));
}

QCoro::Task<int> RecordingLoader::getVideoCount(QString path)
{
    return countTracks(std::move(path), TrackKind::Video, QStringLiteral("getVideoCount"));
}

QCoro::Task<> RecordingLoader::preloadPrevious(int index)
{
    const SessionMark here(this, m_state);
    const FileList &rows = m_state.filtered();
    if (index < 1 || index >= rows.size())
        co_return;
    const FileListItem item = rows.at(index - 1);
    m_way.tools.setRecordingsInUse({rows.at(index).cardPath(), item.cardPath()});
    if (item.read != 0)
        co_return;
    const Extraction extraction = co_await m_way.tools.extract(item.cardPath(), item.size);
    if (here.isCurrent())
        m_state.rows()->setRead(m_state.rows()->rowOf(item.id), extraction.size);
}
