#include "samplefiles.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QStringList smallCard{u"--size"_s,    u"116M"_s,   u"--seconds"_s, u"2"_s,
                            u"--picture"_s, u"160x90"_s, u"--fps"_s,     u"10"_s};

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// One card with seven recordings: whole ones, one cut off by the power and two with damaged parameter sets.
class SampleCardTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        m_card = m_folder.filePath(u"card.img"_s);
        const ToolResult made =
            makeCard(m_card, {u"--count"_s, u"7"_s, u"--unfinished"_s, u"1"_s, u"--damaged-sets"_s, u"2"_s});
        QVERIFY2(made.exitCode == 0, made.messages.constData());
        QVERIFY(QDir(m_folder.path()).mkdir(u"extracted"_s));
        const ToolResult read =
            runTool(u"debugfs"_s, {u"-R"_s, u"rdump / "_s + extracted({}), m_card + u"?offset=104857600"_s});
        QVERIFY2(QDir(extracted(u"mov"_s)).exists(), read.messages.constData());
    }

    void ext4SideIsSoundAndHoldsTheCamerasFolders()
    {
        const ToolResult checked = runTool(u"e2fsck"_s, {u"-fn"_s, m_card + u"?offset=104857600"_s});
        QVERIFY2(checked.exitCode == 0, checked.output.constData());

        QCOMPARE(list(u"cfg"_s), (QStringList{u"cfg/bbox.cfg"_s, u"cfg/bbox.ini"_s, u"cfg/cfg_backup"_s}));
        const QByteArray ini = read(u"cfg/bbox.ini"_s);
        for (const char *line :
             {"\nch1_resol=2\n", "\nch2_resol=1\n", "\nch4_resol=1\n", "\nch5_resol=1\n", "\nuse_ldws=1\n"})
            QVERIFY2(ini.contains(line), line);
        QVERIFY(read(u"cfg/bbox.cfg"_s).startsWith("[bbox]\n"));

        QStringList indexed;
        for (const QString &path : list(u"mov"_s))
            if (path.startsWith(u"mov/flist"_s))
                indexed += QString::fromLatin1(read(path)).split(u'\n', Qt::SkipEmptyParts);
        QStringList names;
        for (const QString &recording : recordings())
            names.append(recording.section(u'/', 2));
        indexed.sort();
        names.sort();
        QCOMPARE(indexed, names);
    }

    void namesTellTheKindAndEveryFolderIsServed()
    {
        const QHash<QString, QString> kinds{{u"normal"_s, u"N"_s},
                                            {u"event"_s, u"E"_s},
                                            {u"park"_s, u"P"_s},
                                            {u"manual"_s, u"M"_s},
                                            {u"saved"_s, u"NE"_s}};
        static const QRegularExpression form(
            u"^mov/(normal|event|park|manual|saved)/([NEPM])_(\\d{8})_(\\d{6})\\.(mp4|mov)$"_s);
        QSet<QString> folders;
        QSet<QString> days;
        QSet<QString> times;
        for (const QString &recording : recordings()) {
            const QRegularExpressionMatch match = form.match(recording);
            QVERIFY2(match.hasMatch(), qPrintable(recording));
            QVERIFY(kinds[match.captured(1)].contains(match.captured(2)));
            folders.insert(match.captured(1));
            days.insert(match.captured(3));
            times.insert(match.captured(3) + match.captured(4));
        }
        QCOMPARE(folders.size(), 5);
        QCOMPARE(days.size(), 3);
        QCOMPARE(times.size(), 7);
    }

    void recordingsHaveTheirChannelsAndTheTimeOfTheirName()
    {
        QSet<qsizetype> channelCounts;
        for (const QString &recording : recordings()) {
            const QByteArray bytes = read(recording);
            const QByteArray channels = blocksOf(bytes, "DAT").value(0);
            channelCounts.insert(channels.count(':'));
            const QString name = recording.section(u'/', 2);
            const QDateTime local = QDateTime::fromString(name.mid(2, 15), u"yyyyMMdd_HHmmss"_s);
            const QDateTime start(local.date(), local.time(), Qt::OffsetFromUTC, 9 * 3600);
            const Fix first = readSentence(blocksOf(bytes, "GPS").value(0));
            QCOMPARE(first.time, start.toUTC().toString(u"ddMMyyHHmmss"_s).toLatin1());
        }
        QCOMPARE(channelCounts, (QSet<qsizetype>{1, 2, 4, 5}));
    }

    void endingsAreAsAskedFor()
    {
        static const QRegularExpression outOfRange(u"(sps_id|pps_id) \\d+ out of range"_s);
        int unfinished = 0;
        int damaged = 0;
        for (const QString &recording : recordings()) {
            const ToolResult copied =
                runTool(u"ffmpeg"_s,
                        {u"-v"_s, u"warning"_s, u"-y"_s, u"-i"_s, extracted(recording), u"-map"_s, u"0"_s,
                         u"-c"_s, u"copy"_s, u"-f"_s, u"mp4"_s, m_folder.filePath(u"copy.mp4"_s)});
            if (recording.endsWith(u".mov"_s)) {
                ++unfinished;
                QVERIFY(copied.exitCode != 0);
                QVERIFY(!read(recording).contains("moov"));
                QVERIFY(blocksOf(read(recording), "SHO").size() >= 19);
            } else if (copied.messages.contains("out of range")) {
                ++damaged;
                QSet<QString> kinds;
                for (auto found = outOfRange.globalMatch(QString::fromUtf8(copied.messages));
                     found.hasNext();)
                    kinds.insert(found.next().captured(1));
                QCOMPARE(kinds, (QSet<QString>{u"sps_id"_s, u"pps_id"_s}));
                QCOMPARE(copied.exitCode, 0);
            } else {
                QCOMPARE(copied.messages, QByteArray());
            }
        }
        QCOMPARE(unfinished, 1);
        QCOMPARE(damaged, 2);
    }

    void fatVolumeStandsInFrontInBothForms_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<QByteArray>("label");
        QTest::newRow("whole front, no name") << QStringList() << qint64{0} << QByteArray("has no label");
        QTest::newRow("partition, named") << QStringList{u"--partitioned"_s, u"--label"_s, u"DASHCAM"_s}
                                          << qint64{1 << 20} << QByteArray("is DASHCAM");
    }
    void fatVolumeStandsInFrontInBothForms()
    {
        QFETCH(const QStringList, options);
        QFETCH(const qint64, offset);
        QFETCH(const QByteArray, label);
        const QString card = m_folder.filePath(u"fat.img"_s);
        QCOMPARE(makeCard(card, QStringList{u"--count"_s, u"0"_s} + options).exitCode, 0);
        const ToolResult listed = runTool(u"mdir"_s, {u"-i"_s, u"%1@@%2"_s.arg(card).arg(offset), u"::"_s});
        QVERIFY2(listed.exitCode == 0, listed.messages.constData());
        QVERIFY2(listed.output.contains(label), listed.output.constData());
        const QByteArray table = runTool(u"sfdisk"_s, {u"-d"_s, card}).output;
        QCOMPARE(table.contains("start=        2048, size=      202752, type=6"), offset > 0);
        QCOMPARE(runTool(u"e2fsck"_s, {u"-fn"_s, card + u"?offset=104857600"_s}).exitCode, 0);
    }

    void sameSeedGivesTheSameBytes()
    {
        const QStringList options{u"--count"_s, u"2"_s, u"--unfinished"_s, u"1"_s};
        const auto bytesOf = [&](const QString &name, const QString &seed) {
            const QString card = m_folder.filePath(name);
            return makeCard(card, options + QStringList{u"--seed"_s, seed}).exitCode == 0 ? contents(card)
                                                                                          : QByteArray();
        };
        const QByteArray first = bytesOf(u"first.img"_s, u"7"_s);
        QCOMPARE(first.size(), qsizetype{116} << 20);
        QVERIFY(first == bytesOf(u"second.img"_s, u"7"_s));
        QVERIFY(first != bytesOf(u"other.img"_s, u"8"_s));
    }

    void failureLeavesTheOldCardAndNothingElse_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("recordings don't fit")
            << QStringList{u"--size"_s, u"104M"_s,       u"--count"_s, u"2"_s,         u"--seconds"_s,
                           u"5"_s,      u"--channels"_s, u"5"_s,       u"--picture"_s, u"1280x720"_s}
            << 1;
        QTest::newRow("label that FAT can't hold")
            << QStringList{u"--label"_s, u"A name far too long"_s} << 1;
        QTest::newRow("more broken ones than there are")
            << QStringList{u"--count"_s, u"2"_s, u"--damaged-sets"_s, u"3"_s} << 2;
        QTest::newRow("six channels") << QStringList{u"--channels"_s, u"1,6"_s} << 2;
        QTest::newRow("no room for a second side") << QStringList{u"--size"_s, u"100M"_s} << 2;
    }
    void failureLeavesTheOldCardAndNothingElse()
    {
        QFETCH(const QStringList, options);
        QFETCH(const int, exitCode);
        const QTemporaryDir folder;
        const QString card = folder.filePath(u"old.img"_s);
        QFile old(card);
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3);
        old.close();
        const ToolResult made = runTool(u"samplecard"_s, QStringList{card} + smallCard + options);
        QCOMPARE(made.exitCode, exitCode);
        QVERIFY(made.messages.startsWith("samplecard: "));
        QCOMPARE(contents(card), QByteArray("old"));
        QCOMPARE(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{u"old.img"_s});
    }

    void interruptedWorkIsClearedAway()
    {
        const QTemporaryDir folder;
        const auto entries = [&] {
            return QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        };
        QProcess process;
        process.start(QStringLiteral(VORNEX_BIN_DIR "/samplecard"),
                      {u"--recording"_s, folder.filePath(u"long.mp4"_s), u"--seconds"_s, u"3600"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!entries().isEmpty(), 60000);
        process.terminate();
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 1);
        QCOMPARE(entries(), QStringList());
    }

private:
    static ToolResult makeCard(const QString &image, const QStringList &options)
    {
        return runTool(u"samplecard"_s, QStringList{image} + smallCard + options);
    }

    [[nodiscard]] QString extracted(const QString &path) const
    {
        return m_folder.filePath(u"extracted/"_s + path);
    }
    [[nodiscard]] QByteArray read(const QString &path) const { return contents(extracted(path)); }
    /// The files of a folder on the ext4 side, with their whole paths.
    [[nodiscard]] QStringList list(const QString &folder) const
    {
        QStringList paths;
        for (const QString &name : QDir(extracted(folder)).entryList(QDir::Files, QDir::Name))
            paths.append(folder + u'/' + name);
        return paths;
    }
    [[nodiscard]] QStringList recordings() const
    {
        QStringList paths;
        for (const QString &folder : {u"normal"_s, u"event"_s, u"park"_s, u"manual"_s, u"saved"_s})
            paths += list(u"mov/"_s + folder);
        return paths;
    }

    QTemporaryDir m_folder;
    QString m_card;
};

QTEST_GUILESS_MAIN(SampleCardTest)
#include "tst_samplecard.moc"
