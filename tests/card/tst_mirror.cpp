#include "card/mirror.h"
#include "card/shell.h"
#include "card/toolcommands.h"
#include "desktop/toollookup.h"
#include "ext4util/cardimage.h"

#include <QCoroTask>
#include <QDir>
#include <QSignalSpy>
#include <QTest>
#include <sys/mount.h>
#include <unistd.h>

using Outcome = Extraction::Outcome;

namespace {

const QString first = QStringLiteral("mov/normal/N_20240309_100000.mp4");
const QString second = QStringLiteral("mov/normal/N_20240309_110000.mp4");
const QString third = QStringLiteral("mov/normal/N_20240309_120000.mp4");
constexpr qsizetype recordingSize = 3'000'000;

} // namespace

/// Extraction by the real reader from a real card image.
class MirrorTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<CardImage> m_card;
    QTemporaryDir m_folder;
    std::unique_ptr<Mirror> m_mirror;
    QString m_tool; ///< a line of bash with %1 card path, %2 target; the real reader if it is empty
    QStringList m_calls;
    int m_running = 0;
    int m_mostRunning = 0;

    QCoro::Task<Mirror::ToolEnd> runTool(QString cardPath, QString target)
    {
        m_calls.append(cardPath);
        m_mostRunning = std::max(m_mostRunning, ++m_running);
        QString command = m_tool.arg(cardPath, target);
        if (m_tool.isEmpty())
            command =
                toolcommands::extract(QStringLiteral(VORNEX_BIN_DIR "/"), m_card->path(), cardPath, target);
        Mirror::ToolEnd end;
        const Shell::OutputHandler keep = [&end](const QString &text) { end.messages += text; };
        end.status = co_await Shell::runAsync(command, keep);
        --m_running;
        co_return end;
    }
    void makeMirror(const QString &folder)
    {
        const auto extractor = [this](QString cardPath, QString target) {
            return runTool(std::move(cardPath), std::move(target));
        };
        m_mirror = std::make_unique<Mirror>(folder, extractor, diskSpaceOf);
        QVERIFY(QDir().mkpath(folder + QStringLiteral("mov/normal")));
    }
    Extraction extract(const QString &cardPath, quint64 listedSize = recordingSize)
    {
        return QCoro::waitFor(m_mirror->extract(cardPath, listedSize));
    }
    [[nodiscard]] QString fileOf(const QString &cardPath) const { return m_folder.path() + u'/' + cardPath; }

private Q_SLOTS:
    void initTestCase()
    {
        CardFormat format;
        format.sizeMiB = 20;
        format.offset = toolcommands::ext4Offset;
        m_card = std::make_unique<CardImage>(QMap<QString, QByteArray>{{first, noise(recordingSize, 1)},
                                                                       {second, noise(recordingSize, 2)},
                                                                       {third, noise(recordingSize, 3)}},
                                             format);
        QVERIFY(m_card->isValid());
    }
    void init()
    {
        m_tool.clear();
        m_calls.clear();
        m_mostRunning = 0;
        makeMirror(m_folder.path() + u'/');
        m_mirror->clear();
        QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("mov/normal")));
    }
    void cleanup() { m_mirror.reset(); }

    void extractsAFileOnceWhoeverAsks_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<int>("outcome");
        QTest::newRow("real reader") << QString() << int(Outcome::Whole);
        QTest::newRow("slow, removes first")
            << QStringLiteral("rm -f %2; sleep 0.2; head -c 3000000 /dev/zero > %2.part; mv %2.part %2 # %1")
            << int(Outcome::Whole);
        QTest::newRow("damaged") << QStringLiteral("echo some > %2; sleep 0.1; exit 5 # %1")
                                 << int(Outcome::Incomplete);
    }
    void extractsAFileOnceWhoeverAsks()
    {
        QFETCH(const QString, tool);
        m_tool = tool;
        auto byTheBackgroundTask = m_mirror->extract(first, recordingSize);
        auto byAClick = m_mirror->extract(first, recordingSize);
        const Extraction extraction = QCoro::waitFor(std::move(byAClick));
        QTEST(int(extraction.outcome), "outcome");
        QCOMPARE(QCoro::waitFor(std::move(byTheBackgroundTask)).size, extraction.size);
        QCOMPARE(extraction.size, quint64(fileContent(fileOf(first)).size()));
        QCOMPARE(m_calls, QStringList{first});

        // Later only what was damaged is tried again, and not while it plays.
        m_mirror->setInUse({first});
        QCOMPARE(extract(first).outcome, extraction.outcome);
        QCOMPARE(m_calls.size(), 1);
        m_mirror->setInUse({});
        QCOMPARE(extract(first).outcome, extraction.outcome);
        QCOMPARE(m_calls.size(), extraction.isWhole() ? 1 : 2);
        QVERIFY(QFile::remove(fileOf(first)));
        QCOMPARE(extract(first).outcome, extraction.outcome);
        QCOMPARE(m_calls.size(), extraction.isWhole() ? 2 : 3);
        QCOMPARE(m_mostRunning, 1);
    }

    void toldOutcomes_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<int>("outcome");
        QTest::addColumn<int>("size");
        const auto row = [](const char *name, const char *tool, Outcome outcome, int size) {
            QTest::newRow(name) << QString::fromLatin1(tool) + QStringLiteral(" # %1") << int(outcome)
                                << size;
        };
        row("half a file", "echo half > %2", Outcome::Incomplete, 5);
        row("no file", "true %2", Outcome::ToolFailed, 0);
        row("no such file on the card", "echo ext4util:not-found %2; exit 4", Outcome::Missing, 0);
        row("wrong structure", ": %2; exit 6", Outcome::Incomplete, 0);
        row("failed halfway", "echo half > %2; exit 8", Outcome::ToolFailed, 0);
        row("ended by a signal", "echo half > %2; kill -9 $$", Outcome::ToolFailed, 0);
        row("target", "echo ext4util:target-not-written No-space-left-on-device; : %2; exit 7",
            Outcome::DiskFull, 0);
    }
    void toldOutcomes()
    {
        QFETCH(const QString, tool);
        QFETCH(const int, size);
        m_tool = tool;
        const Extraction extraction = extract(first);
        QTEST(int(extraction.outcome), "outcome");
        QCOMPARE(extraction.size, quint64(size));
        QCOMPARE(QFile::exists(fileOf(first)), size > 0);
    }

    void resultOfAnEarlierSessionTouchesNothing()
    {
        m_tool = QStringLiteral("sleep 0.2; echo old > %2 # %1");
        auto old = m_mirror->extract(first, 4);
        QTRY_COMPARE(m_calls.size(), 1);
        m_mirror->clear();
        QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("mov/normal")));
        m_tool = QStringLiteral("sleep 0.2; echo new > %2 # %1");
        auto fresh = m_mirror->extract(first, 4);
        QCOMPARE(QCoro::waitFor(std::move(old)).outcome, Outcome::CardGone);
        QCOMPARE(QCoro::waitFor(std::move(fresh)).outcome, Outcome::Whole);
        QCOMPARE(fileContent(fileOf(first)), QByteArray("new\n"));
        QCOMPARE(m_mostRunning, 1);
    }

    void freesWhatNobodyUsesOnAFullDisk()
    {
        QTemporaryDir disk;
        const QByteArray mountPoint = QFile::encodeName(disk.path());
        if (::mount("tmpfs", mountPoint.constData(), "tmpfs", 0, "size=7M") != 0)
            QSKIP("a small disk can be mounted by root alone");
        makeMirror(disk.path() + u'/');
        const QSignalSpy freed(m_mirror.get(), &Mirror::freed);
        QVERIFY(extract(first).isWhole());
        QVERIFY(extract(second).isWhole());
        QVERIFY(extract(first).isWhole()); // so the second was asked for longest ago
        QVERIFY(extract(third).isWhole());
        QCOMPARE(freed.size(), 1);
        QCOMPARE(freed.first().first().toString(), second);

        m_mirror->setInUse({first, third});
        const Extraction refused = extract(second);
        QCOMPARE(refused.outcome, Outcome::DiskFull);
        QCOMPARE(refused.reason, disk.path());
        QVERIFY(!QFile::exists(disk.path() + u'/' + second));
        QCOMPARE(fileContent(disk.path() + u'/' + first), noise(recordingSize, 1));
        m_mirror->setInUse({third});
        QVERIFY(extract(second).isWhole());
        QVERIFY(!QCoro::waitFor(m_mirror->makeRoom(8'000'000)));
        m_mirror.reset();
        QVERIFY(::umount2(mountPoint.constData(), MNT_DETACH) == 0);
    }
};

QTEST_GUILESS_MAIN(MirrorTest)
#include "tst_mirror.moc"
