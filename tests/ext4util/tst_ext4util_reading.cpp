#include "cardimage.h"

#include <csignal>
#include <QFileInfo>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// "name size" of each line, and that each line is one of three words.
QStringList entriesOf(const QByteArray &output)
{
    QStringList entries;
    for (const QByteArray &line : output.split('\n')) {
        const QList<QByteArray> words = line.split(' ');
        if (words.size() == 3 && words[0].toULongLong() > 0)
            entries.append(QString::fromUtf8(words[1] + ' ' + words[2]));
        else if (!line.isEmpty())
            entries.append(QStringLiteral("not an entry: ") + QString::fromUtf8(line));
    }
    entries.sort();
    return entries;
}

bool hasOnlyShortMessages(const QByteArray &messages)
{
    for (const QByteArray &line : messages.split('\n')) {
        if (!line.isEmpty() && (!line.startsWith("ext4util:") || line.simplified().count(' ') > 1))
            return false;
    }
    return true;
}

} // namespace

class Ext4utilReadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesEveryByte_whateverTheFormat_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<qint64>("offset");
        const auto o = [](const char *text) { return QString::fromLatin1(text).split(u' '); };
        QTest::newRow("as cards have it") << o("-b 4096") << 104857600LL;
        QTest::newRow("1k blocks") << o("-b 1024") << 512LL;
        QTest::newRow("no checksums") << o("-b 4096 -O ^metadata_csum,^64bit") << 0LL;
        QTest::newRow("old block maps") << o("-b 1024 -O ^extents,^64bit") << 0LL;
        QTest::newRow("ext2") << o("-b 2048 -O none,sparse_super") << 0LL;
        QTest::newRow("small files in the inode") << o("-b 4096 -O inline_data -I 256") << 0LL;
        QTest::newRow("clusters") << o("-b 4096 -O bigalloc") << 0LL;
        QTest::newRow("128-byte inodes") << o("-b 4096 -I 128") << 0LL;
        QTest::newRow("orphan file, fast commits, casefold")
            << o("-b 4096 -O orphan_file,fast_commit,casefold") << 0LL;
    }
    void givesEveryByte_whateverTheFormat()
    {
        QFETCH(const QStringList, options);
        QFETCH(const qint64, offset);
        const QByteArray sparse = noise(5000, 1) + QByteArray(1'000'000, '\0') + noise(5000, 2);
        const QMap<QString, QByteArray> files{{QStringLiteral("mov/empty"), {}},
                                              {QStringLiteral("mov/byte"), "x"},
                                              {QStringLiteral("mov/inode"), noise(100, 3)},
                                              {QStringLiteral("mov/block"), noise(4096, 4)},
                                              {QStringLiteral("mov/long.mp4"), noise(3'000'001, 5)},
                                              {QStringLiteral("mov/sparse"), sparse}};
        CardImage card(files, {options, 12, offset});
        QVERIFY(card.isValid());
        card.debugfs({QStringLiteral("sif mov/sparse mtime @1700000000")});
        QStringList expected;
        for (auto file = files.begin(); file != files.end(); ++file) {
            expected.append(file.key().mid(4) + u' ' + QString::number(file.value().size()));
            const ProgramResult result = card.read(u'/' + file.key());
            QCOMPARE(result.messages, QByteArray());
            QCOMPARE(result.exitCode, 0);
            QVERIFY2(fileContent(card.target()) == file.value(), qPrintable(file.key()));
        }
        struct stat status;
        QCOMPARE(stat(qPrintable(card.target()), &status), 0);
        QVERIFY2(status.st_blocks < 200, "the holes of the last file are filled");
        QCOMPARE(status.st_mode & 0777U, 0600U);
        QCOMPARE(status.st_mtime, 1700000000);
        expected.sort();
        const ProgramResult listed = card.list(QStringLiteral("//mov/./"));
        QCOMPARE(entriesOf(listed.output), expected);
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(card.besideNames(), QStringList({QStringLiteral("card.img"), QStringLiteral("target")}));
    }

    void listsAFolderInTheOrderOfHashes()
    {
        QMap<QString, QByteArray> files;
        QStringList expected;
        for (int i = 0; i < 2000; ++i) {
            files.insert(QStringLiteral("mov/N_%1.mp4").arg(i), QByteArray(i % 7, 'x'));
            expected.append(QStringLiteral("N_%1.mp4 %2").arg(i).arg(i % 7));
        }
        expected.sort();
        CardImage card(files, {{QStringLiteral("-b1024")}, 12});
        QVERIFY(runProgram(QStringLiteral("e2fsck"), {QStringLiteral("-fyD"), card.path()}).exitCode <= 1);
        QVERIFY(card.debugfs({QStringLiteral("htree /mov")}).contains("Root node dump"));
        const ProgramResult listed = card.list(QStringLiteral("mov"));
        QCOMPARE(entriesOf(listed.output), expected);
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(card.read(QStringLiteral("mov/N_1999.mp4")).exitCode, 0);
        QCOMPARE(fileContent(card.target()), QByteArray(1999 % 7, 'x'));
    }

    void leavesOutNamesThatNoLineCanTell()
    {
        CardImage card({{QStringLiteral("mov/영상,1.mp4"), "1"},
                        {QStringLiteral("mov/two words"), "22"},
                        {QStringLiteral("mov/forged\n12 entry.mp4 99"), "333"},
                        {QStringLiteral("mov/tab\t"), "4"},
                        {QStringLiteral("mov/no\u00a0break"), "5"},
                        {QStringLiteral("mov/line\u2028end"), "6"},
                        {QStringLiteral("mov/escape\x1b[2J"), "7"},
                        {QStringLiteral("mov/XY.mp4"), "8"}},
                       {{QStringLiteral("-O"), QStringLiteral("^metadata_csum")}});
        // A byte that is no UTF-8 would cost the reader everything that came with it.
        QFile image(card.path());
        QVERIFY(image.open(QIODevice::ReadOnly));
        const qsizetype place = image.readAll().indexOf("XY.mp4");
        QVERIFY(place > 0);
        card.poke(place, "\xff");
        const ProgramResult listed = card.list(QStringLiteral("mov"));
        QCOMPARE(entriesOf(listed.output), QStringList(QStringLiteral("영상,1.mp4 1")));
        QCOMPARE(listed.exitCode, 5);
        QVERIFY2(listed.messages.contains("ext4util:name-left-out 7\n"), listed.messages.constData());
        QVERIFY(hasOnlyShortMessages(listed.messages));
        QCOMPARE(card.read(QStringLiteral("mov/two words")).exitCode, 0);
        QCOMPARE(fileContent(card.target()), QByteArray("22"));
    }

    void followsLinksWithinTheCard()
    {
        CardImage card({{QStringLiteral("mov/a"), "content"}});
        card.debugfs({QStringLiteral("symlink /short mov/a"), QStringLiteral("symlink /absolute /mov"),
                      QStringLiteral("symlink /mov/up ../absolute/../short"),
                      QStringLiteral("symlink /loop loop"),
                      QStringLiteral("symlink /outside ../../../etc/passwd"),
                      QStringLiteral("symlink /far ") + QString(100, u'/') + QStringLiteral("mov/a")});
        for (const char *path : {"short", "absolute/a", "mov/up", "far"}) {
            QCOMPARE(card.read(QString::fromLatin1(path)).exitCode, 0);
            QCOMPARE(fileContent(card.target()), QByteArray("content"));
        }
        QCOMPARE(card.read(QStringLiteral("loop")).exitCode, 4);
        QCOMPARE(card.read(QStringLiteral("outside")).exitCode, 4);
    }

    void saysWhyThereIsNoResult_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        const auto row = [](const char *name, const char *arguments, int exitCode) {
            QTest::newRow(name) << QString::fromLatin1(arguments).split(u' ') << exitCode;
        };
        row("no command", "", 1);
        row("too few operands", "ls CARD 0", 1);
        row("too many operands", "ls CARD 0 / more", 1);
        row("hexadecimal offset", "ls CARD 0x0 /", 1);
        row("negative offset", "ls CARD -1 /", 1);
        row("offset beyond 64 bits", "ls CARD 99999999999999999999 /", 1);
        row("upwards path", "ls CARD 0 mov/../..", 1);
        row("reading the root", "read CARD 0 / FOLDER/target", 1);
        row("no such device", "ls FOLDER/none 0 /", 2);
        row("device is a folder", "ls FOLDER 0 /", 2);
        row("device is a terminal's kind", "ls /dev/null 0 /", 2);
        row("no file system there", "ls CARD 4096 /", 3);
        row("offset beyond the end", "ls CARD 99999999999 /", 3);
        row("no such path", "ls CARD 0 none", 4);
        row("file as a folder", "ls CARD 0 mov/a", 4);
        row("file within a file", "read CARD 0 mov/a/b FOLDER/target", 4);
        row("folder as a file", "read CARD 0 mov FOLDER/target", 4);
        row("no such target folder", "read CARD 0 mov/a FOLDER/none/target", 7);
        row("target is a folder", "read CARD 0 mov/a FOLDER", 7);
        row("target names a folder", "read CARD 0 mov/a FOLDER/", 7);
        row("target is the card", "read CARD 0 mov/a CARD", 7);
        row("target is the card by another name", "read CARD 0 mov/a FOLDER/card's", 7);
        row("target is what the card's link leads to", "read FOLDER/link 0 mov/a CARD", 7);
        row("no such device to read", "read FOLDER/none 0 mov/a FOLDER/target", 2);
        row("no file system to read", "read CARD 4096 mov/a FOLDER/target", 3);
    }
    void saysWhyThereIsNoResult()
    {
        QFETCH(QStringList, arguments);
        CardImage card({{QStringLiteral("mov/a"), "content"}});
        writeFile(card.target(), "of an earlier run");
        QCOMPARE(link(qPrintable(card.path()), qPrintable(card.beside(QStringLiteral("card's")))), 0);
        QVERIFY(QFile::link(card.path(), card.beside(QStringLiteral("link"))));
        const QByteArray image = fileContent(card.path());
        arguments.replaceInStrings(QStringLiteral("CARD"), card.path());
        arguments.replaceInStrings(QStringLiteral("FOLDER"), card.beside({}));
        const ProgramResult result = ext4util(arguments);
        QTEST(result.exitCode, "exitCode");
        QCOMPARE(result.output, QByteArray());
        QVERIFY2(hasOnlyShortMessages(result.messages) && !result.messages.isEmpty(),
                 result.messages.constData());
        QCOMPARE(fileContent(card.target()), QByteArray("of an earlier run"));
        QVERIFY(fileContent(card.path()) == image);
        QCOMPARE(card.besideNames().size(), 4); // nothing half done
    }

    /// A later look at the target's size must not take an older file for this one's success.
    void removesTheOldTargetOnceTheFileIsFound()
    {
        CardImage card({{QStringLiteral("a"), "content"}});
        card.debugfs({QStringLiteral("sif a size 0x4000000000000")});
        writeFile(card.target(), "of an earlier run");
        QCOMPARE(card.read(QStringLiteral("a")).exitCode, 6);
        QCOMPARE(card.besideNames(), QStringList(QStringLiteral("card.img")));
    }

    void neverFollowsALinkAtTheTarget()
    {
        CardImage card({{QStringLiteral("a"), "content"}});
        writeFile(card.beside(QStringLiteral("precious")), "precious");
        QVERIFY(QFile::link(card.beside(QStringLiteral("precious")), card.target()));
        QCOMPARE(card.read(QStringLiteral("a")).exitCode, 7);
        QCOMPARE(fileContent(card.beside(QStringLiteral("precious"))), QByteArray("precious"));
    }

    void leavesNothingWhenTheTargetHasNoRoom()
    {
        CardImage card({{QStringLiteral("a"), noise(100'000, 1)}});
        const ProgramResult result =
            runProgram(QStringLiteral("prlimit"),
                       {QStringLiteral("--fsize=50000"), ext4utilPath(), QStringLiteral("read"), card.path(),
                        QStringLiteral("0"), QStringLiteral("a"), card.target()});
        QCOMPARE(result.exitCode, 7);
        QCOMPARE(card.besideNames(), QStringList(QStringLiteral("card.img")));
    }

    void reportsAListingThatNobodyTakes()
    {
        CardImage card({{QStringLiteral("a"), "1"}});
        const QString command =
            QStringLiteral("'%1' ls '%2' 0 / >/dev/full").arg(ext4utilPath(), card.path());
        QCOMPARE(runProgram(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command}).exitCode, 7);
    }
};

QTEST_GUILESS_MAIN(Ext4utilReadingTest)
#include "tst_ext4util_reading.moc"
