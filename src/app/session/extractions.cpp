#include "extractions.h"

#include "app/state/appstate.h"
#include "card/processmanager.h"

#include <QCoroSignal>
#include <QPointer>

Extractions::Extractions(AppState &state, ProcessManager &tools, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_tools(tools)
{
}

QCoro::Task<> Extractions::extract(FileListItem item)
{
    const QPointer<Extractions> self(this);
    const QString path = item.cardPath();
    const quint64 session = m_state.cardSession();
    const bool isUnderWay = m_running.contains(path);
    while (self && m_running.contains(path))
        co_await qCoro(this, &Extractions::ended);
    if (!self)
        co_return;
    if (isUnderWay && session == m_state.cardSession() && item.size > 0
        && m_tools.fileSize(path, true) == item.size)
        co_return;
    m_running.insert(path);
    co_await m_tools.read(path);
    if (!self)
        co_return;
    m_running.remove(path);
    Q_EMIT ended();
}
