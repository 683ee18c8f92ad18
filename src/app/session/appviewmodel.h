#pragma once

#include "app/state/appstate.h"
#include "backgroundextraction.h"
#include "card/processmanager.h"
#include "cardsession.h"
#include "media/mediadataviewmodel.h"
#include "playback/multitrackplayer.h"
#include "recordingloader.h"

class Preferences;

/// The one state that every view reads and asks: what is published, and the operations, each of which is
/// somebody's task. It alone knows all of them and who has to hear of whom. Main thread.
class AppViewModel : public AppState
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("There is one, and the main window owns it")
    Q_PROPERTY(MultiTrackPlayer *playerManager READ playerManager CONSTANT FINAL)
    Q_PROPERTY(MediaDataViewModel *mediaData READ mediaData CONSTANT FINAL)
    Q_PROPERTY(QString mapTileAddress READ mapTileAddress CONSTANT FINAL)
    Q_PROPERTY(QString mapAttribution READ mapAttribution CONSTANT FINAL)

public:
    /// What is passed must outlive the state.
    AppViewModel(Desktop &desktop, MovieOpener openMovie, Preferences &preferences,
                 QObject *parent = nullptr);

    [[nodiscard]] ProcessManager &procManager() { return m_procManager; }
    [[nodiscard]] MultiTrackPlayer *playerManager() { return &m_playerManager; }
    [[nodiscard]] MediaDataViewModel *mediaData() { return &m_mediaData; } ///< of the selected recording
    /// Of the map service, as the user's preferences name it.
    [[nodiscard]] QString mapTileAddress() const;
    [[nodiscard]] QString mapAttribution() const;

    void loadFileList() { m_cardSession.begin(); } ///< of a card that has come
    void unloadFileList(); ///< the card has gone, and with it all that came from it
    Q_INVOKABLE void chooseTab(int tab) { m_cardSession.chooseTab(tab); }
    QCoro::Task<> applyFilter(QString type) { return m_cardSession.applyFilter(std::move(type)); }

    void startLoading() { m_backgroundExtraction.start(); }
    void cancelLoading() { m_backgroundExtraction.cancel(); }
    [[nodiscard]] bool isLoading() const { return m_backgroundExtraction.isLoading(); }

    /// Start a task that selects: the row's recording, the older one below, the newer one above.
    Q_INVOKABLE void tapRow(int row);
    Q_INVOKABLE void next();
    Q_INVOKABLE void previous();
    QCoro::Task<Selection> selectNext();
    QCoro::Task<Selection> selectPrevious();
    QCoro::Task<Selection> selectIndex(int index);
    QCoro::Task<Selection> select(FileListItem item) { return m_loader.select(std::move(item)); }
    QCoro::Task<int> getVideoCount(QString path) { return m_loader.getVideoCount(std::move(path)); }

    /// Write the telemetry to the card as text and say so; nothing without a recording in the player.
    Q_INVOKABLE void exportLocation();
    Q_INVOKABLE void exportGSensor();

private:
    Preferences &m_preferences;
    ProcessManager m_procManager;
    MultiTrackPlayer m_playerManager;
    MediaDataViewModel m_mediaData;

    CardSession m_cardSession;
    BackgroundExtraction m_backgroundExtraction;
    RecordingLoader m_loader;
};
