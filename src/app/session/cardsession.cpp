#include "cardsession.h"

#include "app/state/appstate.h"
#include "card/processmanager.h"
#include "card/processvalues.h"
#include "common/task.h"

#include <QCoroFuture>
#include <QPointer>
#include <QtConcurrentRun>

using namespace std::chrono_literals;

CardSession::CardSession(AppState &state, ProcessManager &tools, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_tools(tools)
{
}

void CardSession::begin()
{
    m_state.raiseCardSession();
    m_tools.endToolWork(); // for another card that was there
    m_state.setSelectedTab(0);
    if (m_state.isAllChecked())
        m_state.setAllChecked(false);
    startTask(this, [this, session = m_state.cardSession()] { return readCard(session); });
}

QCoro::Task<> CardSession::readCard(quint64 session)
{
    const QPointer<CardSession> self(this);
    const FileList items = co_await m_tools.readFileList();
    const QFuture<SortedList> sorting = QtConcurrent::run(sortedNewestFirst, items);
    SortedList list = co_await sorting;
    if (!self || session != m_state.cardSession())
        co_return;
    m_state.setFileList(std::move(list.items));
    startTask(this, [this] { return applyFilter(m_state.currentType()); });
    Q_EMIT listed();
}

void CardSession::end()
{
    m_state.raiseCardSession();
    m_tools.endToolWork();
    m_state.setFileList({});
    m_state.clearRows();
    m_tools.deleteDirectory(processvalues::tempRoot() + QStringLiteral("cfg"));
    m_tools.deleteDirectory(processvalues::tempRoot() + QStringLiteral("mov"));
    m_state.setUploaded(true); // clears the highlighted tab of the list
    startTask(this, [this, revision = m_state.uploadedRevision()] { return endUploaded(revision); });
}

QCoro::Task<> CardSession::endUploaded(quint64 revision)
{
    const QPointer<CardSession> self(this);
    co_await sleepFor(1s);
    if (self && revision == m_state.uploadedRevision())
        m_state.setUploaded(false);
}

void CardSession::chooseTab(int tab)
{
    if (tab == m_state.selectedTab())
        return;
    m_state.setSelectedTab(tab);
    startTask(this, [this] { return applyFilter(m_state.currentType()); });
    m_state.setUploaded(false);
}

QCoro::Task<> CardSession::applyFilter(QString type)
{
    const QPointer<CardSession> self(this);
    const quint64 request = m_state.requestRows();
    const QFuture<SortedList> work = QtConcurrent::run(
        [](const FileList &items, const QString &wanted) {
            return sortedNewestFirst(entriesOfType(items, wanted));
        },
        m_state.fileList(), type);
    SortedList list = co_await work;
    if (self)
        m_state.setRows(request, std::move(list));
}
