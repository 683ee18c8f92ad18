#include "backgroundextraction.h"

#include "app/state/appstate.h"
#include "card/processmanager.h"
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

BackgroundExtraction::BackgroundExtraction(AppState &state, ProcessManager &tools, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_tools(tools)
{
}

void BackgroundExtraction::start()
{
    if (m_task)
        m_task->request_stop();
    m_task.emplace();
    startTask(this, [this, cancelled = m_task->get_token()] { return extractAll(cancelled); });
}

void BackgroundExtraction::cancel()
{
    if (m_isLoading)
        logLine(QStringLiteral("[AppViewModel] loading canceled"));
    if (m_task)
        m_task->request_stop();
    m_task.reset();
}

/// A cancelled run leaves isLoading as it is: its successor may have set it.
QCoro::Task<> BackgroundExtraction::extractAll(std::stop_token cancelled)
{
    const QPointer<BackgroundExtraction> self(this);
    if (cancelled.stop_requested())
        co_return;
    m_isLoading = true;
    const int count = m_state.fileCount();
    for (int i = 0; i < count; ++i) {
        co_await waitUntilItMayGoOn(i, cancelled);
        if (!self || cancelled.stop_requested())
            co_return;
        co_await extractItem(i, cancelled);
        if (!self || cancelled.stop_requested())
            co_return;
    }
    m_isLoading = false;
    logLine(QStringLiteral("[AppViewModel] loading completed"));
}

bool BackgroundExtraction::isToBeRead(int index) const
{
    return index < m_state.fileCount() && m_state.fileList().at(index).read == 0;
}

QCoro::Task<> BackgroundExtraction::extractItem(int index, std::stop_token cancelled)
{
    const QPointer<BackgroundExtraction> self(this);
    if (!isToBeRead(index))
        co_return;
    const FileListItem item = m_state.fileList().at(index);
    const Extraction extraction = co_await m_tools.extract(item.cardPath(), item.size);
    if (self && !cancelled.stop_requested())
        m_state.storeRead(item.id, extraction.size);
}

/// Nothing is begun while a modal alert is up, whose answer may delete the folder, or while the disk has no
/// room. A cancelled task needn't wait for either.
QCoro::Task<> BackgroundExtraction::waitUntilItMayGoOn(int index, std::stop_token cancelled)
{
    const QPointer<BackgroundExtraction> self(this);
    bool isShortOfRoom = false;
    while (self && !cancelled.stop_requested()) {
        const quint64 nextBytes =
            isToBeRead(index) ? std::min(m_state.fileList().at(index).size, largestCountedSize) : 0;
        if (m_state.isAlerting()) {
            co_await qCoro(&m_state, &AppState::isAlertingChanged);
        } else if (isToBeRead(index) && !m_tools.hasRoomForExtraction(nextBytes)) {
            if (!isShortOfRoom)
                logLine(QStringLiteral("[AppViewModel] loading paused: no room on the disk"));
            isShortOfRoom = true;
            co_await sleepFor(roomCheckInterval);
        } else {
            co_return;
        }
    }
}
