#include "privatesound.h"

#include <cstring>
#include <QFile>
#include <QStandardPaths>
#include <QTest>

bool PrivateSound::isInstalled()
{
    return !QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty()
        && !QStandardPaths::findExecutable(QStringLiteral("parec")).isEmpty();
}

bool PrivateSound::start()
{
    const QString socket = m_folder.filePath(QStringLiteral("pulse.sock"));
    qputenv("PULSE_SERVER", "unix:" + QFile::encodeName(socket));
    qputenv("PULSE_COOKIE", QFile::encodeName(m_folder.filePath(QStringLiteral("cookie"))));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_folder.path()));
    // Without norewinds the device that plays into nothing takes the sound in blocks of up to two seconds.
    m_server.start(
        QStringLiteral("pulseaudio"),
        {QStringLiteral("-n"), QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"),
         QStringLiteral("--use-pid-file=no"), QStringLiteral("--disallow-exit"),
         QStringLiteral("--realtime=no"), QStringLiteral("--high-priority=no"), QStringLiteral("-L"),
         QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=") + socket,
         QStringLiteral("-L"),
         QStringLiteral("module-null-sink sink_name=test rate=48000 channels=2 format=s16le norewinds=1")});
    if (!QTest::qWaitFor([&] { return QFile::exists(socket); }, 20'000))
        return false;
    m_recorder.start(QStringLiteral("parec"),
                     {QStringLiteral("--latency-msec=20"), QStringLiteral("-d"),
                      QStringLiteral("test.monitor"), QStringLiteral("--format=float32le"),
                      QStringLiteral("--rate=48000"), QStringLiteral("--channels=1")});
    return QTest::qWaitFor([&] { return m_recorder.bytesAvailable() > 0; }, 20'000);
}

void PrivateSound::kill()
{
    m_server.kill();
    m_server.waitForFinished();
    m_recorder.kill();
    m_recorder.waitForFinished();
}

QList<float> PrivateSound::takeRecorded()
{
    m_rest += m_recorder.readAllStandardOutput();
    const qsizetype bytes = m_rest.size() - m_rest.size() % qsizetype{sizeof(float)};
    QList<float> samples(bytes / qsizetype{sizeof(float)});
    if (bytes > 0)
        std::memcpy(samples.data(), m_rest.constData(), static_cast<size_t>(bytes));
    m_rest.remove(0, bytes);
    return samples;
}
