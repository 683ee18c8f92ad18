#include "card/processmanager.h"
#include "card/processvalues.h"
#include "common/task.h"
#include "support/logcapture.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"

#include <csignal>
#include <QCoroFuture>
#include <QCoroTask>
#include <QPromise>
#include <QSignalSpy>
#include <QTest>
#include <sys/resource.h>

using processvalues::tempRoot;

namespace {

/// A reader of folders in the place of devices: notes its calls in DEVICE.calls, waits while DEVICE.hold is
/// there, and prints the file PATH.listing, if there is one, instead of the folder's own entries.
constexpr char readerScript[] = R"(#!/bin/bash
echo "$*" >> "$2.calls"
while [ -e "$2.hold" ]; do sleep 0.01; done
if [ "$1" = read ]; then cp "$2/$4" "$5"; exit; fi
if [ -e "$2/$4.listing" ]; then cat "$2/$4.listing"; exit; fi
cd "$2/$4" 2>/dev/null || { echo ext4util:not-found; exit 1; }
for name in *; do [ -e "$name" ] && stat -c '%i %n %s' "$name"; done
)";

} // namespace

/// The manager's work on a card, with a script as the reader and folders as card and FAT volume.
class CardReadingTest : public QObject
{
    Q_OBJECT

    PrivateHome m_home;
    QTemporaryDir m_bundle;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ScriptedDesktop> m_desktop;
    std::unique_ptr<ProcessManager> m_manager;
    QString m_card;
    QString m_volume;

    void put(const char *path, const QByteArray &contents) const
    {
        writeFile(m_card + u'/' + QString::fromUtf8(path), contents);
    }
    [[nodiscard]] QStringList calls(const QString &device) const
    {
        return QString::fromUtf8(contentsOf(device + QStringLiteral(".calls")))
            .split(u'\n', Qt::SkipEmptyParts);
    }
    static QStringList shown(const FileList &files)
    {
        QStringList rows;
        for (const FileListItem &file : files)
            rows.append(file.type + u'/' + file.name + u' ' + QString::number(file.size));
        return rows;
    }
    FileList readCard() { return QCoro::waitFor(m_manager->readFileList()); }
    [[nodiscard]] QByteArray savedSettings() const
    {
        return contentsOf(m_volume + QStringLiteral("/bbox.cfg"));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString reader = m_bundle.filePath(QStringLiteral("ext4util"));
        writeFile(reader, readerScript);
        ScriptedDesktop desktop;
        desktop.tools.insert(QStringLiteral("ext4util"), reader);
        ProcessManager manager(desktop.desktop);
        QVERIFY(QCoro::waitFor(manager.setup()));
    }

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_card = m_folder->filePath(QStringLiteral("sdb"));
        m_volume = m_folder->filePath(QStringLiteral("volume"));
        QVERIFY(QDir().mkpath(m_card) && QDir().mkpath(m_volume));
        m_desktop = std::make_unique<ScriptedDesktop>();
        m_desktop->volumes->mounted = {{QStringLiteral("NO NAME"), m_volume, m_card}};
        m_manager = std::make_unique<ProcessManager>(m_desktop->desktop);
        m_desktop->consent->answer = QStringLiteral("not asked");
        QCoro::waitFor(m_manager->setup());
        processvalues::setCardDevicePath(m_card);
        processvalues::setRecordedChannelCount(-1);
    }

    void readsAWholeCard()
    {
        put("cfg/bbox.cfg", "[bbox]\r\nvolume=60\r\n");
        put("cfg/bbox.ini", "ch1_resol=2\nch2_resol = 1\nch3_resol=0\n");
        put("cfg/cfg_backup", "x");
        put("mov/flist_1.txt", "x");
        put("mov/movie_1.mp4", "x");
        put("mov/saved/E_20240309_170700.mp4", "12345");
        put("mov/normal/N_20240309_170559.mov", "123");
        put("mov/normal/movtemp", "x");
        put("mov/event/E_20240309_170700.mp4", "1");
        writeFile(tempRoot() + QStringLiteral("mov/normal/of-an-earlier-card"), "x");
        const FileList files = readCard();
        QCOMPARE(shown(files),
                 QStringList({QStringLiteral("normal/N_20240309_170559.mov 3"),
                              QStringLiteral("event/E_20240309_170700.mp4 1"),
                              QStringLiteral("saved/E_20240309_170700.mp4 5")}));
        QCOMPARE(m_manager->bbox(), QStringList({QStringLiteral("bbox.cfg"), QStringLiteral("bbox.ini")}));
        QCOMPARE(m_manager->data(), QStringList{QStringLiteral("flist_1.txt")});
        QCOMPARE(processvalues::recordedChannelCount(), 2);
        QCOMPARE(savedSettings(), QByteArray("[bbox]\r\nvolume=60\r\n"));
        QCOMPARE(contentsOf(tempRoot() + QStringLiteral("mov/flist_1.txt")), QByteArray("x"));
        QVERIFY(QFileInfo(tempRoot() + QStringLiteral("mov/park")).isDir());
        QVERIFY(QDir(tempRoot() + QStringLiteral("mov/normal")).isEmpty());

        QStringList expected;
        for (const char *call :
             {"ls %1 104857600 cfg", "read %1 104857600 cfg/bbox.cfg %2cfg/bbox.cfg",
              "read %1 104857600 cfg/bbox.ini %2cfg/bbox.ini", "ls %1 104857600 mov",
              "read %1 104857600 mov/flist_1.txt %2mov/flist_1.txt", "ls %1 104857600 mov/normal",
              "ls %1 104857600 mov/event", "ls %1 104857600 mov/park", "ls %1 104857600 mov/manual",
              "ls %1 104857600 mov/saved"})
            expected.append(QString::fromLatin1(call)
                                .replace(QStringLiteral("%1"), m_card)
                                .replace(QStringLiteral("%2"), tempRoot()));
        QCOMPARE(calls(m_card), expected);
    }

    void doesNothingOnACardWithoutADevice()
    {
        put("cfg/bbox.ini", "ch1_resol=1\n");
        put("mov/normal/N_1.mp4", "1");
        QCOMPARE(readCard().size(), 1);
        processvalues::setCardDevicePath(std::nullopt);
        QCOMPARE(readCard().size(), 0);
        QVERIFY(m_manager->bbox().isEmpty());
        QVERIFY(QDir(tempRoot() + QStringLiteral("cfg")).isEmpty());
        QCOMPARE(processvalues::recordedChannelCount(), 1); // kept
        const qsizetype count = calls(m_card).size();
        QCoro::waitFor(m_manager->read(QStringLiteral("cfg/bbox.ini")));
        QCOMPARE(QCoro::waitFor(m_manager->ls(QStringLiteral("cfg"), true)), QStringList());
        QCOMPARE(calls(m_card).size(), count);
    }

    void putsNoHostileNameOnALine()
    {
        const QByteArray names[] = {"a;touch$IFS'pwned'",
                                    "$(touch\tpwned)",
                                    "`touch\tpwned`",
                                    "../cfg/evil",
                                    "/etc/passwd",
                                    "..,",
                                    ",",
                                    "a&b",
                                    "x>pwned",
                                    "good.mp4"};
        QByteArray listing;
        for (const QByteArray &name : names)
            listing += "7 " + name + " 5\n";
        put("cfg.listing", listing);
        put("mov/normal.listing", listing);
        QByteArray indexes = listing;
        put("mov.listing", indexes.replace("7 ", "7 flist"));
        LogCapture log;
        const FileList files = readCard();
        QCOMPARE(shown(files), QStringList{QStringLiteral("normal/good.mp4 5")});
        QCOMPARE(m_manager->bbox(),
                 QStringList({QStringLiteral("..,"), QStringLiteral(","), QStringLiteral("good.mp4")}));
        QCOMPARE(m_manager->data(),
                 QStringList({QStringLiteral("flist..,"), QStringLiteral("flist,"),
                              QStringLiteral("flistgood.mp4")}));
        QVERIFY(!calls(m_card).join(u' ').contains(u"pwned"));
        QVERIFY(!QFile::exists(QStringLiteral("pwned")));
        QVERIFY(log.lines().contains(
            QStringLiteral("[FileExtractor] left out, not a plain name: mov/normal/..")));
        // Names that were slipped past the listing are refused once more.
        const qsizetype count = calls(m_card).size();
        for (const char16_t *path : {u"mov/../../evil", u"mov//x", u"/etc/passwd", u"a;touch pwned", u""})
            QCoro::waitFor(m_manager->read(QString::fromUtf16(path)));
        QCoro::waitFor(m_manager->ls(QStringLiteral("mov;touch pwned"), false));
        QCOMPARE(calls(m_card).size(), count);
    }

    void passesTheCamerasSettingsOn_data()
    {
        QTest::addColumn<QByteArray>("current"); // "-": no such file
        QTest::addColumn<QByteArray>("shipped");
        QTest::addColumn<QByteArray>("saved");
        QTest::addColumn<int>("channels"); // -1: as before
        const auto row = [](const char *name, const QByteArray &current, const QByteArray &shipped,
                            const QByteArray &saved,
                            int channels) { QTest::newRow(name) << current << shipped << saved << channels; };
        row("the current ones", "current", "shipped", "current", 0);
        row("else the shipped ones", "-", "shipped", "shipped", 0);
        row("an empty file is a text", "", "shipped", "", 0);
        row("ill-formed text is none", "\xff", "shipped", "shipped", 0);
        row("nothing to pass on", "-", "-", "of the driver", -1);
        row("only the current ones", "ch1_resol=1", "-", "ch1_resol=1", -1);
        row("byte order mark", "-",
            "\xef\xbb\xbf"
            "ch1_resol=1",
            "ch1_resol=1", 1);
        row("values that are no numbers", "-",
            "ch0_resol=1\nch1_resol=+1\nch2_resol=x\nch3_resol=\nch4_resol=-1\nch5_resol="
            "9223372036854775808\n"
            "ch6_resol=1",
            "ch0_resol=1\nch1_resol=+1\nch2_resol=x\nch3_resol=\nch4_resol=-1\nch5_resol="
            "9223372036854775808\n"
            "ch6_resol=1",
            1);
    }
    void passesTheCamerasSettingsOn()
    {
        QFETCH(const QByteArray, current);
        QFETCH(const QByteArray, shipped);
        writeFile(m_volume + QStringLiteral("/bbox.cfg"), "of the driver");
        if (current != "-")
            put("cfg/bbox.cfg", current);
        if (shipped != "-")
            put("cfg/bbox.ini", shipped);
        readCard();
        QTEST(savedSettings(), "saved");
        QTEST(processvalues::recordedChannelCount(), "channels");
    }

    void listsWithoutWaitingForTheVolume()
    {
        put("cfg/bbox.cfg", "current");
        put("mov/normal/N_1.mp4", "1");
        const auto mounted = std::exchange(m_desktop->volumes->mounted, {});
        QPromise<void> mount;
        const QFuture<void> isMounted = mount.future();
        mount.start();
        m_desktop->volumes->onWait = [isMounted]() -> QCoro::Task<> { return waitFor(isMounted); };
        QCOMPARE(readCard().size(), 1);
        QCOMPARE(m_desktop->volumes->waits, QStringList{m_card});
        QCOMPARE(savedSettings(), QByteArray("(no file)"));
        m_desktop->volumes->mounted = mounted;
        mount.finish();
        QTRY_COMPARE(savedSettings(), QByteArray("current"));
    }
    static QCoro::Task<> waitFor(QFuture<void> future) { co_await future; }

    void dropsTheSettingsOfACardThatLeftBeforeItsVolumeCame()
    {
        put("cfg/bbox.cfg", "current");
        const auto mounted = std::exchange(m_desktop->volumes->mounted, {});
        QPromise<void> mount;
        const QFuture<void> isMounted = mount.future();
        mount.start();
        m_desktop->volumes->onWait = [isMounted]() -> QCoro::Task<> { return waitFor(isMounted); };
        readCard();
        processvalues::setCardDevicePath(QStringLiteral("/dev/another"));
        m_desktop->volumes->mounted = mounted;
        LogCapture log;
        mount.finish();
        QCoro::waitFor(sleepFor(std::chrono::milliseconds(20)));
        QCOMPARE(savedSettings(), QByteArray("(no file)"));
        QCOMPARE(log.lines(), QStringList());
    }

    void letsTheNewestOfTwoReadingsWin()
    {
        put("cfg/first.txt", "x");
        put("mov/normal/N_first.mp4", "1");
        const QString second = m_folder->filePath(QStringLiteral("sdc"));
        writeFile(second + QStringLiteral("/cfg/second.txt"), "x");
        writeFile(second + QStringLiteral("/mov/normal/N_second.mp4"), "1");
        writeFile(m_card + QStringLiteral(".hold"), "");
        QStringList results;
        const auto note = [this, &results](const char *name) -> QCoro::Task<> {
            return noteReading(m_manager.get(), QString::fromLatin1(name), &results);
        };
        const auto first = note("first");
        QTRY_COMPARE(calls(m_card).size(), 1); // its tool runs
        processvalues::setCardDevicePath(second);
        const auto overtaken = note("overtaken");
        const auto newest = note("newest");
        QVERIFY(calls(second).size() <= 1 && results.isEmpty()); // "(no file)"
        QVERIFY(QFile::remove(m_card + QStringLiteral(".hold")));
        QTRY_COMPARE(results.size(), 3);
        std::sort(results.begin(), results.end());
        QCOMPARE(results,
                 QStringList({QStringLiteral("first:"), QStringLiteral("newest: normal/N_second.mp4 1"),
                              QStringLiteral("overtaken:")}));
        QCOMPARE(calls(m_card).size(), 1);
        QCOMPARE(QDir(tempRoot() + QStringLiteral("cfg")).entryList(QDir::Files),
                 QStringList{QStringLiteral("second.txt")});
        QCOMPARE(m_manager->bbox(), QStringList{QStringLiteral("second.txt")});
    }
    static QCoro::Task<> noteReading(ProcessManager *manager, QString name, QStringList *results)
    {
        const FileList files = co_await manager->readFileList();
        results->append((name + QStringLiteral(": ") + shown(files).join(u' ')).trimmed());
    }

    void touchesNothingOnceItsCardIsGone()
    {
        put("cfg/bbox.cfg", "current");
        put("mov/normal/N_1.mp4", "1");
        writeFile(m_card + QStringLiteral(".hold"), "");
        QStringList results;
        const auto reading = noteReading(m_manager.get(), QStringLiteral("reading"), &results);
        QTRY_COMPARE(calls(m_card).size(), 1);
        processvalues::setCardDevicePath(std::nullopt);
        m_manager->deleteDirectory(tempRoot() + QStringLiteral("cfg"));
        m_manager->deleteDirectory(tempRoot() + QStringLiteral("mov"));
        QVERIFY(QFile::remove(m_card + QStringLiteral(".hold")));
        QTRY_COMPARE(results, QStringList{QStringLiteral("reading:")});
        QVERIFY(!QFile::exists(tempRoot() + QStringLiteral("cfg")));
        QVERIFY(!QFile::exists(tempRoot() + QStringLiteral("mov")));
        QCOMPARE(savedSettings(), QByteArray("(no file)"));
    }

    void survivesItsOwnEndDuringAReading()
    {
        put("cfg/bbox.cfg", "current");
        writeFile(m_card + QStringLiteral(".hold"), "");
        QStringList results;
        const auto reading = noteReading(m_manager.get(), QStringLiteral("reading"), &results);
        QTRY_COMPARE(calls(m_card).size(), 1);
        m_manager.reset();
        QVERIFY(QFile::remove(m_card + QStringLiteral(".hold")));
        QTRY_COMPARE(results, QStringList{QStringLiteral("reading:")});
    }

    void findsTheCardsVolume_data()
    {
        QTest::addColumn<QString>("disk");
        QTest::addColumn<QStringList>("mounted"); // name, device
        QTest::addColumn<int>("found"); // -1: none
        const auto row = [](const char *name, const char *disk, const QStringList &mounted, int found) {
            QTest::newRow(name) << QString::fromLatin1(disk) << mounted << found;
        };
        const QString named = QStringLiteral("NO NAME:");
        row("none mounted", "/dev/sdb", {}, -1);
        row("the name is exact", "/dev/sdb",
            {QStringLiteral("NO_NAME:/dev/sdb1"), QStringLiteral("no name:/dev/sdb1"),
             QStringLiteral("NO NAME 1:/dev/sdb1")},
            -1);
        row("the first", "/dev/sdb", {named, named + QStringLiteral("/dev/sdd1")}, 0);
        row("the card's own", "/dev/sdb",
            {named + QStringLiteral("/dev/sdba1"), named + QStringLiteral("/dev/sdb1")}, 1);
        row("the whole disk's", "/dev/sdb",
            {named + QStringLiteral("/dev/sdc"), named + QStringLiteral("/dev/sdb")}, 1);
        row("of a built-in slot", "/dev/mmcblk1",
            {named + QStringLiteral("/dev/mmcblk10p1"), named + QStringLiteral("/dev/mmcblk1p1")}, 1);
    }
    void findsTheCardsVolume()
    {
        QFETCH(const QString, disk);
        QFETCH(const QStringList, mounted);
        processvalues::setCardDevicePath(disk);
        m_desktop->volumes->mounted.clear();
        for (const QString &volume : mounted)
            m_desktop->volumes->mounted.append(
                {volume.section(u':', 0, 0),
                 QStringLiteral("/media/%1").arg(m_desktop->volumes->mounted.size()),
                 volume.section(u':', 1)});
        const QString path = m_manager->getSDCardPath(QStringLiteral("bbox.cfg"))
                                 .value_or(QStringLiteral("/media/-1/bbox.cfg"));
        QFETCH(const int, found);
        QCOMPARE(path, QStringLiteral("/media/%1/bbox.cfg").arg(found));
    }

    void savesTextsWholeOrNotAtAll()
    {
        const QString name = QStringLiteral("location.txt");
        const QString path = m_volume + u'/' + name;
        writeFile(m_volume + QStringLiteral("/.location.txt.new"), "left behind by a loss of power");
        LogCapture log;
        m_manager->saveToSDCard(name, QStringLiteral("한\r\n글\n"));
        QCOMPARE(contentsOf(path), QByteArray("\xed\x95\x9c\r\n\xea\xb8\x80\n"));
        QCOMPARE(m_manager->readSDCard(name), std::optional(QStringLiteral("한\r\n글\n")));

        rlimit limit{};
        QVERIFY(::getrlimit(RLIMIT_FSIZE, &limit) == 0);
        const rlimit full{4096, limit.rlim_max}; // as a disk that fills up in the middle
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        QVERIFY(::setrlimit(RLIMIT_FSIZE, &full) == 0);
        m_manager->saveToSDCard(name, QString(100'000, u'x'));
        QVERIFY(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
        std::signal(SIGXFSZ, oldHandler);
        QCOMPARE(contentsOf(path), QByteArray("\xed\x95\x9c\r\n\xea\xb8\x80\n"));
        QCOMPARE(QDir(m_volume).entryList(QDir::Files | QDir::Hidden), QStringList{name});

        m_desktop->volumes->mounted.clear();
        m_manager->saveToSDCard(name, QString());
        m_desktop->volumes->error = QStringLiteral("no mount table");
        QCOMPARE(m_manager->readSDCard(name), std::nullopt);
        const QString tag = QStringLiteral("[FileExtractor] ");
        QCOMPARE(log.lines(),
                 QStringList({tag + QStringLiteral("saveToSDCard to ") + path,
                              tag + QStringLiteral("saveToSDCard failed: ") + qt_error_string(EFBIG),
                              tag + QStringLiteral("getSDCardPath failed"),
                              QStringLiteral("FileExtractor] getSDCardPath failed: no mount table")}));
    }
};

QTEST_GUILESS_MAIN(CardReadingTest)
#include "tst_cardreading.moc"
