#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

constexpr uid_t caller = 65534;
constexpr uid_t stranger = 12345;

/// The privileged helper, as root, against folders that a user could prepare for it.
class AuthorizeTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void writesTheTrustedBytes_data();
    void writesTheTrustedBytes();
    void refusesHostileFolders_data();
    void refusesHostileFolders();
    void refusesAToolThatOthersCanWrite_data();
    void refusesAToolThatOthersCanWrite();
    void refusesToRunWithoutPkexec_data();
    void refusesToRunWithoutPkexec();

private:
    [[nodiscard]] QString path(const QString &name) const { return m_folder->filePath(name); }
    [[nodiscard]] QByteArray encoded(const QString &name) const { return QFile::encodeName(path(name)); }
    [[nodiscard]] struct stat statusOf(const QString &name) const
    {
        struct stat status = {};
        ::lstat(encoded(name).constData(), &status);
        return status;
    }
    void makeFolder(const QString &name, uid_t owner) const
    {
        if (::mkdir(encoded(name).constData(), 0755) != 0
            || ::chown(encoded(name).constData(), owner, owner) != 0)
            qFatal("can't make a folder");
    }
    void makeFile(const QString &name, const QByteArray &bytes, uid_t owner) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()
            || ::fchown(file.handle(), owner, owner) != 0 || ::fchmod(file.handle(), 0755) != 0)
            qFatal("can't make a file");
    }
    /// The file limit is one of bytes.
    [[nodiscard]] int run(const QStringList &arguments, const QString &pkexecUid = QString::number(caller),
                          const QString &fileLimit = u"unlimited"_s)
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!pkexecUid.isNull())
            environment.insert(u"PKEXEC_UID"_s, pkexecUid);
        child.setProcessEnvironment(environment);
        child.start(u"prlimit"_s,
                    QStringList{u"--fsize="_s + fileLimit, path(u"libexec/vornex-authorize"_s)} + arguments);
        child.waitForFinished(-1);
        m_message = child.readAllStandardError();
        return child.exitStatus() == QProcess::NormalExit ? child.exitCode() : -1;
    }
    const QByteArray m_trusted = "\x7f"
                                 "ELF trusted bytes"_ba.repeated(10000);
    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_message;
};

void AuthorizeTest::init()
{
    if (::geteuid() != 0)
        QSKIP("needs root: other users' folders are made here");
    m_folder = std::make_unique<QTemporaryDir>();
    QCOMPARE(::chmod(QFile::encodeName(m_folder->path()).constData(), 0755), 0);
    makeFolder(u"libexec"_s, 0);
    QVERIFY(QFile::copy(QStringLiteral(VORNEX_AUTHORIZE), path(u"libexec/vornex-authorize"_s)));
    makeFile(u"libexec/ext4util"_s, m_trusted, 0);
    makeFolder(u"home"_s, caller);
}

void AuthorizeTest::writesTheTrustedBytes_data()
{
    QTest::addColumn<QString>("before");
    for (const char *before : {"nothing", "own file", "link", "hard link", "running program"})
        QTest::newRow(before) << QString::fromLatin1(before);
}

void AuthorizeTest::writesTheTrustedBytes()
{
    QFETCH(const QString, before);
    makeFile(u"victim"_s, "victim", 0);
    const QByteArray target = encoded(u"home/ext4util"_s);
    QProcess running;
    if (before == u"own file"_s)
        makeFile(u"home/ext4util"_s, "planted", caller);
    else if (before == u"link"_s)
        QCOMPARE(::symlink(encoded(u"victim"_s).constData(), target.constData()), 0);
    else if (before == u"hard link"_s)
        QCOMPARE(::link(encoded(u"victim"_s).constData(), target.constData()), 0);
    else if (before == u"running program"_s) {
        QVERIFY(QFile::copy(u"/bin/cat"_s, path(u"home/ext4util"_s)));
        running.start(path(u"home/ext4util"_s), {});
        QVERIFY(running.waitForStarted());
    }

    QVERIFY2(run({path(u"home"_s)}) == 0, m_message.constData());
    running.closeWriteChannel();
    QVERIFY(running.state() == QProcess::NotRunning || running.waitForFinished());
    const struct stat status = statusOf(u"home/ext4util"_s);
    QVERIFY(S_ISREG(status.st_mode));
    QCOMPARE(status.st_mode & 07777u, 04755u);
    QCOMPARE(status.st_uid, 0u);
    QCOMPARE(status.st_gid, 0u);
    QCOMPARE(status.st_nlink, 1u);
    QFile written(path(u"home/ext4util"_s));
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), m_trusted);
    QCOMPARE(statusOf(u"victim"_s).st_mode & 07777u, 0755u);
    QCOMPARE(statusOf(u"victim"_s).st_size, 6);
    QCOMPARE(QDir(path(u"home"_s)).entryList(QDir::Files | QDir::Hidden), QStringList{u"ext4util"_s});
}

void AuthorizeTest::refusesHostileFolders_data()
{
    QTest::addColumn<QString>("folder"); // below the test's own
    QTest::addColumn<QString>("fileLimit");
    const auto row = [](const char *name, const char *folder, const char *fileLimit = "unlimited") {
        QTest::newRow(name) << QString::fromLatin1(folder) << QString::fromLatin1(fileLimit);
    };
    row("link to a folder", "link");
    row("link on the way", "link/data");
    row("another user's", "strange");
    row("root's", "roots");
    row("own, below another user's", "strange/own");
    row("way up", "home/data/..");
    row("doubled slash", "home//data");
    row("missing", "home/missing");
    row("no folder", "home/file");
    row("taken by a folder", "home/taken");
    row("without room", "home/data", "100000");
}

void AuthorizeTest::refusesHostileFolders()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, fileLimit);
    makeFolder(u"roots"_s, 0);
    makeFolder(u"strange"_s, stranger);
    for (const char *name : {"home/data", "home/taken", "home/taken/ext4util", "strange/own"})
        makeFolder(QString::fromLatin1(name), caller);
    makeFile(u"home/file"_s, "x", caller);
    QCOMPARE(::symlink(encoded(u"home"_s).constData(), encoded(u"link"_s).constData()), 0);

    QCOMPARE(run({m_folder->path() + u'/' + folder}, QString::number(caller), fileLimit), 1);
    QVERIFY(m_message.startsWith("vornex-authorize: "));
    QProcess find;
    find.start(u"find"_s, {m_folder->path(), u"-name"_s, u"*ext4util*"_s, u"-type"_s, u"f"_s});
    QVERIFY(find.waitForFinished());
    QCOMPARE(find.readAllStandardOutput(), encoded(u"libexec/ext4util"_s) + '\n');
}

void AuthorizeTest::refusesAToolThatOthersCanWrite_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what : {"file's mode", "file's owner", "folder's mode", "link", "missing"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void AuthorizeTest::refusesAToolThatOthersCanWrite()
{
    QFETCH(const QString, what);
    const QByteArray tool = encoded(u"libexec/ext4util"_s);
    if (what == u"file's mode"_s)
        QCOMPARE(::chmod(tool.constData(), 0775), 0);
    else if (what == u"file's owner"_s)
        QCOMPARE(::chown(tool.constData(), caller, 0), 0);
    else if (what == u"folder's mode"_s)
        QCOMPARE(::chmod(encoded(u"libexec"_s).constData(), 0777), 0);
    else
        QCOMPARE(::unlink(tool.constData()), 0);
    if (what == u"link"_s)
        QCOMPARE(::symlink("/bin/cat", tool.constData()), 0);
    QCOMPARE(run({path(u"home"_s)}), 1);
    QVERIFY(!QFile::exists(path(u"home/ext4util"_s)));
}

void AuthorizeTest::refusesToRunWithoutPkexec_data()
{
    QTest::addColumn<QString>("uid");
    QTest::addColumn<int>("folders");
    QTest::addColumn<int>("status");
    QTest::newRow("no caller") << QString() << 1 << 1;
    QTest::newRow("sign") << u"+65534"_s << 1 << 1;
    QTest::newRow("rest") << u"65534 "_s << 1 << 1;
    QTest::newRow("beyond 32 bits") << u"4295032830"_s << 1 << 1;
    QTest::newRow("nobody's id") << u"4294967295"_s << 1 << 1;
    QTest::newRow("no folder") << u"65534"_s << 0 << 2;
    QTest::newRow("two folders") << u"65534"_s << 2 << 2;
}

void AuthorizeTest::refusesToRunWithoutPkexec()
{
    QFETCH(const QString, uid);
    QFETCH(const int, folders);
    QTEST(run(QStringList(folders, path(u"home"_s)), uid), "status");
    QVERIFY(!QFile::exists(path(u"home/ext4util"_s)));
}

QTEST_GUILESS_MAIN(AuthorizeTest)
#include "tst_authorize.moc"
