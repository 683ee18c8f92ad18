#pragma once

#include "media/filelistitem.h"

#include <QCoroTask>
#include <QObject>
#include <QSet>

class AppState;
class ProcessManager;

/// Puts recordings of the card below the temporary folder. Two tools must not write one file. Main thread.
class Extractions : public QObject
{
    Q_OBJECT
public:
    Extractions(AppState &state, ProcessManager &tools, QObject *parent = nullptr);

    /// Waits for an extraction of the same recording that is under way; if it gave the whole file, that is
    /// it.
    QCoro::Task<> extract(FileListItem item);

Q_SIGNALS:
    void ended(); ///< of one recording

private:
    AppState &m_state;
    ProcessManager &m_tools;
    QSet<QString> m_running; ///< card paths
};
