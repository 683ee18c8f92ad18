#include "card/processmanager.h"
#include "card/shell.h"
#include "common/processvalues.h"
#include "support/logcapture.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"

#include <QCoroTask>
#include <QCryptographicHash>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

using processvalues::tempRoot;

/// A card as the camera leaves it, read by the real reader and remuxed by the real converter.
class RealToolsTest : public QObject
{
    Q_OBJECT

    PrivateHome m_home;
    ScriptedDesktop m_desktop;
    ProcessManager m_manager{m_desktop.desktop};
    QTemporaryDir m_folder;
    QString m_image = m_folder.filePath(QStringLiteral("card.img"));
    FileList m_files;

    static QString program(const char *name)
    {
        return QStringLiteral(VORNEX_BIN_DIR "/") + QString::fromLatin1(name);
    }
    /// Kind and codec of each stream, such as "video h264".
    static QStringList streams(const QString &path)
    {
        QProcess probe;
        probe.start(QStringLiteral("ffprobe"),
                    {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                     QStringLiteral("stream=codec_type,codec_name"), QStringLiteral("-of"),
                     QStringLiteral("csv=p=0"), path});
        probe.waitForFinished();
        return QString::fromUtf8(probe.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    }
    /// The extracted copy of the first recording; extracts it.
    QString extractFirst()
    {
        const QString path = QStringLiteral("mov/") + m_files.first().type + u'/' + m_files.first().name;
        QCoro::waitFor(m_manager.read(path));
        return tempRoot() + path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_desktop.tools.insert(QStringLiteral("ext4util"), program("ext4util"));
        m_desktop.tools.insert(QStringLiteral("ffmpeg"),
                               QStandardPaths::findExecutable(QStringLiteral("ffmpeg")));
        m_desktop.volumes->mounted = {{QStringLiteral("NO NAME"), m_folder.path(), QString()}};
        QVERIFY(QCoro::waitFor(m_manager.setup()));
        const QStringList arguments{m_image,
                                    QStringLiteral("--size"),
                                    QStringLiteral("160M"),
                                    QStringLiteral("--count"),
                                    QStringLiteral("4"),
                                    QStringLiteral("--seconds"),
                                    QStringLiteral("2"),
                                    QStringLiteral("--channels"),
                                    QStringLiteral("2"),
                                    QStringLiteral("--picture"),
                                    QStringLiteral("160x96")};
        QCOMPARE(QProcess::execute(program("samplecard"), arguments), 0);
        processvalues::setCardDevicePath(m_image);
        m_files = QCoro::waitFor(m_manager.readFileList());
    }

    void listsTheCard()
    {
        QCOMPARE(m_files.size(), 4);
        for (const FileListItem &file : m_files) {
            QVERIFY2(file.size > 0 && file.kindLabel() != QString(), qPrintable(file.name));
            QVERIFY2(file.dateText() != u"-", qPrintable(file.name));
        }
        QVERIFY(m_manager.bbox().contains(QStringLiteral("bbox.ini")));
        QVERIFY(!m_manager.data().isEmpty());
        QCOMPARE(processvalues::recordedChannelCount() > 0, true);
        QCOMPARE(m_manager.readSDCard(QStringLiteral("bbox.cfg")),
                 m_manager.readConfig(QStringLiteral("bbox.cfg")));
        QVERIFY(m_manager.readConfig(QStringLiteral("bbox.cfg")).has_value());
    }

    void extractsRecordingsAsListed()
    {
        for (const FileListItem &file : std::as_const(m_files)) {
            const QString path = QStringLiteral("mov/") + file.type + u'/' + file.name;
            QCoro::waitFor(m_manager.read(path));
            QCOMPARE(m_manager.fileSize(path, true), file.size);
        }
        QCoro::waitFor(m_manager.read(QStringLiteral("mov/normal/missing.mp4")));
        QCOMPARE(m_manager.fileSize(QStringLiteral("mov/normal/missing.mp4"), true), quint64(0));
    }

    void remuxesAndConverts()
    {
        const QString source = extractFirst();
        const QString temp = tempRoot() + QStringLiteral("mov/temp.mp4");
        const QString playing = tempRoot() + QStringLiteral("mov/playing.mp4");
        writeFile(temp, "of an earlier recording");
        QCOMPARE(QCoro::waitFor(m_manager.remux(source, temp)), QString());
        QCOMPARE(streams(temp).filter(QStringLiteral("video")).size(), 2);
        QCoro::waitFor(m_manager.convertAudio(temp, playing));
        const QStringList converted = streams(playing);
        QCOMPARE(converted.filter(QStringLiteral("video")).size(), 2);
        QCOMPARE(converted.filter(QStringLiteral("audio")), QStringList{QStringLiteral("aac,audio")});
    }

    void remuxesFilesOfAnyName()
    {
        const QString source = m_folder.filePath(QStringLiteral("it's my $HOME; 녹화.mp4"));
        QVERIFY(QFile::copy(extractFirst(), source));
        const QString target = m_folder.filePath(QStringLiteral("o'ut put.mp4"));
        QCOMPARE(QCoro::waitFor(m_manager.remux(source, target)), QString());
        QVERIFY(m_manager.fileSize(target, false) > 0);
        QCoro::waitFor(m_manager.convertAudio(source, target)); // can't be told on that line
        QVERIFY(!QFile::exists(target));
    }

    void tellsWhatIsWrongWithARecording_data()
    {
        QTest::addColumn<QString>("source");
        const QString broken = m_folder.filePath(QStringLiteral("broken.mp4"));
        writeFile(broken, QByteArray(5000, 'x'));
        QTest::newRow("no movie") << broken;
        QTest::newRow("missing") << m_folder.filePath(QStringLiteral("missing.mp4"));
    }
    void tellsWhatIsWrongWithARecording()
    {
        QFETCH(const QString, source);
        const QString target = m_folder.filePath(QStringLiteral("target.mp4"));
        writeFile(target, "of an earlier recording");
        QCOMPARE(QCoro::waitFor(m_manager.remux(source, target)),
                 QStringLiteral("Failed to remux MP4 file."));
        QVERIFY(!QFile::exists(target));
    }
};

QTEST_GUILESS_MAIN(RealToolsTest)
#include "tst_realtools.moc"
