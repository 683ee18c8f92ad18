#pragma once

#include "engine/trackplayer.h"
#include "filelistmodel.h"

#include <optional>
#include <QHash>
#include <qqmlintegration.h>
#include <QStringList>

/// What the views show and what long operations report to: the recordings, what is selected, the messages.
/// Nothing in here works or waits. Main thread.
class AppState : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppViewModel is the one there is")
    Q_PROPERTY(FileListModel *rows READ rows CONSTANT FINAL)
    Q_PROPERTY(int fileCount READ fileCount NOTIFY fileListChanged FINAL)
    Q_PROPERTY(QStringList types READ types CONSTANT FINAL)
    Q_PROPERTY(bool isFullScreen READ isFullScreen WRITE setIsFullScreen NOTIFY isFullScreenChanged FINAL)
    Q_PROPERTY(bool isAlerting READ isAlerting NOTIFY isAlertingChanged FINAL)
    Q_PROPERTY(int videoMode READ videoMode WRITE setVideoMode NOTIFY videoModeChanged FINAL)
    Q_PROPERTY(int videoChannel READ videoChannel WRITE setVideoChannel NOTIFY videoChannelChanged FINAL)
    Q_PROPERTY(int previousChannels READ previousChannels NOTIFY previousChannelsChanged FINAL)
    Q_PROPERTY(bool uploaded READ uploaded WRITE setUploaded NOTIFY uploadedChanged FINAL)
    Q_PROPERTY(int selectedTab READ selectedTab NOTIFY selectedTabChanged FINAL)
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedIndexChanged FINAL)
    Q_PROPERTY(bool isAllChecked READ isAllChecked NOTIFY isAllCheckedChanged FINAL)
    Q_PROPERTY(QVariantList videoPlayerObjects READ videoPlayerObjects NOTIFY videoPlayersChanged FINAL)

public:
    static constexpr bool isAutoLoad = true; ///< whether recordings are extracted ahead of the user

    explicit AppState(QObject *parent = nullptr);

    /// Raised by each coming and going of a card. Who gives the thread up compares it afterwards.
    [[nodiscard]] quint64 cardSession() const { return m_cardSession; }
    void raiseCardSession() { ++m_cardSession; }

    /// Everything listed on the card, newest first.
    [[nodiscard]] const FileList &fileList() const { return m_fileList; }
    [[nodiscard]] int fileCount() const { return static_cast<int>(m_fileList.size()); }
    void setFileList(FileList list);
    /// The rows shown: copies of one type's entries, newest first. Ticks and the selected row exist here
    /// alone.
    [[nodiscard]] const FileList &filtered() const { return m_rows.items(); }
    [[nodiscard]] FileListModel *rows() { return &m_rows; }
    /// Rows take a while to be made out of a copy of the list. Of several requests the last one counts.
    [[nodiscard]] quint64 requestRows();
    void setRows(quint64 request, SortedList rows);
    void clearRows() { setRows(requestRows(), {}); }
    [[nodiscard]] bool isListed(const QUuid &id) const; ///< in either list
    /// The size of a recording's extracted copy, to both lists.
    void storeRead(const QUuid &id, quint64 bytes);
    void forgetRead(const QString &cardPath); ///< the copy isn't there any more
    [[nodiscard]] FileList checkedItems() const; ///< in list order
    Q_INVOKABLE void setChecked(int row, bool isChecked) { m_rows.setChecked(row, isChecked); }

    /// The list's filter values, one for each tab.
    [[nodiscard]] const QStringList &types() const { return m_types; }
    [[nodiscard]] int selectedTab() const { return m_selectedTab; } ///< index in types
    void setSelectedTab(int tab);
    [[nodiscard]] QString currentType() const;
    /// Row of the last selection; not moved by a new list, so it can point to another row or beyond the end.
    [[nodiscard]] std::optional<int> selectedIndex() const { return m_selectedIndex; }
    [[nodiscard]] int selectedRow() const { return m_selectedIndex.value_or(-1); } ///< -1 for none
    void setSelectedIndex(int row);
    [[nodiscard]] bool isAllChecked() const { return m_isAllChecked; }
    Q_INVOKABLE void setAllChecked(bool isChecked); ///< with all ticks
    [[nodiscard]] bool uploaded() const { return m_uploaded; } ///< local files are shown, or a card just went
    void setUploaded(bool uploaded);
    /// Raised by each setUploaded(), so that who set it can see whether somebody else did since.
    [[nodiscard]] quint64 uploadedRevision() const { return m_uploadedRevision; }

    [[nodiscard]] bool isFullScreen() const { return m_isFullScreen; }
    void setIsFullScreen(bool isFullScreen);
    /// What the main video area shows: 0 all channels, 1 and up that channel alone, -1 the map.
    [[nodiscard]] int videoMode() const { return m_videoMode; }
    void setVideoMode(int mode);
    /// What the preview shows: -1 nothing, 0 to 3 that channel, 4 the map.
    [[nodiscard]] int videoChannel() const { return m_videoChannel; }
    void setVideoChannel(int channel);
    /// Number of channels of the last recording that was loaded.
    [[nodiscard]] int previousChannels() const { return m_previousChannels; }
    void setPreviousChannels(int count);
    [[nodiscard]] const TrackPlayerList &videoPlayers() const { return m_videoPlayers; } ///< for the views
    [[nodiscard]] QVariantList videoPlayerObjects() const; ///< the same as values that QML knows
    void setVideoPlayers(TrackPlayerList players);

    [[nodiscard]] bool isSelecting() const { return m_isSelecting; } ///< a recording is on its way
    void setIsSelecting(bool isSelecting) { m_isSelecting = isSelecting; }
    [[nodiscard]] bool isAlerting() const { return m_modalAlerts > 0; } ///< a modal alert is up
    void beginModalAlert(); ///< several may be up at once
    void endModalAlert();
    [[nodiscard]] std::optional<QString> procMessage() const { return m_procMessage; } ///< progress
    void setProcMessage(std::optional<QString> message);
    [[nodiscard]] std::optional<QString> alertMessage() const { return m_alertMessage; } ///< to acknowledge
    void setAlertMessage(std::optional<QString> message);
    /// None: no download; empty: it has finished; else its progress.
    [[nodiscard]] std::optional<QString> downloadMessage() const { return m_downloadMessage; }
    void setDownloadMessage(std::optional<QString> message);

Q_SIGNALS:
    void fileListChanged();
    void filteredChanged();
    void selectedTabChanged();
    void selectedIndexChanged();
    void isAllCheckedChanged();
    void uploadedChanged();
    void isFullScreenChanged();
    void videoModeChanged();
    void videoChannelChanged();
    void previousChannelsChanged();
    void videoPlayersChanged();
    void isAlertingChanged();
    void procMessageChanged();
    void alertMessageChanged();
    void downloadMessageChanged();

private:
    template <typename T> void assign(T &field, T value, void (AppState::*changed)());

    quint64 m_cardSession = 0;
    FileList m_fileList;
    FileListModel m_rows;
    quint64 m_rowsRequest = 0;
    QHash<QUuid, quint64> m_readSinceRequest; ///< sizes that the request's copy of the list doesn't hold yet
    const QStringList m_types;
    int m_selectedTab = 0;
    std::optional<int> m_selectedIndex;
    bool m_isAllChecked = false;
    bool m_uploaded = false;
    quint64 m_uploadedRevision = 0;

    bool m_isFullScreen = false;
    int m_videoMode = 0;
    int m_videoChannel = -1;
    int m_previousChannels = 0;
    TrackPlayerList m_videoPlayers;

    bool m_isSelecting = false;
    int m_modalAlerts = 0;
    std::optional<QString> m_procMessage;
    std::optional<QString> m_alertMessage;
    std::optional<QString> m_downloadMessage;
};
