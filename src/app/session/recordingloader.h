#pragma once

#include "card/extraction.h"
#include "engine/movie.h"
#include "media/filelistitem.h"

#include <optional>
#include <QCoroTask>
#include <QObject>

class AppState;
class MediaDataViewModel;
class MultiTrackPlayer;
class ProcessManager;

/// How a selection ended.
enum class Selection {
    Refused, ///< another one is on its way
    Dropped, ///< the recording is not listed any more, or its card has gone
    Failed, ///< alertMessage says why
    Plays,
};

/// The way of a recording from a click on its row to moving pictures; one at a time. Main thread.
class RecordingLoader : public QObject
{
    Q_OBJECT
public:
    /// What the way leads through. All of it outlives the loader.
    struct Stations {
        ProcessManager &tools;
        MultiTrackPlayer &player;
        MediaDataViewModel &telemetry;
        MovieOpener openMovie;
    };
    RecordingLoader(AppState &state, Stations stations, QObject *parent = nullptr);

    QCoro::Task<Selection> select(FileListItem item);
    /// Rebuilds a damaged recording, with its sound. False if there was nothing to go by.
    QCoro::Task<bool> recoverWithAudio(QString source, QString target);
    /// Hands a file to the player and plays it; on failure the player keeps what it had.
    QCoro::Task<bool> loadMp4(QString path);
    QCoro::Task<int> getAudioCount(QString path); ///< number of tracks, 0 if the file can't be opened
    QCoro::Task<int> getVideoCount(QString path); ///< number of tracks, 0 if the file can't be opened
    /// Extracts the row above, which the end of playback goes to.
    QCoro::Task<> preloadPrevious(int index);

Q_SIGNALS:
    void began(); ///< a selection
    void succeeded(); ///< a selection; the recording plays

private:
    /// Where the files of one selection lie.
    struct WorkFiles {
        QString full; ///< as extracted from the card
        QString temp; ///< made into a plain MP4; a repair takes further names after it
        QString playing; ///< with sound that every player takes
    };
    struct Playable {
        bool isRepaired = false; ///< or was sound already
        int audioCount = 0;
    };
    class SessionCheck;

    QCoro::Task<Selection> run(FileListItem item);
    QCoro::Task<Extraction> fetch(FileListItem item);
    std::optional<Selection> endOfFailed(const FileListItem &item, const Extraction &extraction);
    QCoro::Task<Selection> play(FileListItem item);
    QCoro::Task<Playable> makePlayable(FileListItem item, WorkFiles files);
    QCoro::Task<QString> withSound(FileListItem item, WorkFiles files, int audioCount);
    QCoro::Task<int> countTracks(QString path, TrackKind kind, QString operation);
    [[nodiscard]] WorkFiles workFilesOf(const FileListItem &item) const;

    AppState &m_state;
    Stations m_way;
};
