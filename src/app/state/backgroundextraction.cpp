// The task that extracts the recordings ahead of the user.
#include "appviewmodel.h"
#include "common/log.h"
#include "common/task.h"

#include <algorithm>
#include <QCoroSignal>
#include <QPointer>

using namespace std::chrono_literals;

namespace {

constexpr auto roomCheckInterval = 1s;
/// A damaged card may list sizes that no disk has room for; they must not hold up the recordings behind them.
constexpr quint64 largestCountedSize = 4ull << 30;

} // namespace

void AppViewModel::startLoading()
{
    if (m_extractTask)
        m_extractTask->request_stop();
    m_extractTask.emplace();
    startTask(this, [this, cancelled = m_extractTask->get_token()] { return extractAll(cancelled); });
}

void AppViewModel::cancelLoading()
{
    if (!m_isLoading)
        return;
    logLine(QStringLiteral("[AppViewModel] loading canceled"));
    if (m_extractTask)
        m_extractTask->request_stop();
    m_extractTask.reset();
}

QCoro::Task<> AppViewModel::extractAll(std::stop_token cancelled)
{
    const QPointer<AppViewModel> self(this);
    m_isLoading = true;
    const int count = fileCount();
    for (int i = 0; i < count; ++i) {
        co_await waitUntilExtractionMayGoOn(i, cancelled);
        if (!self || cancelled.stop_requested())
            co_return; // m_isLoading stays
        if (i < fileCount() && m_fileList.at(i).read == 0)
            co_await loadItem(i, cancelled);
        if (!self)
            co_return;
    }
    m_isLoading = false;
    logLine(QStringLiteral("[AppViewModel] loading completed"));
}

QCoro::Task<> AppViewModel::loadItem(int index, std::stop_token cancelled)
{
    const QPointer<AppViewModel> self(this);
    if (index < 0 || index >= fileCount() || m_fileList.at(index).read != 0)
        co_return;
    const FileListItem item = m_fileList.at(index);
    co_await extract(item);
    if (!self || cancelled.stop_requested())
        co_return;
    storeRead(item.id, m_procManager.fileSize(item.cardPath(), true));
}

/// Nothing is begun while a modal alert is up, whose answer may delete the folder, or while the disk has no
/// room. A cancelled task needn't wait for either.
QCoro::Task<> AppViewModel::waitUntilExtractionMayGoOn(int index, std::stop_token cancelled)
{
    const QPointer<AppViewModel> self(this);
    bool isShortOfRoom = false;
    while (self && !cancelled.stop_requested()) {
        const bool isToBeRead = index < fileCount() && m_fileList.at(index).read == 0;
        const quint64 nextBytes = isToBeRead ? std::min(m_fileList.at(index).size, largestCountedSize) : 0;
        if (m_isAlerting) {
            co_await qCoro(this, &AppViewModel::isAlertingChanged);
        } else if (isToBeRead && !m_procManager.hasRoomForExtraction(nextBytes)) {
            if (!isShortOfRoom)
                logLine(QStringLiteral("[AppViewModel] loading paused: no room on the disk"));
            isShortOfRoom = true;
            co_await sleepFor(roomCheckInterval);
        } else {
            co_return;
        }
    }
}

/// Puts the recording's file below the temporary folder. Two tools must not write one file, so an extraction
/// of the same recording that is under way is waited for, and if it gave the whole file, that is it.
QCoro::Task<> AppViewModel::extract(FileListItem item)
{
    const QPointer<AppViewModel> self(this);
    const QString path = item.cardPath();
    const quint64 session = m_cardSession;
    const bool isUnderWay = m_runningExtractions.contains(path);
    while (self && m_runningExtractions.contains(path))
        co_await qCoro(this, &AppViewModel::extractionEnded);
    if (!self)
        co_return;
    if (isUnderWay && session == m_cardSession && item.size > 0
        && m_procManager.fileSize(path, true) == item.size)
        co_return;
    m_runningExtractions.insert(path);
    co_await m_procManager.read(path);
    if (!self)
        co_return;
    m_runningExtractions.remove(path);
    Q_EMIT extractionEnded();
}
