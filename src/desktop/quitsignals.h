#pragma once

#include <array>
#include <QObject>

/// Turns the signals that ask a program to end (SIGINT, SIGTERM, SIGHUP) into a Qt signal, so that they take
/// the same way as the close button. One that the parent process had ignored stays ignored. One at a time, on
/// the main thread; the former handlers come back at destruction.
class QuitSignals : public QObject
{
    Q_OBJECT
public:
    explicit QuitSignals(QObject *parent = nullptr);
    ~QuitSignals() override;

Q_SIGNALS:
    void received(int signal); ///< the last one, if several came at once

private:
    void drain();

    std::array<int, 2> m_pipe{-1, -1}; // read end, write end
};
