#include "card/processmanager.h"
#include "card/processvalues.h"
#include "support/logcapture.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"

#include <QCoroTask>
#include <QTest>

class FileOperationsTest : public QObject
{
    Q_OBJECT

    PrivateHome m_home;
    ScriptedDesktop m_desktop;
    ProcessManager m_manager{m_desktop.desktop};
    QTemporaryDir m_folder;

    [[nodiscard]] QString at(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }

private Q_SLOTS:
    void init()
    {
        QVERIFY(QDir(m_folder.path()).removeRecursively() && QDir().mkpath(m_folder.path()));
        writeFile(at("source"), "source");
        writeFile(at("kept/file"), "kept");
    }

    void replacesTargets_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QByteArray>("contents"); // of the target afterwards
        QTest::addColumn<bool>("isDone");
        const QByteArray none("(no file)");
        const auto row = [](const char *name, const char *source, const char *target,
                            const QByteArray &contents, bool isDone) {
            QTest::newRow(name) << QString::fromUtf8(source) << QString::fromUtf8(target) << contents
                                << isDone;
        };
        row("new", "source", "new", "source", true);
        row("over a file", "source", "old", "source", true);
        row("over a link, not what it points to", "source", "link", "source", true);
        row("over a dangling link", "source", "dangling", "source", true);
        row("a missing source takes the target along", "missing", "old", none, false);
        row("onto itself", "source", "source", "source", false);
        row("onto itself by a link", "source", "self", "source", false);
        row("over a folder with contents", "source", "kept", none, false);
        row("into a missing folder", "source", "missing/new", none, false);
    }
    void replacesTargets()
    {
        QFETCH(const QString, source);
        QFETCH(const QString, target);
        QFETCH(const bool, isDone);
        for (const bool isMove : {false, true}) {
            init();
            writeFile(at("old"), "a longer old text");
            QVERIFY(QFile::link(at("kept/file"), at("link")));
            QVERIFY(QFile::link(at("nowhere"), at("dangling")));
            QVERIFY(QFile::link(at("source"), at("self")));
            const QString from = m_folder.filePath(source);
            const QString to = m_folder.filePath(target);
            LogCapture log;
            if (isMove)
                QCoro::waitFor(m_manager.rename(from, to));
            else
                QCoro::waitFor(m_manager.copyFile(QUrl::fromLocalFile(from), QUrl::fromLocalFile(to)));
            QTEST(contentsOf(to), "contents");
            QCOMPARE(QFile::exists(at("source")), !isMove || !isDone);
            QCOMPARE(contentsOf(at("kept/file")), QByteArray("kept"));
            const QString failure = isMove ? QStringLiteral("[FileExtractor] rename failed:: ")
                                           : QStringLiteral("[FileExtractor] copy failed:: ");
            QCOMPARE(log.lines().size(), isDone ? 0 : 1);
            QVERIFY(isDone || (log.lines().first().startsWith(failure) && log.lines().first() != failure));
        }
    }

    void refusesWhatIsNoFile_withoutWaiting()
    {
        const QString config = processvalues::tempRoot() + QStringLiteral("cfg/bbox.cfg");
        QVERIFY(QDir().mkpath(QFileInfo(config).path()));
        for (const QString &path : {at("fifo"), config})
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        LogCapture log;
        QCoro::waitFor(m_manager.copyFile(QUrl::fromLocalFile(at("fifo")), QUrl::fromLocalFile(at("copy"))));
        QVERIFY(!m_manager.readConfig(QStringLiteral("bbox.cfg")));
        QCOMPARE(log.lines(),
                 QStringList({QStringLiteral("[FileExtractor] copy failed:: not a regular file"),
                              QStringLiteral("[FileExtractor] Error reading file: not a regular file")}));
    }

    void deletesItemsAndNothingBehindLinks_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("file") << QStringLiteral("source");
        QTest::newRow("folder with contents") << QStringLiteral("tree");
        QTest::newRow("link to a folder") << QStringLiteral("link");
        QTest::newRow("link to a folder, as a folder") << QStringLiteral("link/");
        QTest::newRow("dangling link") << QStringLiteral("dangling");
        QTest::newRow("missing") << QStringLiteral("missing");
        QTest::newRow("missing below a file") << QStringLiteral("source/missing");
    }
    void deletesItemsAndNothingBehindLinks()
    {
        QFETCH(const QString, path);
        writeFile(at("tree/a/b"), "x");
        QVERIFY(QFile::link(at("kept"), at("link")) && QFile::link(at("kept"), at("tree/inside")));
        QVERIFY(QFile::link(at("nowhere"), at("dangling")));
        LogCapture log;
        m_manager.deleteDirectory(m_folder.path() + u'/' + path);
        QStringList left =
            QDir(m_folder.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        QVERIFY(!left.contains(QString(path).remove(u'/')));
        QCOMPARE(contentsOf(at("kept/file")), QByteArray("kept"));
        QCOMPARE(log.lines(), QStringList());
    }

    void tellsSizesOfTheItemsThemselves()
    {
        QVERIFY(QFile::link(at("source"), at("link")));
        QCOMPARE(m_manager.fileSize(at("source"), false), quint64(6));
        QCOMPARE(m_manager.fileSize(at("link"), false), quint64(at("source").toUtf8().size()));
        QCOMPARE(m_manager.fileSize(at("missing"), false), quint64(0));
        QFile large(at("large"));
        QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(5'000'000'000));
        QCOMPARE(m_manager.fileSize(at("large"), false), quint64(5'000'000'000));
        writeFile(processvalues::tempRoot() + QStringLiteral("mov/a"), "12345");
        QCOMPARE(m_manager.fileSize(QStringLiteral("mov/a"), true), quint64(5));
    }

    void makesFoldersAndSaysSo()
    {
        LogCapture log;
        m_manager.ensureDirectoryExists(at("a/b/"));
        m_manager.ensureDirectoryExists(at("a/b/"));
        m_manager.ensureDirectoryExists(at("source")); // something of the name is enough
        m_manager.ensureDirectoryExists(at("source/x"));
        QVERIFY(QFileInfo(at("a/b")).isDir());
        QCOMPARE(log.lines(),
                 QStringList({QStringLiteral("[FileExtractor] ensureDirectoryExists ") + at("a/b/"),
                              QStringLiteral("[FileExtractor] ") + qt_error_string(ENOTDIR)}));
    }

    void keepsRoomOnTheDisk_data()
    {
        QTest::addColumn<quint64>("available");
        QTest::addColumn<quint64>("total");
        QTest::addColumn<quint64>("next");
        QTest::addColumn<bool>("hasRoom");
        constexpr quint64 gigabyte = 1'000'000'000;
        QTest::newRow("plenty") << 50 * gigabyte << 100 * gigabyte << gigabyte << true;
        QTest::newRow("2 GB left on a small disk") << 3 * gigabyte << 10 * gigabyte << gigabyte << true;
        QTest::newRow("a byte less") << 3 * gigabyte - 1 << 10 * gigabyte << gigabyte << false;
        QTest::newRow("5 % left on a large disk") << 51 * gigabyte << 1000 * gigabyte << gigabyte << true;
        QTest::newRow("less than that") << 50 * gigabyte << 1000 * gigabyte << gigabyte << false;
        QTest::newRow("the next one is larger than the rest")
            << 10 * gigabyte << 20 * gigabyte << 11 * gigabyte << false;
        QTest::newRow("unknown") << quint64(0) << quint64(0) << gigabyte << true;
    }
    void keepsRoomOnTheDisk()
    {
        QFETCH(const quint64, available);
        QFETCH(const quint64, total);
        QFETCH(const quint64, next);
        m_desktop.space = {available, total};
        QTEST(m_manager.hasRoomForExtraction(next), "hasRoom");
    }
};

QTEST_GUILESS_MAIN(FileOperationsTest)
#include "tst_fileoperations.moc"
