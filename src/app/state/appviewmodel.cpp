#include "appviewmodel.h"

#include "common/preferences.h"
#include "common/task.h"

#include <algorithm>
#include <QCoroFuture>
#include <QPointer>
#include <QtConcurrentRun>

AppViewModel::AppViewModel(Desktop &desktop, MovieOpener openMovie, Preferences &preferences, QObject *parent)
    : QObject(parent)
    , m_types{QStringLiteral("normal"), QStringLiteral("event"), QStringLiteral("park"),
              QStringLiteral("manual"), QStringLiteral("saved"), QStringLiteral("all")}
    , m_openMovie(openMovie)
    , m_preferences(preferences)
    , m_procManager(desktop)
    , m_playerManager(std::move(openMovie), preferences)
{
    connect(&m_rows, &QAbstractItemModel::modelReset, this, &AppViewModel::filteredChanged);
    connect(&m_rows, &QAbstractItemModel::dataChanged, this, &AppViewModel::filteredChanged);
    m_playerManager.onPlaybackEnded = [self = QPointer<AppViewModel>(this)] {
        if (self)
            self->previous();
    };
}

template <typename T> void AppViewModel::assign(T &field, T value, void (AppViewModel::*changed)())
{
    if (field == value)
        return;
    field = std::move(value);
    Q_EMIT(this->*changed)();
}

void AppViewModel::setUploaded(bool uploaded)
{
    assign(m_uploaded, uploaded, &AppViewModel::uploadedChanged);
}

void AppViewModel::setIsFullScreen(bool isFullScreen)
{
    assign(m_isFullScreen, isFullScreen, &AppViewModel::isFullScreenChanged);
}

void AppViewModel::setIsAlerting(bool isAlerting)
{
    assign(m_isAlerting, isAlerting, &AppViewModel::isAlertingChanged);
}

void AppViewModel::setVideoMode(int mode) { assign(m_videoMode, mode, &AppViewModel::videoModeChanged); }

void AppViewModel::setVideoChannel(int channel)
{
    assign(m_videoChannel, channel, &AppViewModel::videoChannelChanged);
}

void AppViewModel::setProcMessage(std::optional<QString> message)
{
    assign(m_procMessage, std::move(message), &AppViewModel::procMessageChanged);
}

void AppViewModel::setAlertMessage(std::optional<QString> message)
{
    assign(m_alertMessage, std::move(message), &AppViewModel::alertMessageChanged);
}

void AppViewModel::setDownloadMessage(std::optional<QString> message)
{
    assign(m_downloadMessage, std::move(message), &AppViewModel::downloadMessageChanged);
}

void AppViewModel::setSelectedIndex(int index)
{
    assign(m_selectedIndex, std::optional<int>(index), &AppViewModel::selectedIndexChanged);
}

void AppViewModel::setPreviousChannels(int count)
{
    assign(m_previousChannels, count, &AppViewModel::previousChannelsChanged);
}

QVariantList AppViewModel::videoPlayerObjects() const
{
    QVariantList objects;
    for (const TrackPlayerPtr &player : m_videoPlayers)
        objects.append(QVariant::fromValue<QObject *>(player.get()));
    return objects;
}

QString AppViewModel::mapTileAddress() const { return m_preferences.mapTileAddress(); }

QString AppViewModel::mapAttribution() const { return m_preferences.mapAttribution(); }

void AppViewModel::clearVideoPlayers()
{
    m_videoPlayers.clear();
    Q_EMIT videoPlayersChanged();
}

void AppViewModel::setFileList(FileList list)
{
    m_fileList = std::move(list);
    Q_EMIT fileListChanged();
}

void AppViewModel::clearFileList()
{
    ++m_cardSession;
    setFileList({});
}

void AppViewModel::clearFiltered()
{
    ++m_filterRequest;
    m_rows.replace({});
}

FileList AppViewModel::checkedItems() const
{
    FileList checked;
    std::copy_if(filtered().cbegin(), filtered().cend(), std::back_inserter(checked),
                 [](const FileListItem &item) { return item.isChecked; });
    return checked;
}

QString AppViewModel::currentType() const
{
    const bool isTab = m_selectedTab >= 0 && m_selectedTab < m_types.size();
    return m_types.at(isTab ? m_selectedTab : 0);
}

void AppViewModel::loadFileList()
{
    assign(m_selectedTab, 0, &AppViewModel::selectedTabChanged);
    if (m_isAllChecked)
        setAllChecked(false);
    const quint64 session = ++m_cardSession;
    startTask(this, [this, session] { return readCard(session); });
}

QCoro::Task<> AppViewModel::readCard(quint64 session)
{
    const QPointer<AppViewModel> self(this);
    const FileList items = co_await m_procManager.readFileList();
    const QFuture<SortedList> sorting = QtConcurrent::run(sortedNewestFirst, items);
    SortedList list = co_await sorting;
    if (!self || session != m_cardSession)
        co_return;
    setFileList(std::move(list.items));
    startTask(this, [this] { return applyFilter(currentType()); });
    if (m_isAutoLoad)
        startLoading();
}

QCoro::Task<> AppViewModel::applyFilter(QString type)
{
    const QPointer<AppViewModel> self(this);
    const quint64 request = ++m_filterRequest;
    m_readDuringFilter.clear();
    const QFuture<SortedList> work = QtConcurrent::run(
        [](const FileList &items, const QString &wanted) {
            return sortedNewestFirst(entriesOfType(items, wanted));
        },
        m_fileList, type);
    SortedList list = co_await work;
    if (!self || request != m_filterRequest)
        co_return;
    if (!m_readDuringFilter.isEmpty()) {
        for (FileListItem &item : list.items)
            item.read = m_readDuringFilter.value(item.id, item.read);
    }
    m_rows.replace(std::move(list));
}

/// To both lists by id, as either may have been replaced since the row was looked up.
void AppViewModel::storeRead(const QUuid &id, quint64 size)
{
    const auto item = std::find_if(m_fileList.cbegin(), m_fileList.cend(),
                                   [&](const FileListItem &entry) { return entry.id == id; });
    if (item == m_fileList.cend())
        return;
    m_fileList[item - m_fileList.cbegin()].read = size;
    m_readDuringFilter.insert(id, size);
    Q_EMIT fileListChanged();
    m_rows.setRead(m_rows.rowOf(id), size);
}

bool AppViewModel::isListed(const QUuid &id) const
{
    const auto hasId = [&](const FileListItem &item) { return item.id == id; };
    return std::any_of(m_fileList.cbegin(), m_fileList.cend(), hasId)
        || std::any_of(filtered().cbegin(), filtered().cend(), hasId);
}

void AppViewModel::chooseTab(int tab)
{
    if (tab == m_selectedTab)
        return;
    assign(m_selectedTab, tab, &AppViewModel::selectedTabChanged);
    startTask(this, [this] { return applyFilter(currentType()); });
    setUploaded(false);
}

void AppViewModel::setAllChecked(bool isChecked)
{
    assign(m_isAllChecked, isChecked, &AppViewModel::isAllCheckedChanged);
    m_rows.setAllChecked(isChecked);
}

void AppViewModel::setChecked(int row, bool isChecked) { m_rows.setChecked(row, isChecked); }

void AppViewModel::tapRow(int row)
{
    if (row >= 0 && row < filtered().size())
        startTask(this, [this, item = filtered().at(row)] { return select(item); });
}

void AppViewModel::exportLocation()
{
    if (m_videoPlayers.isEmpty())
        return;
    m_procManager.saveToSDCard(QStringLiteral("location.txt"), m_mediaData.locationText());
    setAlertMessage(tr("GPS 데이터(location.txt)를 SD 카드에 저장했습니다."));
}

void AppViewModel::exportGSensor()
{
    if (m_videoPlayers.isEmpty())
        return;
    m_procManager.saveToSDCard(QStringLiteral("gsensor.txt"), m_mediaData.gSensorText());
    setAlertMessage(tr("G-Sensor 데이터(gsensor.txt)를 SD 카드에 저장했습니다."));
}

void AppViewModel::next()
{
    startTask(this, [this] { return selectNext(); });
}

void AppViewModel::previous()
{
    startTask(this, [this] { return selectPrevious(); });
}

QCoro::Task<> AppViewModel::selectNext()
{
    if (m_selectedIndex && *m_selectedIndex < filtered().size() - 1)
        co_await selectIndex(*m_selectedIndex + 1);
}

QCoro::Task<> AppViewModel::selectPrevious()
{
    if (m_selectedIndex && *m_selectedIndex >= 1)
        co_await selectIndex(*m_selectedIndex - 1);
}

QCoro::Task<> AppViewModel::selectIndex(int index)
{
    if (index < 0 || index >= filtered().size())
        co_return;
    m_rows.setSelectedRow(index);
    FileListItem item = filtered().at(index);
    co_await select(std::move(item));
}
