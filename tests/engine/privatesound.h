#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QTemporaryDir>

/// A sound server of the test's own whose one device plays into nothing, and a recording of all it plays.
class PrivateSound
{
public:
    static constexpr int samplesPerSecond = 48000;

    [[nodiscard]] static bool isInstalled();
    /// Before anything in the process asks for a sound device.
    bool start();
    /// The device vanishes.
    void kill();

    /// What was played since the last call, one channel. Main thread.
    QList<float> takeRecorded();

private:
    QTemporaryDir m_folder;
    QProcess m_server;
    QProcess m_recorder;
    QByteArray m_rest;
};
