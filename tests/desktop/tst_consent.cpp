#include "desktop/pkexecconsent.h"

#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// The administrator's part is played by a "pkexec" that comes first in PATH: it notes what it was asked, and
/// obeys or refuses.
class ConsentTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup() { qputenv("PATH", m_path); }
    void asksForTheTwoCommandsFromAnUnpackedBuild();
    void asksForTheHelperWhenInstalled();
    void tellsWhyNothingWasChanged_data();
    void tellsWhyNothingWasChanged();
    void missesPkexec();
    void rootAsksNobody();
    void rootChangesNoLink();

private:
    [[nodiscard]] QString path(const QString &name) const { return m_folder->filePath(name); }
    [[nodiscard]] QStringList asked() const
    {
        QFile record(path(u"asked"_s));
        return record.open(QIODevice::ReadOnly) ? QString::fromUtf8(record.readAll()).split(u'\n')
                                                : QStringList();
    }
    static void write(const QString &file, const QByteArray &text)
    {
        QFile out(file);
        if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size()
            || ::fchmod(out.handle(), 0755) != 0)
            qFatal("can't write a test file");
    }
    // Gives an answer; checks that the caller gets its thread back meanwhile.
    static QString ask(PkexecConsent &consent, const QString &tool)
    {
        QCoro::Task<QString> task = consent.makeSetUserIdRoot(tool);
        if (task.isReady())
            qFatal("the main thread was blocked while the administrator was asked");
        return QCoro::waitFor(std::move(task));
    }
    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_path;
    QString m_tool;
};

void ConsentTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_path = qgetenv("PATH");
    qputenv("PATH", m_folder->path().toUtf8() + ':' + m_path);
    qputenv("VORNEX_TEST_FOLDER", m_folder->path().toUtf8());
    QVERIFY(QDir().mkpath(path(u"it's; data"_s))); // must go through as one argument
    m_tool = path(u"it's; data/ext4util"_s);
    write(m_tool, "#!/bin/sh\n");
    write(path(u"pkexec"_s),
          "#!/bin/sh\n"
          "cat > /dev/null\n" // hangs unless standard input is at its end
          "printf '%s\\n' \"$@\" > \"$VORNEX_TEST_FOLDER/asked\"\n"
          "if [ -n \"$VORNEX_TEST_STATUS\" ]; then echo 'Request  dismissed' >&2; exit $VORNEX_TEST_STATUS; "
          "fi\n"
          "shift\n"
          "PKEXEC_UID=65534 exec \"$@\"\n");
    qunsetenv("VORNEX_TEST_STATUS");
}

void ConsentTest::asksForTheTwoCommandsFromAnUnpackedBuild()
{
    PkexecConsent consent(false, QString());
    const QString error = ask(consent, m_tool);
    QCOMPARE(asked(),
             (QStringList{u"--disable-internal-agent"_s, u"/bin/sh"_s, u"-c"_s,
                          u"chown root:root \"$1\" && chmod u+s \"$1\""_s, u"sh"_s, m_tool, QString()}));
    if (::geteuid() != 0)
        QSKIP("only root can play the administrator");
    QCOMPARE(error, QString());
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(m_tool).constData(), &status), 0);
    QCOMPARE(status.st_uid, 0u);
    QCOMPARE(status.st_mode & 07777u, 04755u);
}

void ConsentTest::asksForTheHelperWhenInstalled()
{
    // The user's folder is reached through a link, which the helper wouldn't follow.
    QVERIFY(QFile::link(path(u"it's; data"_s), path(u"home"_s)));
    PkexecConsent consent(false, u"/bin/true"_s);
    QCOMPARE(ask(consent, path(u"home/ext4util"_s)), QString());
    QCOMPARE(asked(),
             (QStringList{u"--disable-internal-agent"_s, u"/bin/true"_s,
                          QFileInfo(path(u"it's; data"_s)).canonicalFilePath(), QString()}));
}

void ConsentTest::tellsWhyNothingWasChanged_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("start");
    QTest::newRow("dialog dismissed")
        << "126"_ba << u"the administrator's consent was refused: Request dismissed"_s;
    QTest::newRow("no agent") << "127"_ba << u"the administrator can't be asked, or didn't authorise it"_s;
    QTest::newRow("command failed") << "1"_ba << u"the command ended with status 1: Request dismissed"_s;
}

void ConsentTest::tellsWhyNothingWasChanged()
{
    QFETCH(const QByteArray, status);
    QFETCH(const QString, start);
    qputenv("VORNEX_TEST_STATUS", status);
    PkexecConsent consent(false, QString());
    const QString error = ask(consent, m_tool);
    QVERIFY2(error.startsWith(start), qPrintable(error));
}

void ConsentTest::missesPkexec()
{
    qputenv("PATH", path(u"it's; data"_s).toUtf8());
    PkexecConsent consent(false, QString());
    QVERIFY(QCoro::waitFor(consent.makeSetUserIdRoot(m_tool)).contains(u"pkexec is not installed"));
    write(path(u"it's; data/pkexec"_s), "#!/no/such/interpreter\n");
    QVERIFY(QCoro::waitFor(consent.makeSetUserIdRoot(m_tool)).startsWith(u"pkexec can't be started"));
}

void ConsentTest::rootAsksNobody()
{
    if (::geteuid() != 0)
        QSKIP("needs root");
    QCOMPARE(::chown(QFile::encodeName(m_tool).constData(), 65534, 65534), 0);
    PkexecConsent consent(true, u"/bin/false"_s);
    QCOMPARE(QCoro::waitFor(consent.makeSetUserIdRoot(m_tool)), QString());
    QVERIFY(asked().isEmpty());
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(m_tool).constData(), &status), 0);
    QCOMPARE(status.st_uid, 0u);
    QCOMPARE(status.st_gid, 0u);
    QCOMPARE(status.st_mode & 07777u, 04755u);
}

void ConsentTest::rootChangesNoLink()
{
    const QString link = path(u"planted"_s);
    QVERIFY(QFile::link(m_tool, link));
    QVERIFY(!setUserIdRoot(link).isEmpty());
    QVERIFY(!setUserIdRoot(path(u"missing"_s)).isEmpty());
    QVERIFY(!setUserIdRoot(m_folder->path()).isEmpty());
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(m_tool).constData(), &status), 0);
    QCOMPARE(status.st_mode & 04000u, 0u);
}

QTEST_GUILESS_MAIN(ConsentTest)
#include "tst_consent.moc"
