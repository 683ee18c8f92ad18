#include "cardimage.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTest>
#include <QThread>
#include <unistd.h>

namespace {

constexpr int blockSize = 1024;
const QByteArray oldContent(blockSize, 'o');
const QByteArray newContent(blockSize, 'n');
const QByteArray newerContent(blockSize, 'm');
const QByteArray escapedContent = QByteArray::fromHex("c03b3998") + QByteArray(blockSize - 4, 'e');

QByteArray hashOf(const QString &path)
{
    return QCryptographicHash::hash(fileContent(path), QCryptographicHash::Sha256);
}

} // namespace

/// A block of a file serves as the witness: what a journal writes to it must be seen, as far as a recovery
/// would have written it.
class Ext4utilJournalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsWhatARecoveryWouldWrite_data()
    {
        QTest::addColumn<QStringList>("transactions"); // for debugfs; B is the witness's block
        QTest::addColumn<QByteArray>("expected");
        const QString write = QStringLiteral("jw -b B NEW");
        const QString writeNewer = QStringLiteral("jw -b B NEWER");
        const QString revoke = QStringLiteral("jw -r B");
        QTest::newRow("nothing") << QStringList{} << oldContent;
        QTest::newRow("one") << QStringList{write} << newContent;
        QTest::newRow("last one wins") << QStringList{write, writeNewer} << newerContent;
        QTest::newRow("revoked") << QStringList{write, revoke} << oldContent;
        QTest::newRow("revoked before") << QStringList{revoke, write} << newContent;
        QTest::newRow("revoked between") << QStringList{write, revoke, writeNewer} << newerContent;
        QTest::newRow("without a commit")
            << QStringList{write, QStringLiteral("jw -c -b B NEWER")} << newContent;
        QTest::newRow("begins with the journal's mark")
            << QStringList{QStringLiteral("jw -b B ESCAPED")} << escapedContent;
        QTest::newRow("among other blocks")
            << QStringList{QStringLiteral("jw -b 7000,B,7001 THREE")} << newContent;
    }
    void showsWhatARecoveryWouldWrite()
    {
        QFETCH(QStringList, transactions);
        QFETCH(const QByteArray, expected);
        struct Kind {
            const char *open;
            const char *features;
        };
        for (const Kind kind :
             {Kind{"jo", "^metadata_csum,^64bit"}, Kind{"jo", "^metadata_csum,64bit"},
              Kind{"jo -c -v 2", "metadata_csum,^64bit"}, Kind{"jo -c -v 3", "metadata_csum,64bit"}}) {
            CardImage card({{QStringLiteral("a"), oldContent}},
                           {{QStringLiteral("-b1024"), QStringLiteral("-Jsize=1"), QStringLiteral("-O"),
                             QString::fromLatin1(kind.features)}});
            QVERIFY(card.isValid());
            writeTransactions(card, QString::fromLatin1(kind.open), transactions);
            const QByteArray before = hashOf(card.path());
            const ProgramResult result = card.read(QStringLiteral("a"));
            QCOMPARE(result.messages, QByteArray());
            QCOMPARE(result.exitCode, 0);
            QVERIFY2(fileContent(card.target()) == expected, kind.open);
            QCOMPARE(hashOf(card.path()), before);
            // The judge: what the file system's own checker makes of the same journal.
            QVERIFY(runProgram(QStringLiteral("e2fsck"),
                               {QStringLiteral("-yE"), QStringLiteral("journal_only"), card.path()})
                        .exitCode
                    <= 1);
            QCOMPARE(card.read(QStringLiteral("a")).exitCode, 0);
            QVERIFY2(fileContent(card.target()) == expected, "the expectation itself is wrong");
        }
    }

    void stopsWhereTheJournalIsDamaged_data()
    {
        QTest::addColumn<int>(
            "journalBlock"); // 1: descriptor, 2: content, 3: commit of the first transaction; 4 to 6: second
        QTest::addColumn<int>("position");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("superblock") << 0 << 900 << oldContent;
        QTest::newRow("first descriptor") << 1 << 500 << oldContent;
        QTest::newRow("first content") << 2 << 500 << oldContent;
        QTest::newRow("first commit") << 3 << 500 << oldContent;
        QTest::newRow("second descriptor") << 4 << 500 << newContent;
        QTest::newRow("second content") << 5 << 0 << newContent;
        QTest::newRow("second commit") << 6 << 60 << newContent;
    }
    void stopsWhereTheJournalIsDamaged()
    {
        QFETCH(const int, journalBlock);
        QFETCH(const int, position);
        QFETCH(const QByteArray, expected);
        CardImage card({{QStringLiteral("a"), oldContent}},
                       {{QStringLiteral("-b1024"), QStringLiteral("-Jsize=1")}});
        writeTransactions(card, QStringLiteral("jo -c -v 3"),
                          {QStringLiteral("jw -b B NEW"), QStringLiteral("jw -b B NEWER")});
        const auto place = static_cast<qint64>(card.blockOf(QStringLiteral("<8>"), journalBlock));
        QVERIFY(place > 0);
        card.poke(place * blockSize + position, "damage");
        const ProgramResult result = card.read(QStringLiteral("a"));
        QCOMPARE(result.exitCode, 5);
        QCOMPARE(result.messages, QByteArray("ext4util:journal-checksum\n"));
        QCOMPARE(fileContent(card.target()), expected);
    }

    void leavesAJournalAloneThatIsNotNeeded()
    {
        CardImage card({{QStringLiteral("a"), oldContent}},
                       {{QStringLiteral("-b1024"), QStringLiteral("-Jsize=1")}});
        writeTransactions(card, QStringLiteral("jo -c -v 3"), {QStringLiteral("jw -b B NEW")});
        card.debugfs({QStringLiteral("feature -needs_recovery")});
        QCOMPARE(card.read(QStringLiteral("a")).exitCode, 0);
        QCOMPARE(fileContent(card.target()), oldContent);
    }

    void seesWhatACameraWroteBeforeItLostPower()
    {
        const QString folder = m_folder.filePath(QStringLiteral("mounted"));
        QVERIFY(QDir().mkpath(folder));
        CardImage card({{QStringLiteral("mov/old"), noise(50'000, 1)}}, {{}, 24});
        if (geteuid() != 0
            || runProgram(QStringLiteral("mount"),
                          {QStringLiteral("-o"), QStringLiteral("loop"), card.path(), folder})
                    .exitCode
                != 0)
            QSKIP("image files can't be mounted here");
        auto unmount = qScopeGuard([&] { runProgram(QStringLiteral("umount"), {folder}); });
        for (int i = 0; i < 100; ++i)
            writeFile(folder + QStringLiteral("/mov/%1").arg(i), noise(5000, 100 + i));
        QFile::remove(folder + QStringLiteral("/mov/old"));
        runProgram(QStringLiteral("sync"), {QStringLiteral("-f"), folder});
        const QString cut = card.beside(QStringLiteral("cut.img"));
        QVERIFY(QFile::copy(card.path(), cut));
        unmount.dismiss();
        runProgram(QStringLiteral("umount"), {folder});
        QVERIFY(runProgram(QStringLiteral("dumpe2fs"), {QStringLiteral("-h"), cut})
                    .output.contains("needs_recovery"));

        const ProgramResult listed =
            ext4util({QStringLiteral("ls"), cut, QStringLiteral("0"), QStringLiteral("mov")});
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.output.count('\n'), 100);
        QVERIFY(!listed.output.contains(" old "));
        for (const int i : {0, 57, 99}) {
            QCOMPARE(ext4util({QStringLiteral("read"), cut, QStringLiteral("0"),
                               QStringLiteral("mov/%1").arg(i), card.target()})
                         .exitCode,
                     0);
            QCOMPARE(fileContent(card.target()), noise(5000, 100 + i));
        }
    }

private:
    void writeTransactions(CardImage &card, const QString &open, QStringList transactions)
    {
        const QMap<QString, QByteArray> contents{
            {QStringLiteral("NEW"), newContent},
            {QStringLiteral("NEWER"), newerContent},
            {QStringLiteral("ESCAPED"), escapedContent},
            {QStringLiteral("THREE"), oldContent + newContent + oldContent}};
        const QString block = QString::number(card.blockOf(QStringLiteral("/a"), 0));
        for (QString &transaction : transactions) {
            QStringList words = transaction.split(u' ');
            for (QString &word : words) {
                if (contents.contains(word)) {
                    const QString path = card.beside(word);
                    writeFile(path, contents.value(word));
                    word = path;
                } else if (!word.startsWith(u'-')) {
                    word.replace(u'B', block);
                }
            }
            transaction = words.join(u' ');
        }
        card.debugfs(QStringList{open} + transactions + QStringList{QStringLiteral("jc")});
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(Ext4utilJournalTest)
#include "tst_ext4util_journal.moc"
