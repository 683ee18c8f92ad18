#include "card/processmanager.h"
#include "common/bundle.h"
#include "common/processvalues.h"
#include "support/logcapture.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"

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
        LogCapture log;
        const bool isReady = setUp(desktop);
        QVERIFY(isReady);
        const QString tag = QStringLiteral("[ProcessManager] ");
        QStringList expected{QStringLiteral("[FileExtractor] ensureDirectoryExists ") + m_root,
                             tag + installed("ext4util") + QStringLiteral(" -> copied"),
                             tag + installed("ffmpeg") + QStringLiteral(" -> copied"),
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
                    tag + installed("ffmpeg") + QStringLiteral(" -> already exists"), expected.last()};
        QCOMPARE(lines, expected);
    }

    void replacesAToolOfAnotherSizeOnly()
    {
        if (!isRoot())
            QSKIP("the change of owner needs root");
        ScriptedDesktop desktop;
        ship(desktop, "ext4util", "reader");
        QVERIFY(setUp(desktop));
        ship(desktop, "ext4util", "READER");
        QVERIFY(setUp(desktop));
        QCOMPARE(contentsOf(installed("ext4util")), QByteArray("reader"));
        QCOMPARE(desktop.consent->requests.size(), 1);
        ship(desktop, "ext4util", "new reader");
        QVERIFY(setUp(desktop));
        QCOMPARE(contentsOf(installed("ext4util")), QByteArray("new reader"));
        QCOMPARE(desktop.consent->requests.size(), 2);
        QCOMPARE(modeOf(installed("ext4util")), mode_t(04755));
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
