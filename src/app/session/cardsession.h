#pragma once

#include <QCoroTask>
#include <QObject>

class AppState;
class ProcessManager;

/// A card from its coming to its going: its list, and the tab of it that is shown. Main thread.
class CardSession : public QObject
{
    Q_OBJECT
public:
    CardSession(AppState &state, ProcessManager &tools, QObject *parent = nullptr);

    /// Reads the card and shows the first tab.
    void begin();
    /// Empties the lists and deletes what was extracted. A reading that is under way is dropped when it ends.
    void end();
    void chooseTab(int tab);
    QCoro::Task<> applyFilter(QString type);

Q_SIGNALS:
    void listed(); ///< the list of a new card is there

private:
    QCoro::Task<> readCard(quint64 session);
    QCoro::Task<> endUploaded(quint64 revision);

    AppState &m_state;
    ProcessManager &m_tools;
};
