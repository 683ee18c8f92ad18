#pragma once

#include <optional>
#include <QCoroTask>
#include <QObject>
#include <stop_token>

class AppState;
class ProcessManager;

/// Extracts the recordings of the list one by one ahead of the user, newest first. Main thread.
class BackgroundExtraction : public QObject
{
    Q_OBJECT
public:
    BackgroundExtraction(AppState &state, ProcessManager &tools, QObject *parent = nullptr);

    void start(); ///< in place of a running one
    void cancel(); ///< at the next check; a tool that is running goes on to its end
    /// It has started and hasn't run to its end.
    [[nodiscard]] bool isLoading() const { return m_isLoading; }

private:
    QCoro::Task<> extractAll(std::stop_token cancelled);
    QCoro::Task<> extractItem(int index, std::stop_token cancelled);
    QCoro::Task<> waitUntilItMayGoOn(int index, std::stop_token cancelled);
    [[nodiscard]] bool isToBeRead(int index) const;

    AppState &m_state;
    ProcessManager &m_tools;
    std::optional<std::stop_source> m_task;
    bool m_isLoading = false;
};
