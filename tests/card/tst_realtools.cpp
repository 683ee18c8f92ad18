#include "card/processmanager.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"
#include "support/smalldisk.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

/// Recordings of any name and damage in the hands of the real converter.
class RealToolsTest : public QObject
{
    Q_OBJECT

    PrivateHome m_home;
    ScriptedDesktop m_desktop;
    ProcessManager m_manager{m_desktop.desktop};
    QTemporaryDir m_folder;
    QString m_recording = m_folder.filePath(QStringLiteral("E_20240309_170559.mp4"));

    /// Codec, kind and height of each stream, such as "h264,video,96", or what else is asked for.
    static QStringList streams(const QString &path, const QString &option = QStringLiteral("-hide_banner"),
                               const QString &fields = QStringLiteral("codec_name,codec_type,height"))
    {
        QProcess probe;
        probe.start(QStringLiteral("ffprobe"),
                    {QStringLiteral("-v"), QStringLiteral("error"), option, QStringLiteral("-show_entries"),
                     QStringLiteral("stream=") + fields, QStringLiteral("-of"), QStringLiteral("csv=p=0"),
                     path});
        probe.waitForFinished();
        return QString::fromUtf8(probe.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    }

    static int convert(const QString &options)
    {
        return QProcess::execute(QStringLiteral("ffmpeg"),
                                 (QStringLiteral("-v error -y ") + options).split(u' '));
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_desktop.tools.insert(QStringLiteral("ffmpeg"),
                               QStandardPaths::findExecutable(QStringLiteral("ffmpeg")));
        QCoro::waitFor(m_manager.setup());
        // A first channel of another size than the second tells them apart.
        QCOMPARE(
            QProcess::execute(QStringLiteral(VORNEX_BIN_DIR "/samplecard"),
                              {QStringLiteral("--recording"), m_recording, QStringLiteral("--seconds"),
                               QStringLiteral("1"), QStringLiteral("--picture"), QStringLiteral("1920x1080"),
                               QStringLiteral("--fps"), QStringLiteral("10")}),
            0);
    }

    void remuxesFilesOfAnyName()
    {
        const QString source = m_folder.filePath(QStringLiteral("it's my $HOME; 녹화.mp4"));
        QVERIFY(QFile::copy(m_recording, source));
        const QString target = m_folder.filePath(QStringLiteral("o'ut put.mp4"));
        QCOMPARE(QCoro::waitFor(m_manager.remux(source, target)), QString());
        QCOMPARE(streams(target).size(), 3);
        QCoro::waitFor(m_manager.convertAudio(source, target)); // can't be told on that line
        QVERIFY(!QFile::exists(target));
    }

    void takesSingleChannelsOut()
    {
        const QString target = m_folder.filePath(QStringLiteral("one channel.mp4"));
        QCoro::waitFor(m_manager.extractChannel(m_recording, 0, target));
        QCOMPARE(streams(target), QStringList(QStringLiteral("h264,video,1080")));
        QCoro::waitFor(m_manager.extractChannelWithAudio(m_recording, 1, target));
        QCOMPARE(streams(target),
                 QStringList({QStringLiteral("h264,video,720"), QStringLiteral("aac,audio")}));
        QCoro::waitFor(m_manager.extractChannel(m_recording, 2, target));
        QCOMPARE(m_manager.fileSize(target, false), quint64(0));
    }

    void mergesShortSound_withEachPicture()
    {
        const QString movie = m_folder.filePath(QStringLiteral("short.mp4"));
        const QString sound = m_folder.filePath(QStringLiteral("short.mp3"));
        QCOMPARE(convert(QStringLiteral("-i %1 -map 0:v -c copy %2").arg(m_recording, movie)), 0);
        QCOMPARE(convert(QStringLiteral("-f lavfi -i sine -t 0.4 -ar 44100 %1").arg(sound)), 0);
        QCoro::waitFor(m_manager.mergeAudio(movie));
        QCOMPARE(streams(movie, QStringLiteral("-count_packets"), QStringLiteral("nb_read_packets")).first(2),
                 QStringList({QStringLiteral("10"), QStringLiteral("10")}));
        QCOMPARE(streams(movie).size(), 3);
    }

    void tellsWhatIsWrongWithARecording_data()
    {
        QTest::addColumn<QString>("source");
        const QString broken = m_folder.filePath(QStringLiteral("broken.mp4"));
        writeFile(broken, QByteArray(5000, 'x'));
        QTest::newRow("no movie") << broken;
        QTest::newRow("missing") << m_folder.filePath(QStringLiteral("missing.mp4"));
        // Of a file of this machine: ffmpeg by itself makes a recording of the first three.
        const QString stream = m_folder.filePath(QStringLiteral("private.ts"));
        QCOMPARE(convert(QStringLiteral("-i %1 -map 0:v:0 -c copy %2").arg(m_recording, stream)), 0);
        const QByteArray playlist =
            "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:9\n#EXTINF:1,\n" + stream.toUtf8() + '\n';
        const auto foreign = [this](const char *name, const QByteArray &contents) {
            const QString path = m_folder.filePath(QStringLiteral("N_%1.mp4").arg(QString::fromLatin1(name)));
            writeFile(path, contents);
            QTest::newRow(name) << path;
        };
        foreign("playlist", playlist + "#EXT-X-ENDLIST\n");
        foreign("concatenation", "ffconcat version 1.0\nfile private.ts\n");
        foreign("transport stream", contentsOf(stream));
        foreign("playlist without an end", playlist);
        const QString fifo = m_folder.filePath(QStringLiteral("N_fifo.mp4"));
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        QTest::newRow("fifo") << fifo;
    }
    void tellsWhatIsWrongWithARecording()
    {
        QFETCH(const QString, source);
        const QString target = m_folder.filePath(QStringLiteral("target.mp4"));
        writeFile(target, "of an earlier recording");
        QElapsedTimer time;
        time.start();
        QCOMPARE(QCoro::waitFor(m_manager.remux(source, target)),
                 QStringLiteral("Failed to remux MP4 file."));
        QVERIFY(!QFile::exists(target));
        QVERIFY(time.elapsed() < 10'000); // an end that never comes would be a minute away
    }

    void tellsAFullDiskFromDamage()
    {
        const QTemporaryDir folder;
        const SmallDisk disk(folder.path());
        if (!disk.isMounted())
            QSKIP("a small disk needs the right to mount one");
        QVERIFY(QFileInfo(m_recording).size() > SmallDisk::size);
        PlayableRequest request;
        request.source = m_recording;
        request.video = folder.filePath(QStringLiteral("temp.mp4"));
        const Playable playable = QCoro::waitFor(m_manager.makePlayable(request));
        QCOMPARE(playable.result.problem, ToolProblem::DiskFull);
        QCOMPARE(playable.result.reason, folder.path());
        QTRY_COMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
    }
};

QTEST_GUILESS_MAIN(RealToolsTest)
#include "tst_realtools.moc"
