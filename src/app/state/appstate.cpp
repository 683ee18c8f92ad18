#include "appstate.h"

#include <algorithm>

AppState::AppState(QObject *parent)
    : QObject(parent)
    , m_types{QStringLiteral("normal"), QStringLiteral("event"), QStringLiteral("park"),
              QStringLiteral("manual"), QStringLiteral("saved"), QStringLiteral("all")}
{
    connect(&m_rows, &QAbstractItemModel::modelReset, this, &AppState::filteredChanged);
    connect(&m_rows, &QAbstractItemModel::dataChanged, this, &AppState::filteredChanged);
}

template <typename T> void AppState::assign(T &field, T value, void (AppState::*changed)())
{
    if (field == value)
        return;
    field = std::move(value);
    Q_EMIT(this->*changed)();
}

void AppState::setFileList(FileList list)
{
    m_fileList = std::move(list);
    Q_EMIT fileListChanged();
}

quint64 AppState::requestRows()
{
    m_readSinceRequest.clear();
    return ++m_rowsRequest;
}

void AppState::setRows(quint64 request, SortedList rows)
{
    if (request != m_rowsRequest)
        return;
    if (!m_readSinceRequest.isEmpty()) {
        for (FileListItem &item : rows.items)
            item.read = m_readSinceRequest.value(item.id, item.read);
    }
    m_rows.replace(std::move(rows));
}

bool AppState::isListed(const QUuid &id) const
{
    const auto hasId = [&](const FileListItem &item) { return item.id == id; };
    return m_rows.rowOf(id) >= 0 || std::any_of(m_fileList.cbegin(), m_fileList.cend(), hasId);
}

void AppState::storeRead(const QUuid &id, quint64 bytes)
{
    const auto item = std::find_if(m_fileList.cbegin(), m_fileList.cend(),
                                   [&](const FileListItem &entry) { return entry.id == id; });
    if (item == m_fileList.cend())
        return;
    m_fileList[item - m_fileList.cbegin()].read = bytes;
    m_readSinceRequest.insert(id, bytes);
    Q_EMIT fileListChanged();
    m_rows.setRead(m_rows.rowOf(id), bytes);
}

void AppState::forgetRead(const QString &cardPath)
{
    const auto isIt = [&](const FileListItem &entry) { return entry.cardPath() == cardPath; };
    const auto item = std::find_if(m_fileList.cbegin(), m_fileList.cend(), isIt);
    if (item != m_fileList.cend())
        storeRead(item->id, 0);
}

FileList AppState::checkedItems() const
{
    FileList checked;
    std::copy_if(filtered().cbegin(), filtered().cend(), std::back_inserter(checked),
                 [](const FileListItem &item) { return item.isChecked; });
    return checked;
}

void AppState::setSelectedTab(int tab) { assign(m_selectedTab, tab, &AppState::selectedTabChanged); }

QString AppState::currentType() const
{
    const bool isTab = m_selectedTab >= 0 && m_selectedTab < m_types.size();
    return m_types.at(isTab ? m_selectedTab : 0);
}

void AppState::setSelectedIndex(int row)
{
    assign(m_selectedIndex, std::optional<int>(row), &AppState::selectedIndexChanged);
}

void AppState::setAllChecked(bool isChecked)
{
    assign(m_isAllChecked, isChecked, &AppState::isAllCheckedChanged);
    m_rows.setAllChecked(isChecked);
}

void AppState::setUploaded(bool uploaded)
{
    ++m_uploadedRevision;
    assign(m_uploaded, uploaded, &AppState::uploadedChanged);
}

void AppState::setIsFullScreen(bool isFullScreen)
{
    assign(m_isFullScreen, isFullScreen, &AppState::isFullScreenChanged);
}

void AppState::setVideoMode(int mode) { assign(m_videoMode, mode, &AppState::videoModeChanged); }

void AppState::setVideoChannel(int channel)
{
    assign(m_videoChannel, channel, &AppState::videoChannelChanged);
}

void AppState::setPreviousChannels(int count)
{
    assign(m_previousChannels, count, &AppState::previousChannelsChanged);
}

QVariantList AppState::videoPlayerObjects() const
{
    QVariantList objects;
    for (const TrackPlayerPtr &player : m_videoPlayers)
        objects.append(QVariant::fromValue<QObject *>(player.get()));
    return objects;
}

void AppState::setVideoPlayers(TrackPlayerList players)
{
    m_videoPlayers.swap(players); // the former ones go when no view shows them any more
    Q_EMIT videoPlayersChanged();
}

void AppState::beginModalAlert()
{
    if (++m_modalAlerts == 1)
        Q_EMIT isAlertingChanged();
}

void AppState::endModalAlert()
{
    if (m_modalAlerts > 0 && --m_modalAlerts == 0)
        Q_EMIT isAlertingChanged();
}

void AppState::setProcMessage(std::optional<QString> message)
{
    assign(m_procMessage, std::move(message), &AppState::procMessageChanged);
}

void AppState::setAlertMessage(std::optional<QString> message)
{
    assign(m_alertMessage, std::move(message), &AppState::alertMessageChanged);
}

void AppState::setDownloadMessage(std::optional<QString> message)
{
    assign(m_downloadMessage, std::move(message), &AppState::downloadMessageChanged);
}
