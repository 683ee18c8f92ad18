#include "card/processmanager.h"
#include "card/processvalues.h"
#include "common/bundle.h"
#include "support/logcapture.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"
#include "support/smalldisk.h"

#include <QCoroTask>
#include <QTest>

namespace {

bool isRoot() { return ::geteuid() == 0; }

QString described(int error) { return qt_error_string(error); }

} // namespace

/// The tools in a temporary home, with real owners and modes where the test runs as root.
class SetupTest : public QObject
{
    Q_OBJECT

    PrivateHome m_home;
    QTemporaryDir m_bundle;
    QString m_root = m_home.dataFolder() + u'/' + applicationName() + u'/';

    [[nodiscard]] QString bundled(const QString &tool) const { return m_bundle.filePath(tool); }
    [[nodiscard]] QString installed(const char *tool) const { return m_root + QString::fromLatin1(tool); }

    /// A new release of a tool, as an executable file.
    void ship(ScriptedDesktop &desktop, const char *tool, const QByteArray &contents)
    {
        const QString name = QString::fromLatin1(tool);
        writeFile(bundled(name), contents);
        QFile::setPermissions(bundled(name), QFileDevice::Permissions(0x7755));
        desktop.tools.insert(name, bundled(name));
    }
    static bool setUp(ScriptedDesktop &desktop)
    {
        ProcessManager manager(desktop.desktop);
        return QCoro::waitFor(manager.setup());
    }
    static mode_t modeOf(const QString &path)
    {
        struct stat status {
        };
        ::lstat(QFile::encodeName(path).constData(), &status);
        return status.st_mode & 07777;
    }

private Q_SLOTS:
    void init() { QDir(m_root).removeRecursively(); }

    void installsAndAsksForConsentOnce()
    {
        ScriptedDesktop desktop;
        ship(desktop, "ext4util", "reader");
        ship(desktop, "ffmpeg", "converter"); // and no mp4recover
        const QString missing = QStringLiteral("[ProcessManager] mp4recover -> missing");
        LogCapture log;
        const bool isReady = setUp(desktop);
        QVERIFY(isReady);
        const QString tag = QStringLiteral("[ProcessManager] ");
        QStringList expected{QStringLiteral("[FileExtractor] ensureDirectoryExists ") + m_root,
                             tag + installed("ext4util") + QStringLiteral(" -> copied"),
                             tag + installed("ffmpeg") + QStringLiteral(" -> copied"),
                             missing,
                             tag + QStringLiteral("ext4util authorized successfully"),
                             tag + QStringLiteral("Initialization finished with success: true")};
        QStringList lines = log.lines();
        QCOMPARE(lines, expected);
        QCOMPARE(desktop.consent->requests, QStringList{installed("ext4util")});
        QCOMPARE(modeOf(installed("ffmpeg")), mode_t(0755));
        QVERIFY(!QFile::exists(installed("mp4recover")));
        if (!isRoot())
            return;
        QVERIFY(setUp(desktop)); // the second start
        QCOMPARE(desktop.consent->requests.size(), 1);
        lines = log.lines().mid(lines.size());
        expected = {tag + installed("ext4util") + QStringLiteral(" -> already exists"),
                    tag + installed("ffmpeg") + QStringLiteral(" -> already exists"), missing,
                    expected.last()};
        QCOMPARE(lines, expected);
    }

    /// As sha256sum --check reads it.
    void notesWhatItInstalled()
    {
        ScriptedDesktop desktop;
        ship(desktop, "ext4util", "abc");
        setUp(desktop);
        QCOMPARE(contentsOf(installed("installed.sha256")),
                 QByteArray("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad  ext4util\n"));
    }

    void replacesAToolOfAnotherSizeOrContent_data()
    {
        QTest::addColumn<QByteArray>("shipped");
        QTest::addColumn<bool>("hasNote");
        QTest::addColumn<bool>("isReplaced");
        QTest::newRow("the same") << QByteArray("reader") << true << false;
        QTest::newRow("the same, installed before notes were kept") << QByteArray("reader") << false << false;
        QTest::newRow("another size") << QByteArray("new reader") << true << true;
        QTest::newRow("another content") << QByteArray("READER") << true << true;
        QTest::newRow("another content, without a note") << QByteArray("READER") << false << true;
    }
    void replacesAToolOfAnotherSizeOrContent()
    {
        if (!isRoot())
            QSKIP("the change of owner needs root");
        QFETCH(const QByteArray, shipped);
        QFETCH(const bool, hasNote);
        QFETCH(const bool, isReplaced);
        ScriptedDesktop desktop;
        ship(desktop, "ext4util", "reader");
        QVERIFY(setUp(desktop));
        if (!hasNote)
            QVERIFY(QFile::remove(installed("installed.sha256")));
        for (int start = 0; start < 2; ++start) {
            ship(desktop, "ext4util", shipped);
            QVERIFY(setUp(desktop));
            QCOMPARE(contentsOf(installed("ext4util")), shipped);
            QCOMPARE(desktop.consent->requests.size(), isReplaced ? 2 : 1);
            QCOMPARE(modeOf(installed("ext4util")), mode_t(04755));
        }
    }

    void keepsTheEarlierToolWhereTheDiskIsFull()
    {
        ScriptedDesktop desktop;
        ship(desktop, "ffmpeg", "converter");
        setUp(desktop);
        const SmallDisk disk(m_root);
        if (!disk.isMounted())
            QSKIP("a small disk needs the right to mount one");
        setUp(desktop);
        ship(desktop, "ffmpeg", QByteArray(2 * SmallDisk::size, 'x'));
        LogCapture log;
        setUp(desktop);
        const QStringList said = log.lines();
        QVERIFY(said.contains(QStringLiteral("[FileExtractor] copy failed:: ") + described(ENOSPC)));
        QCOMPARE(said.filter(QStringLiteral("ffmpeg")), QStringList());
        QCOMPARE(contentsOf(installed("ffmpeg")), QByteArray("converter"));
        QCOMPARE(QDir(m_root).entryList(QDir::Files | QDir::Hidden),
                 QStringList({QStringLiteral("ffmpeg"), QStringLiteral("installed.sha256")}));
    }

    void asksForNoConsentWhereNoneIsNeeded()
    {
        ScriptedDesktop desktop;
        ship(desktop, "ext4util", "reader");
        desktop.consent->isAsked = false;
        LogCapture log;
        QVERIFY(setUp(desktop));
        QCOMPARE(desktop.consent->requests, QStringList());
        QVERIFY(log.lines().filter(QStringLiteral("authorize")).isEmpty());
    }

    void asksAgainWhereOwnerOrBitIsMissing_data()
    {
        QTest::addColumn<int>("owner");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("isAuthorized");
        QTest::newRow("root's with the bit") << 0 << 04755 << true;
        QTest::newRow("bit cleared") << 0 << 0755 << false;
        QTest::newRow("set-group-ID only") << 0 << 02755 << false;
        QTest::newRow("a user's") << 1 << 04755 << false;
    }
    void asksAgainWhereOwnerOrBitIsMissing()
    {
        if (!isRoot())
            QSKIP("the change of owner needs root");
        QFETCH(const int, owner);
        QFETCH(const int, mode);
        ScriptedDesktop desktop;
        ship(desktop, "ext4util", "reader");
        QVERIFY(setUp(desktop));
        const QByteArray path = QFile::encodeName(installed("ext4util"));
        QVERIFY(::chown(path.constData(), uid_t(owner), 0) == 0
                && ::chmod(path.constData(), mode_t(mode)) == 0);
        desktop.consent->requests.clear();
        QVERIFY(setUp(desktop));
        QTEST(desktop.consent->requests.isEmpty(), "isAuthorized");
    }

    void givesFalseWhenConsentIsRefused()
    {
        ScriptedDesktop desktop;
        desktop.consent->answer = QStringLiteral("dismissed");
        LogCapture log; // with no tool at all
        QVERIFY(!setUp(desktop));
        const QString tag = QStringLiteral("[ProcessManager] ");
        QCOMPARE(log.lines().mid(log.lines().size() - 3),
                 QStringList({tag + QStringLiteral("checkPrivilege error: ") + described(ENOENT),
                              tag + QStringLiteral("authorizeExt4Tool error: dismissed"),
                              tag + QStringLiteral("Initialization finished with success: false")}));
    }

    void makesToolsExecutableWhateverTheyWere()
    {
        ScriptedDesktop desktop;
        ship(desktop, "ffmpeg", "converter");
        QFile::setPermissions(bundled(QStringLiteral("ffmpeg")), QFileDevice::ReadOwner);
        const QString link = bundled(QStringLiteral("link"));
        QVERIFY(QFile::link(bundled(QStringLiteral("ffmpeg")), link));
        desktop.tools.insert(QStringLiteral("ffmpeg"), link);
        setUp(desktop);
        QVERIFY((modeOf(installed("ffmpeg")) & S_IXUSR) != 0);
        LogCapture log;
        setUp(desktop); // the size that counts isn't the link's
        QVERIFY(log.lines().contains(QStringLiteral("[ProcessManager] ") + installed("ffmpeg")
                                     + QStringLiteral(" -> already exists")));
    }
};

QTEST_GUILESS_MAIN(SetupTest)
#include "tst_setup.moc"
