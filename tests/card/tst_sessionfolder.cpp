#include "card/sessionfolder.h"
#include "card/trash.h"
#include "common/userfolders.h"
#include "support/privatehome.h"

#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Permission bits of the folder itself, -1 if it is none.
int modeOf(const QString &path)
{
    struct stat status {
    };
    const QByteArray name = QFile::encodeName(path.chopped(1)); // without the "/", which would follow a link
    return ::lstat(name.constData(), &status) == 0 && S_ISDIR(status.st_mode) ? int(status.st_mode & 07777)
                                                                              : -1;
}

} // namespace

class SessionFolderTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString m_shared;
    QString m_sharedPlace; ///< the one that is tried first

    [[nodiscard]] QList<SessionFolder::Place> places(const QString &cache,
                                                     const QString &name = QStringLiteral("App")) const
    {
        return {{cache, name}, {m_shared, QString(name).replace(u' ', u'_') + ownSuffix()}};
    }
    static QString ownSuffix() { return QStringLiteral("-%1").arg(::geteuid()); }

private Q_SLOTS:
    void init()
    {
        m_shared = m_folder.filePath(QString::fromLatin1(QTest::currentTestFunction()));
        m_sharedPlace = m_shared + QStringLiteral("/App-%1").arg(::geteuid());
        QVERIFY(QDir().mkpath(m_shared));
    }

    void givesEachProcessAFolderOfItsOwn()
    {
        const QString cache = m_shared + QStringLiteral("/not/there/yet");
        QString other;
        {
            const SessionFolder first = SessionFolder::take(places(cache));
            QCOMPARE(first.path(), cache + QStringLiteral("/App/"));
            QCOMPARE(modeOf(first.path()), 0700);
            const SessionFolder second = SessionFolder::take(places(cache));
            other = second.path();
            QVERIFY(other.startsWith(cache + QStringLiteral("/App-")));
            QCOMPARE(modeOf(other), 0700);
            writeFile(other + QStringLiteral("mov/normal/N.mp4"), "of a killed program");
            writeFile(first.path() + QStringLiteral("mov/normal/N.mp4"), "x");
            QCOMPARE(SessionFolder::takeAbandoned(places(cache)).size(), size_t(0));
        }
        QVERIFY(::chmod(QFile::encodeName(cache + QStringLiteral("/App")).constData(), 0777) == 0);
        const SessionFolder next = SessionFolder::take(places(cache));
        QCOMPARE(next.path(), cache + QStringLiteral("/App/")); // taken again, and shut again
        QCOMPARE(modeOf(next.path()), 0700);
        Trash trash(next.path());
        trash.remove(SessionFolder::takeAbandoned(places(cache)));
        QCoro::waitFor(trash.emptied());
        QVERIFY(!QFile::exists(other));
        QVERIFY(QFile::exists(next.path() + QStringLiteral("mov/normal/N.mp4")));
    }

    void leavesAFolderThatSomebodyElseFilled_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("recordings of the user's") << QStringLiteral("mov/mine.mp4");
        QTest::newRow("another program's mark") << QStringLiteral("CACHEDIR.TAG");
    }
    void leavesAFolderThatSomebodyElseFilled()
    {
        QFETCH(const QString, file);
        const QString path = m_shared + QStringLiteral("/App/") + file;
        writeFile(path, "mine");
        QVERIFY(SessionFolder::take(places(m_shared)).path().startsWith(m_shared + QStringLiteral("/App-")));
        const std::vector<SessionFolder> abandoned = SessionFolder::takeAbandoned(places(m_shared));
        QCOMPARE(abandoned.size(), size_t(1));
        QVERIFY(abandoned.front().path() != m_shared + QStringLiteral("/App/"));
        QCOMPARE(contentsOf(path), QByteArray("mine"));
        QVERIFY(QDir(m_shared).removeRecursively());
    }

    void ignoresRelativeFoldersInTheEnvironment()
    {
        qputenv("XDG_CACHE_HOME", "cache");
        qputenv("XDG_DATA_HOME", "../data");
        QCOMPARE(userfolders::cache(), QDir::homePath() + QStringLiteral("/.cache"));
        QCOMPARE(userfolders::data(), QDir::homePath() + QStringLiteral("/.local/share"));
        qputenv("XDG_CACHE_HOME", "/cache");
        QCOMPARE(userfolders::cache(), QStringLiteral("/cache"));
    }

    void leavesPathsThatAShellWouldSplit_data()
    {
        QTest::addColumn<QString>("cache");
        QTest::addColumn<QString>("name");
        QTest::newRow("blank") << QStringLiteral("/a b") << QStringLiteral("App");
        QTest::newRow("quote") << QStringLiteral("/o'neill") << QStringLiteral("App");
        QTest::newRow("variable") << QStringLiteral("/$HOME") << QStringLiteral("App");
        QTest::newRow("in the name") << QStringLiteral("/cache") << QStringLiteral("My App");
        QTest::newRow("no cache") << QString() << QStringLiteral("App");
        QTest::newRow("cache can't be made") << QStringLiteral("/dev/null/cache") << QStringLiteral("App");
    }
    void leavesPathsThatAShellWouldSplit()
    {
        QFETCH(QString, cache);
        QFETCH(const QString, name);
        if (!cache.isEmpty() && !cache.startsWith(u"/dev"))
            cache.prepend(m_shared);
        const QString root = SessionFolder::take(places(cache, name)).path();
        const QString plainName = QString(name).replace(u' ', u'_');
        QCOMPARE(root, m_shared + u'/' + plainName + QStringLiteral("-%1/").arg(::geteuid()));
        QCOMPARE(modeOf(root), 0700);
    }

    void takesNoFolderOfSomebodyElse_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::newRow("link to a folder of ours") << QStringLiteral("link");
        QTest::newRow("dangling link") << QStringLiteral("dangling");
        QTest::newRow("file") << QStringLiteral("file");
        QTest::newRow("other owner") << QStringLiteral("owner");
    }
    void takesNoFolderOfSomebodyElse()
    {
        QFETCH(const QString, obstacle);
        QFile::remove(m_sharedPlace);
        if (obstacle == u"link")
            QVERIFY(QFile::link(m_folder.path(), m_sharedPlace));
        if (obstacle == u"dangling")
            QVERIFY(QFile::link(QStringLiteral("/nowhere"), m_sharedPlace));
        if (obstacle == u"file")
            QVERIFY(QFile(m_sharedPlace).open(QIODevice::WriteOnly));
        if (obstacle == u"owner") {
            if (::geteuid() != 0)
                QSKIP("only root can give a folder away");
            QVERIFY(QDir().mkdir(m_sharedPlace));
            QVERIFY(::chown(QFile::encodeName(m_sharedPlace).constData(), 1, 1) == 0);
        }
        const QString root = SessionFolder::take(places(QString())).path();
        QVERIFY2(root.startsWith(m_sharedPlace + u'-'), qPrintable(root));
        QVERIFY(root.endsWith(u'/'));
        QCOMPARE(modeOf(root), 0700);
    }

    void neverNamesTheCurrentFolder()
    {
        const QString root =
            SessionFolder::take({{QStringLiteral("/dev/null"), QStringLiteral("App")}}).path();
        QVERIFY(QFileInfo(root).isAbsolute());
        QVERIFY(!QDir().mkpath(root));
    }
};

QTEST_GUILESS_MAIN(SessionFolderTest)
#include "tst_sessionfolder.moc"
