#pragma once

#include "card/processmanager.h"
#include "engine/movie.h"
#include "filelistmodel.h"
#include "media/mediadataviewmodel.h"
#include "playback/multitrackplayer.h"

#include <optional>
#include <QCoroTask>
#include <qqmlintegration.h>
#include <QSet>
#include <stop_token>

class Preferences;

/// The one state that every view reads and every long operation reports through: the list of recordings, what
/// is selected and shown, the messages. The operations that give the thread up look at the lists again after
/// each wait, since another task may have replaced them meanwhile. Main thread.
class AppViewModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("There is one, and the main window owns it")
    Q_PROPERTY(FileListModel *rows READ rows CONSTANT FINAL)
    Q_PROPERTY(int fileCount READ fileCount NOTIFY fileListChanged FINAL)
    Q_PROPERTY(QStringList types READ types CONSTANT FINAL)
    Q_PROPERTY(bool isFullScreen READ isFullScreen WRITE setIsFullScreen NOTIFY isFullScreenChanged FINAL)
    Q_PROPERTY(bool isAlerting READ isAlerting WRITE setIsAlerting NOTIFY isAlertingChanged FINAL)
    Q_PROPERTY(int videoMode READ videoMode WRITE setVideoMode NOTIFY videoModeChanged FINAL)
    Q_PROPERTY(int videoChannel READ videoChannel WRITE setVideoChannel NOTIFY videoChannelChanged FINAL)
    Q_PROPERTY(int previousChannels READ previousChannels NOTIFY previousChannelsChanged FINAL)
    Q_PROPERTY(bool uploaded READ uploaded WRITE setUploaded NOTIFY uploadedChanged FINAL)
    Q_PROPERTY(int selectedTab READ selectedTab NOTIFY selectedTabChanged FINAL)
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedIndexChanged FINAL)
    Q_PROPERTY(bool isAllChecked READ isAllChecked NOTIFY isAllCheckedChanged FINAL)
    Q_PROPERTY(MultiTrackPlayer *playerManager READ playerManager CONSTANT FINAL)
    Q_PROPERTY(QVariantList videoPlayerObjects READ videoPlayerObjects NOTIFY videoPlayersChanged FINAL)
    Q_PROPERTY(MediaDataViewModel *mediaData READ mediaData CONSTANT FINAL)
    Q_PROPERTY(QString mapTileAddress READ mapTileAddress CONSTANT FINAL)
    Q_PROPERTY(QString mapAttribution READ mapAttribution CONSTANT FINAL)

public:
    /// What is passed must outlive the state.
    AppViewModel(Desktop &desktop, MovieOpener openMovie, Preferences &preferences,
                 QObject *parent = nullptr);

    /// Everything listed on the card, newest first.
    [[nodiscard]] const FileList &fileList() const { return m_fileList; }
    [[nodiscard]] int fileCount() const { return static_cast<int>(m_fileList.size()); }
    /// Empties the list because the card has gone. A reading that is under way is dropped when it ends.
    void clearFileList();
    /// The rows shown: copies of one type's entries, newest first. Ticks and the selected row exist here
    /// alone.
    [[nodiscard]] const FileList &filtered() const { return m_rows.items(); }
    [[nodiscard]] FileListModel *rows() { return &m_rows; }
    void clearFiltered();
    [[nodiscard]] FileList checkedItems() const; ///< in list order

    /// The list's filter values, one for each tab.
    [[nodiscard]] const QStringList &types() const { return m_types; }
    [[nodiscard]] int selectedTab() const { return m_selectedTab; } ///< index in types
    [[nodiscard]] QString currentType() const;
    /// Row of the last selection; not moved by a new list, so it can point to another row or beyond the end.
    [[nodiscard]] std::optional<int> selectedIndex() const { return m_selectedIndex; }
    [[nodiscard]] int selectedRow() const { return m_selectedIndex.value_or(-1); } ///< -1 for none
    [[nodiscard]] bool isAllChecked() const { return m_isAllChecked; }
    [[nodiscard]] bool uploaded() const { return m_uploaded; } ///< local files are shown, or a card just went
    void setUploaded(bool uploaded);

    [[nodiscard]] bool isFullScreen() const { return m_isFullScreen; }
    void setIsFullScreen(bool isFullScreen);
    [[nodiscard]] bool isAlerting() const { return m_isAlerting; } ///< a modal alert is up
    void setIsAlerting(bool isAlerting);
    /// What the main video area shows: 0 all channels, 1 and up that channel alone, -1 the map.
    [[nodiscard]] int videoMode() const { return m_videoMode; }
    void setVideoMode(int mode);
    /// What the preview shows: -1 nothing, 0 to 3 that channel, 4 the map.
    [[nodiscard]] int videoChannel() const { return m_videoChannel; }
    void setVideoChannel(int channel);
    /// Number of channels of the last recording that was loaded.
    [[nodiscard]] int previousChannels() const { return m_previousChannels; }

    [[nodiscard]] std::optional<QString> procMessage() const { return m_procMessage; } ///< progress
    void setProcMessage(std::optional<QString> message);
    [[nodiscard]] std::optional<QString> alertMessage() const { return m_alertMessage; } ///< to acknowledge
    void setAlertMessage(std::optional<QString> message);
    /// None: no download; empty: it has finished; else its progress.
    [[nodiscard]] std::optional<QString> downloadMessage() const { return m_downloadMessage; }
    void setDownloadMessage(std::optional<QString> message);

    [[nodiscard]] ProcessManager &procManager() { return m_procManager; }
    [[nodiscard]] MultiTrackPlayer *playerManager() { return &m_playerManager; }
    [[nodiscard]] MediaDataViewModel *mediaData() { return &m_mediaData; } ///< of the selected recording
    /// Of the map service, as the user's preferences name it.
    [[nodiscard]] QString mapTileAddress() const;
    [[nodiscard]] QString mapAttribution() const;
    [[nodiscard]] const TrackPlayerList &videoPlayers() const { return m_videoPlayers; } ///< for the views
    [[nodiscard]] QVariantList videoPlayerObjects() const; ///< the same as values that QML knows
    void clearVideoPlayers();

    /// Begins a card session: reads the card, shows the first tab, starts the background extraction.
    Q_INVOKABLE void loadFileList();
    Q_INVOKABLE void chooseTab(int tab);
    Q_INVOKABLE void setAllChecked(bool isChecked);
    Q_INVOKABLE void setChecked(int row, bool isChecked);
    /// Starts a task that selects the row's recording.
    Q_INVOKABLE void tapRow(int row);
    Q_INVOKABLE void next(); ///< starts selectNext()
    Q_INVOKABLE void previous(); ///< starts selectPrevious()

    /// Write the telemetry to the card as text and say so; nothing without a recording in the player.
    Q_INVOKABLE void exportLocation();
    Q_INVOKABLE void exportGSensor();

    /// Starts the task that extracts the recordings one by one, newest first, in place of a running one.
    Q_INVOKABLE void startLoading();
    /// Ends it at its next check; a tool that is running goes on to its end.
    Q_INVOKABLE void cancelLoading();

    /// Rebuilds the rows from the list. Of several requests the last one counts.
    QCoro::Task<> applyFilter(QString type);
    QCoro::Task<> selectNext(); ///< the row below, which is older
    QCoro::Task<> selectPrevious(); ///< the row above, which is newer
    QCoro::Task<> selectIndex(int index);

    /// The way of one recording from the card to the screen; ignored while another one is on its way.
    QCoro::Task<> select(FileListItem item);
    /// Rebuilds a damaged recording, with its sound. False if there was nothing to go by.
    QCoro::Task<bool> recoverWithAudio(QString source, QString target);
    /// Hands a file to the player and plays it; on failure the player keeps what it had.
    QCoro::Task<bool> loadMp4(QString path);
    QCoro::Task<int> getAudioCount(QString path); ///< number of tracks, 0 if the file can't be opened
    QCoro::Task<int> getVideoCount(QString path); ///< number of tracks, 0 if the file can't be opened
    /// Extracts the row above, which the end of playback goes to.
    QCoro::Task<> preloadPrevious(int index);

Q_SIGNALS:
    void fileListChanged();
    void filteredChanged();
    void selectedTabChanged();
    void selectedIndexChanged();
    void isAllCheckedChanged();
    void uploadedChanged();
    void isFullScreenChanged();
    void isAlertingChanged();
    void videoModeChanged();
    void videoChannelChanged();
    void previousChannelsChanged();
    void procMessageChanged();
    void alertMessageChanged();
    void downloadMessageChanged();
    void videoPlayersChanged();
    void extractionEnded(); ///< of one recording

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

    QCoro::Task<> readCard(quint64 session);
    void setFileList(FileList list);
    void storeRead(const QUuid &id, quint64 size);
    void setSelectedIndex(int index);
    void setPreviousChannels(int count);

    QCoro::Task<> extractAll(std::stop_token cancelled);
    QCoro::Task<> loadItem(int index, std::stop_token cancelled);
    QCoro::Task<> waitUntilExtractionMayGoOn(int index, std::stop_token cancelled);
    QCoro::Task<> extract(FileListItem item);

    QCoro::Task<> runSelection(FileListItem item);
    QCoro::Task<bool> fetch(FileListItem item);
    QCoro::Task<Playable> makePlayable(FileListItem item, WorkFiles files);
    QCoro::Task<bool> loadWithSound(FileListItem item, WorkFiles files, int audioCount);
    QCoro::Task<int> countTracks(QString path, TrackKind kind, QString operation);
    void getMp4Data(const QString &path);
    [[nodiscard]] WorkFiles workFilesOf(const FileListItem &item) const;
    [[nodiscard]] bool isListed(const QUuid &id) const;

    template <typename T> void assign(T &field, T value, void (AppViewModel::*changed)());

    const bool m_isAutoLoad = true; ///< whether recordings are extracted in the background
    const QStringList m_types;
    FileList m_fileList;
    FileListModel m_rows;
    int m_selectedTab = 0;
    std::optional<int> m_selectedIndex;
    bool m_isAllChecked = false;
    bool m_uploaded = false;
    bool m_isFullScreen = false;
    bool m_isAlerting = false;
    int m_videoMode = 0;
    int m_videoChannel = -1;
    int m_previousChannels = 0;
    std::optional<QString> m_procMessage;
    std::optional<QString> m_alertMessage;
    std::optional<QString> m_downloadMessage;

    MovieOpener m_openMovie;
    Preferences &m_preferences;
    ProcessManager m_procManager;
    MultiTrackPlayer m_playerManager;
    MediaDataViewModel m_mediaData;
    quint64 m_telemetryRequest = 0; ///< of several scans on their way only the last one's result is shown
    TrackPlayerList m_videoPlayers;

    quint64 m_cardSession = 0; ///< raised by each coming and going of a card
    quint64 m_filterRequest = 0; ///< of several filter steps on their way only the last one is stored
    QHash<QUuid, quint64> m_readDuringFilter; ///< sizes that its copy of the list doesn't hold yet
    std::optional<std::stop_source> m_extractTask;
    bool m_isLoading = false; ///< the background extraction has started and hasn't run to its end
    bool m_isSelecting = false;
    QSet<QString> m_runningExtractions; ///< card paths
};
