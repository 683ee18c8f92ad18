#include "cardimage.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>

namespace {

constexpr int blockSize = 1024;
const QByteArray content = noise(200 * blockSize + 100, 1);
const QString recording = QStringLiteral("mov/N_1.mp4");

enum class Outcome {
    Exact, ///< exit 0 and every byte
    Doubtful, ///< every byte, and an exit that says that something is wrong
    None, ///< no target, exit for damage
};

QStringList options(const char *text) { return QString::fromLatin1(text).split(u' '); }

} // namespace

Q_DECLARE_METATYPE(Outcome)

class Ext4utilDamageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesTheWholeFileOrNone_data()
    {
        QTest::addColumn<QStringList>("format");
        QTest::addColumn<QStringList>("commands"); // of debugfs
        QTest::addColumn<Outcome>("outcome");
        const QStringList plain = options("-b1024 -O ^metadata_csum,^64bit");
        const QStringList checked = options("-b1024 -O metadata_csum");
        const QStringList pointers = options("-b1024 -O ^extents,^metadata_csum,^64bit");
        const auto set = [](const char *text) {
            return QStringList(QStringLiteral("sif /mov/N_1.mp4 ") + QString::fromLatin1(text));
        };
        QTest::newRow("sound") << plain << QStringList{} << Outcome::Exact;
        // The first words of the tree: mark 0xf30a with 1 entry, 4 places, depth 0; then the first extent.
        QTest::newRow("tree without its mark") << plain << set("block[0] 0x10000") << Outcome::None;
        QTest::newRow("tree of no entries") << plain << set("block[0] 0xf30a") << Outcome::None;
        QTest::newRow("tree of more entries than fit") << plain << set("block[0] 0x9f30a") << Outcome::None;
        QTest::newRow("tree deeper than it is") << plain << set("block[1] 0x10004") << Outcome::None;
        QTest::newRow("tree of impossible depth") << plain << set("block[1] 0xffff0004") << Outcome::None;
        QTest::newRow("extent of no blocks") << plain << set("block[4] 0") << Outcome::None;
        QTest::newRow("extent shorter than the count") << plain << set("block[4] 100") << Outcome::None;
        QTest::newRow("extent that was never written") << plain << set("block[4] 0x8001") << Outcome::None;
        QTest::newRow("extent beyond the end") << plain << set("block[5] 0x7fffffff") << Outcome::None;
        QTest::newRow("extent over the inode table") << plain << set("block[5] 60") << Outcome::None;
        QTest::newRow("extent at block 0") << plain << set("block[5] 0") << Outcome::None;
        QTest::newRow("size of 2^60") << plain << set("size 0x1000000000000000") << Outcome::None;
        QTest::newRow("size of 2^62, vouched for")
            << checked << set("size 0x4000000000000000") << Outcome::None;
        QTest::newRow("size beyond the card") << plain << set("size 0x4000000000") << Outcome::None;
        QTest::newRow("wrong count of blocks alone") << plain << set("blocks 2") << Outcome::Doubtful;
        QTest::newRow("removed, but still named") << plain << set("links_count 0") << Outcome::None;
        QTest::newRow("wrong checksum alone") << checked << set("checksum 0x12345678") << Outcome::Doubtful;
        QTest::newRow("encrypted") << plain << set("flags 0x80800") << Outcome::None;
        QTest::newRow("pointer beyond the end") << pointers << set("block[IND] 0x7fffffff") << Outcome::None;
        QTest::newRow("pointer block missing") << pointers << set("block[IND] 0") << Outcome::None;
        QTest::newRow("direct block missing") << pointers << set("block[3] 0") << Outcome::None;
        QTest::newRow("direct block beyond the end")
            << pointers << set("block[3] 0x7fffffff") << Outcome::None;
        QTest::newRow("folder of no links")
            << plain << QStringList(QStringLiteral("sif /mov links_count 0")) << Outcome::None;
        QTest::newRow("folder's tree without its mark")
            << plain << QStringList(QStringLiteral("sif /mov block[0] 0")) << Outcome::None;
        QTest::newRow("folder's wrong checksum")
            << checked << QStringList(QStringLiteral("sif /mov checksum 1")) << Outcome::Doubtful;
        QTest::newRow("folder of 2^50 bytes")
            << plain << QStringList(QStringLiteral("sif /mov size 0x4000000000000")) << Outcome::Exact;
    }
    void givesTheWholeFileOrNone()
    {
        QFETCH(const QStringList, format);
        QFETCH(const QStringList, commands);
        QFETCH(const Outcome, outcome);
        CardImage card({{recording, content}}, {format});
        QVERIFY(card.isValid());
        card.debugfs(commands);
        const ProgramResult result = card.read(recording);
        if (outcome == Outcome::None) {
            QCOMPARE(result.exitCode, 6);
            QCOMPARE(card.besideNames(), QStringList(QStringLiteral("card.img")));
            return;
        }
        QCOMPARE(result.exitCode, outcome == Outcome::Exact ? 0 : 5);
        QVERIFY(fileContent(card.target()) == content);
    }

    void refusesATreeThatLeadsBackIntoItself_data()
    {
        QTest::addColumn<QByteArray>(
            "node"); // put over the node of the tree that stands in a block of its own
        const auto node = [](const char *header, const QByteArray &entries) {
            return QByteArray::fromHex(header) + entries;
        };
        QTest::newRow("depth that doesn't fit") << node("0af3010054000100", {}); // claims to be an index
        QTest::newRow("no mark") << node("00000100", {});
        QTest::newRow("more places than the block has") << node("0af30100ff0f0000", {});
        QTest::newRow("no entries, as an index") << node("0af3000054000100", {});
    }
    void refusesATreeThatLeadsBackIntoItself()
    {
        QFETCH(const QByteArray, node);
        CardImage card({{recording, content}}, {options("-b1024 -O ^metadata_csum,^64bit")});
        // Five extents don't fit into the inode: a hole each between them.
        QStringList commands;
        for (int hole = 10; hole < 60; hole += 10)
            commands.append(QStringLiteral("punch /mov/N_1.mp4 %1 %1").arg(hole));
        card.debugfs(commands);
        QCOMPARE(card.read(recording).exitCode, 0);
        const QByteArray inode = card.debugfs({QStringLiteral("stat /mov/N_1.mp4")});
        const qsizetype mark = inode.indexOf("(ETB0):");
        QVERIFY2(mark > 0, inode.constData());
        const qint64 block =
            inode.mid(mark + 7).split(',').first().split('\n').first().trimmed().toLongLong();
        card.poke(block * blockSize, node);
        QCOMPARE(card.read(recording).exitCode, 6);
        QCOMPARE(card.besideNames(), QStringList(QStringLiteral("card.img")));
    }

    void usesTheCopyOfALostSuperblock_data()
    {
        QTest::addColumn<QStringList>("format");
        QTest::addColumn<int>("sizeMiB");
        QTest::addColumn<int>("lostBytes");
        QTest::newRow("1k blocks") << options("-b1024") << 24 << 1024;
        QTest::newRow("4k blocks, and the descriptors") << options("-b4096") << 200 << 7168;
    }
    void usesTheCopyOfALostSuperblock()
    {
        QFETCH(const QStringList, format);
        QFETCH(const int, sizeMiB);
        QFETCH(const int, lostBytes);
        CardImage card({{recording, content}}, {format, sizeMiB});
        card.poke(1024, QByteArray(lostBytes, '\0'));
        const ProgramResult result = card.read(recording);
        QCOMPARE(result.messages, QByteArray("ext4util:superblock-copy-used\n"));
        QCOMPARE(result.exitCode, 0);
        QVERIFY(fileContent(card.target()) == content);
    }

    void putsZerosForWhatCantBeRead_data()
    {
        QTest::addColumn<int>("firstLost"); // blocks of the file
        QTest::addColumn<int>("endOfLost");
        QTest::newRow("one bad sector") << 77 << 78;
        QTest::newRow("image cut off") << 50 << 201;
    }
    void putsZerosForWhatCantBeRead()
    {
        QFETCH(const int, firstLost);
        QFETCH(const int, endOfLost);
        CardImage card({{recording, content}}, {options("-b1024")});
        const qint64 place = static_cast<qint64>(card.blockOf(u'/' + recording, firstLost)) * blockSize;
        QVERIFY(place > 0);
        QStringList environment;
        if (endOfLost > 200)
            QVERIFY(QFile::resize(card.path(), place + 10));
        else
            environment = {QStringLiteral("LD_PRELOAD=" BADSECTOR_MODULE),
                           QStringLiteral("ASAN_OPTIONS=verify_asan_link_order=0"),
                           QStringLiteral("BADSECTOR=%1").arg(place + 500)};
        const ProgramResult result = card.read(recording, environment);
        const qsizetype lostBytes =
            qMin<qsizetype>(endOfLost * blockSize, content.size()) - firstLost * blockSize;
        QByteArray expected = content;
        expected.replace(firstLost * blockSize, lostBytes, QByteArray(lostBytes, '\0'));
        QCOMPARE(result.exitCode, 5);
        QVERIFY2(result.messages.startsWith("ext4util:blocks-unreadable"), result.messages.constData());
        QCOMPARE(fileContent(card.target()).size(), expected.size());
        QVERIFY(fileContent(card.target()) == expected);
    }

    void listsWhatStandsAroundTheDamage()
    {
        QMap<QString, QByteArray> files;
        for (int i = 100; i < 300; ++i)
            files.insert(QStringLiteral("mov/N_%1_with_a_long_name.mp4").arg(i), "x");
        for (const char *format : {"-b1024 -O metadata_csum", "-b1024 -O ^metadata_csum,^64bit"}) {
            CardImage card(files, {options(format)});
            const qint64 second = static_cast<qint64>(card.blockOf(QStringLiteral("/mov"), 1)) * blockSize;
            card.poke(second, QByteArray(blockSize, '\xff'));
            const ProgramResult listed = card.list(QStringLiteral("mov"));
            QCOMPARE(listed.exitCode, 5);
            QVERIFY(listed.messages.contains("ext4util:folder-damaged"));
            const qsizetype count = listed.output.count('\n');
            QVERIFY2(count > 150 && count < 200, QByteArray::number(count));
            QCOMPARE(listed.output.count("_with_a_long_name.mp4 1\n"), count);
            // A name that isn't found may stand in the lost part: another answer than for one that isn't
            // there.
            QCOMPARE(card.read(QStringLiteral("mov/none")).exitCode, 6);
        }
    }

    void removesWhatWasBegunWhenItIsEnded()
    {
        CardImage card({{recording, content}}, {options("-b1024")});
        const qint64 place = static_cast<qint64>(card.blockOf(u'/' + recording, 0)) * blockSize;
        QProcess process;
        process.setEnvironment(QProcess::systemEnvironment()
                               + QStringList{QStringLiteral("LD_PRELOAD=" BADSECTOR_MODULE),
                                             QStringLiteral("ASAN_OPTIONS=verify_asan_link_order=0"),
                                             QStringLiteral("BADSECTOR_HANGS=1"),
                                             QStringLiteral("BADSECTOR=%1").arg(place)});
        process.start(ext4utilPath(),
                      {QStringLiteral("read"), card.path(), QStringLiteral("0"), recording, card.target()});
        QTRY_COMPARE(card.besideNames().size(), 2);
        process.terminate();
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 128 + 15);
        QCOMPARE(card.besideNames(), QStringList(QStringLiteral("card.img")));
    }

    void staysWithinBoundsOnHostileImages_data()
    {
        QTest::addColumn<QStringList>("format");
        QTest::newRow("checksums") << options("-b1024 -O metadata_csum -N 64");
        QTest::newRow("no checksums") << options("-b1024 -O ^metadata_csum,^64bit -N 64");
        QTest::newRow("pointers") << options("-b1024 -O ^extents,^metadata_csum,^64bit -N 64");
        QTest::newRow("inline data") << options("-b1024 -O inline_data,^metadata_csum -I 256 -N 64");
    }
    void staysWithinBoundsOnHostileImages()
    {
        QFETCH(const QStringList, format);
        CardImage card({{recording, content}, {QStringLiteral("mov/small"), noise(60, 2)}}, {format, 3});
        card.debugfs({QStringLiteral("punch /mov/N_1.mp4 10 10"), QStringLiteral("punch /mov/N_1.mp4 20 20"),
                      QStringLiteral("punch /mov/N_1.mp4 30 30"), QStringLiteral("punch /mov/N_1.mp4 40 40"),
                      QStringLiteral("punch /mov/N_1.mp4 50 50")});
        QCOMPARE(card.read(recording).exitCode, 0);
        const QByteArray sound = fileContent(card.target());
        const QByteArray image = fileContent(card.path());
        // Tables, folders and trees stand before the recording's first block or right after its last.
        QList<qint64> places;
        for (qint64 block = 0; block < image.size() / blockSize; ++block) {
            const QByteArray bytes = image.mid(block * blockSize, blockSize);
            if (bytes.count('\0') != blockSize && !content.contains(bytes.left(64)))
                places.append(block * blockSize);
        }
        QVERIFY(places.size() > 5);
        QRandomGenerator generator(7);
        for (int round = 0; round < 60; ++round) {
            QFile::remove(card.target());
            QByteArray damaged = image;
            for (int flips = 1 + static_cast<int>(generator.bounded(12)); flips > 0; --flips) {
                const qint64 at =
                    places[generator.bounded(static_cast<int>(places.size()))] + generator.bounded(blockSize);
                damaged[at] = static_cast<char>(generator.bounded(256));
            }
            writeFile(card.path(), damaged);
            const ProgramResult result = card.read(round % 2 == 0 ? recording : QStringLiteral("mov/small"));
            const ProgramResult listed = card.list(QStringLiteral("mov"));
            QVERIFY2(result.exitCode >= 0 && result.exitCode < 8, qPrintable(QString::number(round)));
            QVERIFY2(listed.exitCode >= 0 && listed.exitCode < 8, qPrintable(QString::number(round)));
            const bool hasTarget = QFileInfo::exists(card.target());
            QCOMPARE(hasTarget, result.exitCode == 0 || result.exitCode == 5);
            QVERIFY2(card.besideNames().size() == (hasTarget ? 2 : 1), "something else was left");
            if (result.exitCode == 0 && round % 2 == 0 && format.contains(QStringLiteral("metadata_csum")))
                QVERIFY2(fileContent(card.target()) == sound, qPrintable(QString::number(round)));
        }
    }
};

QTEST_GUILESS_MAIN(Ext4utilDamageTest)
#include "tst_ext4util_damage.moc"
