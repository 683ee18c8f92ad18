#include "appviewmodel.h"

#include "app/state/messages.h"
#include "common/preferences.h"
#include "common/task.h"

#include <QPointer>

AppViewModel::AppViewModel(Desktop &desktop, MovieOpener openMovie, Preferences &preferences, QObject *parent)
    : AppState(parent)
    , m_preferences(preferences)
    , m_procManager(desktop)
    , m_playerManager(openMovie, preferences)
    , m_cardSession(*this, m_procManager)
    , m_backgroundExtraction(*this, m_procManager)
    , m_loader(*this, {m_procManager, m_playerManager, m_mediaData, std::move(openMovie)})
{
    connect(&m_procManager, &ProcessManager::recordingFreed, this, &AppViewModel::forgetRead);
    connect(&m_loader, &RecordingLoader::began, this, &AppViewModel::cancelLoading);
    if (isAutoLoad) {
        connect(&m_cardSession, &CardSession::listed, this, &AppViewModel::startLoading);
        connect(&m_loader, &RecordingLoader::succeeded, this, &AppViewModel::startLoading);
    }
    m_playerManager.onPlaybackEnded = [self = QPointer<AppViewModel>(this)] {
        if (self)
            self->previous();
    };
}

QString AppViewModel::mapTileAddress() const { return m_preferences.mapTileAddress(); }

QString AppViewModel::mapAttribution() const { return m_preferences.mapAttribution(); }

// A selection that is running ends by itself when it finds another card session.
void AppViewModel::unloadFileList()
{
    cancelLoading();
    m_playerManager.stop();
    m_playerManager.clearVideoPlayers();
    m_mediaData.reset();
    setVideoPlayers({});
    m_cardSession.end();
}

void AppViewModel::tapRow(int row)
{
    if (row >= 0 && row < filtered().size())
        startTask(this, [this, item = filtered().at(row)] { return select(item); });
}

void AppViewModel::next()
{
    startTask(this, [this] { return selectNext(); });
}

void AppViewModel::previous()
{
    startTask(this, [this] { return selectPrevious(); });
}

QCoro::Task<Selection> AppViewModel::selectNext()
{
    return selectIndex(selectedIndex() ? *selectedIndex() + 1 : -1);
}

QCoro::Task<Selection> AppViewModel::selectPrevious() { return selectIndex(selectedRow() - 1); }

QCoro::Task<Selection> AppViewModel::selectIndex(int index)
{
    if (index < 0 || index >= filtered().size())
        co_return Selection::Dropped;
    rows()->setSelectedRow(index);
    FileListItem item = filtered().at(index);
    const Selection selection = co_await select(std::move(item));
    co_return selection;
}

void AppViewModel::exportLocation()
{
    if (videoPlayers().isEmpty())
        return;
    m_procManager.saveToSDCard(QStringLiteral("location.txt"), m_mediaData.locationText());
    setAlertMessage(messages::locationSaved());
}

void AppViewModel::exportGSensor()
{
    if (videoPlayers().isEmpty())
        return;
    m_procManager.saveToSDCard(QStringLiteral("gsensor.txt"), m_mediaData.gSensorText());
    setAlertMessage(messages::gSensorSaved());
}
