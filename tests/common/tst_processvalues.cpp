#include "common/processvalues.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

using processvalues::makeTempRoot;

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

class ProcessValuesTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString m_shared;
    QString m_sharedPlace; ///< the one that is tried first

private Q_SLOTS:
    void init()
    {
        m_shared = m_folder.filePath(QString::fromLatin1(QTest::currentTestFunction()));
        m_sharedPlace = m_shared + QStringLiteral("/App-%1").arg(::geteuid());
        QVERIFY(QDir().mkpath(m_shared));
    }

    void makesAPrivateFolderInTheCache()
    {
        const QString cache = m_shared + QStringLiteral("/not/there/yet");
        const QString root = makeTempRoot(cache, m_shared, QStringLiteral("App"));
        QCOMPARE(root, cache + QStringLiteral("/App/"));
        QCOMPARE(modeOf(root), 0700);
        QVERIFY(::chmod(QFile::encodeName(root).constData(), 0777) == 0);
        QCOMPARE(makeTempRoot(cache, m_shared, QStringLiteral("App")), root); // taken again, and shut again
        QCOMPARE(modeOf(root), 0700);
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
        const QString root = makeTempRoot(cache, m_shared, name);
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
        const QString root = makeTempRoot(QString(), m_shared, QStringLiteral("App"));
        QVERIFY2(root.startsWith(m_sharedPlace + u'-'), qPrintable(root));
        QVERIFY(root.endsWith(u'/'));
        QCOMPARE(modeOf(root), 0700);
    }

    void neverNamesTheCurrentFolder()
    {
        const QString root = makeTempRoot(QString(), QStringLiteral("/nowhere"), QStringLiteral("App"));
        QVERIFY(QFileInfo(root).isAbsolute());
        QVERIFY(!QDir().mkpath(root));
    }
};

QTEST_GUILESS_MAIN(ProcessValuesTest)
#include "tst_processvalues.moc"
