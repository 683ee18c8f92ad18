#include "card/toolcommands.h"
#include "card/tooloutput.h"

#include <QTest>

class ToolOutputTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parsesListings_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QStringList>("entries"); // with sizes
        const auto row = [](const char *name, const QString &output, const QStringList &entries) {
            QTest::newRow(name) << output << entries;
        };
        const QStringList ab{QStringLiteral("a,1"), QStringLiteral("b,2")};
        row("nothing", QString(), {});
        row("a recording", QStringLiteral("1234 N_20240309_170559.mov 52428800\n"),
            {QStringLiteral("N_20240309_170559.mov,52428800")});
        row("runs of blanks, CR LF, no last line end", QStringLiteral("  7 \t a  1  \r\n8\u00a0b\u30002"),
            ab);
        row("the folder itself and its parent", QStringLiteral("2 . 0\n2 .. 0\n7 a 1\n8 b 2\n"), ab);
        row("other dots are names", QStringLiteral("7 ... 1\n8 .a 2\n"),
            {QStringLiteral("...,1"), QStringLiteral(".a,2")});
        row("too few words", QStringLiteral("7\n7 a\next4util:not-found\n\n7 a 1\n8 b 2"), ab);
        row("more words than three", QStringLiteral("7 a 1 x y\n8 b 2 z"), ab);
        row("a message of three words", QStringLiteral("cannot open device\n"),
            {QStringLiteral("open,device")});
    }
    void parsesListings()
    {
        QFETCH(const QString, output);
        QFETCH(const QStringList, entries);
        QCOMPARE(tooloutput::parseListing(output, true), entries);
        QStringList names;
        for (const QString &entry : entries)
            names.append(entry.section(u',', 0, 0));
        QCOMPARE(tooloutput::parseListing(output, false), names);
    }

    void readsSizedEntries_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("name");
        QTest::addColumn<quint64>("size");
        const auto row = [](const char *entry, const char *name, quint64 size) {
            QTest::newRow(entry) << QString::fromUtf8(entry) << QString::fromUtf8(name) << size;
        };
        row("a,5", "a", 5);
        row("a,18446744073709551615", "a", std::numeric_limits<quint64>::max());
        row("a,18446744073709551616", "a", 0);
        row("a,-1", "a", 0);
        row("a,12k", "a", 0);
        row("a,b,7", "a", 0); // a comma in the name cuts it
        row("a", "a", 0);
        row(",7", "", 7);
        row("", "", 0);
    }
    void readsSizedEntries()
    {
        QFETCH(const QString, entry);
        const tooloutput::ListedFile file = tooloutput::parseSizedEntry(entry);
        QTEST(file.name, "name");
        QTEST(file.size, "size");
    }

    void refusesNamesThatLeaveTheirFolderOrTheLine()
    {
        for (const char16_t *name : {u"bbox.ini", u"N_1.mp4", u"a..b", u"...", u"-rf"})
            QVERIFY(tooloutput::isUsableName(QString::fromUtf16(name)));
        for (const char16_t *name :
             {u"", u".", u"..", u"../x", u"/etc", u"a/b", u"a;b", u"$(x)", u"a'b", u"a\u00a0b"})
            QVERIFY2(!tooloutput::isUsableName(QString::fromUtf16(name)),
                     qPrintable(QString::fromUtf16(name)));
    }

    void reportsDamage_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("report");
        const auto row = [](const char *name, const char *output, const char *report) {
            QTest::newRow(name) << QString::fromUtf8(output) << QString::fromUtf8(report);
        };
        row("sound", "frame=  250 fps=0.0 q=-1.0 Lsize=    1024kB\n", "");
        row("distinct, ascending",
            "[h264] sps_id 32 out of range\nsps_id 32 out of range\r[h264 @ 0x5] pps_id 256 out of range\n"
            "sps_id 32 out of range",
            "pps_id 256 out of range\nsps_id 32 out of range");
        row("ascending as texts", "sps_id 9 out of range sps_id 10 out of range",
            "sps_id 10 out of range\nsps_id 9 out of range");
        row("large number", "pps_id 3199971767 out of range", "pps_id 3199971767 out of range");
        row("near misses",
            "sps_id -1 out of range\nvps_id 17 out of range\nsps_id  5 out of range\nSPS_ID 5 out of range\n"
            "pps_id \xd9\xa3 out of range\nsps_id 5 out of\nrange",
            "");
    }
    void reportsDamage()
    {
        QFETCH(const QString, output);
        QTEST(tooloutput::damageReport(output), "report");
    }

    void reportsWhatARepairTold_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<bool>("areFramesLost");
        const auto row = [](const char *name, const char *output, const QStringList &lines,
                            bool areFramesLost) {
            QTest::newRow(name) << QString::fromUtf8(output) << lines << areFramesLost;
        };
        const QString whole = QStringLiteral("channel 1: 1800 frames found, 0 lost");
        row("all found",
            "searching: 10 %\nwriting: 100 %\r\nchannel 1: 1800 frames found, 0 lost\nsound: none\n",
            {whole, QStringLiteral("sound: none")}, false);
        row("frames lost", "channel 2: 990 frames found, 10 lost",
            {QStringLiteral("channel 2: 990 frames found, 10 lost")}, true);
        row("no tool", "bash: line 1: mp4recover: not found\n\n",
            {QStringLiteral("bash: line 1: mp4recover: not found")}, false);
        row("more than anybody reads", QByteArray(5000, 'x').append('\n').repeated(500).constData(),
            QStringList(100, QString(500, u'x')), false);
    }
    void reportsWhatARepairTold()
    {
        QFETCH(const QString, output);
        const QStringList lines = tooloutput::repairReport(output);
        QTEST(lines, "lines");
        QTEST(tooloutput::areFramesLost(lines), "areFramesLost");
    }

    void buildsExactCommandLines()
    {
        const QString tools = QStringLiteral("/home/u/.local/share/App/");
        const QString device = QStringLiteral("/dev/sdb");
        QCOMPARE(toolcommands::list(tools, device, QStringLiteral("mov/normal")),
                 QStringLiteral("'/home/u/.local/share/App/ext4util' ls /dev/sdb 104857600 mov/normal"));
        QCOMPARE(toolcommands::extract(tools, device, QStringLiteral("cfg/bbox.ini"),
                                       QStringLiteral("/t/cfg/bbox.ini")),
                 QStringLiteral("'/home/u/.local/share/App/ext4util' read /dev/sdb 104857600 cfg/bbox.ini "
                                "'/t/cfg/bbox.ini'"));
        QCOMPARE(
            toolcommands::remux(tools, QStringLiteral("/t/N_1.mp4"), QStringLiteral("/t/temp.mp4")),
            QStringLiteral("'/home/u/.local/share/App/ffmpeg' -i '/t/N_1.mp4' -map 0 -c copy '/t/temp.mp4'"));
        QCOMPARE(
            toolcommands::convertAudio(tools, QStringLiteral("/t/temp.mp4"),
                                       QStringLiteral("/t/playing.mp4")),
            QStringLiteral("'/home/u/.local/share/App/ffmpeg' -i /t/temp.mp4 -map 0:v -map 0:a:0 -c:v copy "
                           "-c:a aac -ar 44100 -b:a 64k '/t/playing.mp4'"));
        const QString source = QStringLiteral("/t/N_1.mp4");
        QCOMPARE(toolcommands::extractChannelWithAudio(tools, source, 0, QStringLiteral("/o/1 a.mp4")),
                 QStringLiteral("'/home/u/.local/share/App/ffmpeg' -i /t/N_1.mp4 -map 0:v:0 -map 0:a:0 -c:v "
                                "copy -c:a aac -ar 44100 -b:a 64k '/o/1 a.mp4'"));
        QCOMPARE(toolcommands::extractChannel(tools, source, 1, QStringLiteral("/o/2.mp4")),
                 QStringLiteral("'/home/u/.local/share/App/ffmpeg' -i /t/N_1.mp4 -map 0:v:1 -c:v copy "
                                "'/o/2.mp4'"));
        QCOMPARE(toolcommands::recover(tools, source, QStringLiteral("/t/temp.mp4"),
                                       {{1920, 1080, 30}, {1280, 720, 27}}),
                 QStringLiteral("'/home/u/.local/share/App/mp4recover' '/t/N_1.mp4' '/t/temp.mp4'  --ch1 "
                                "1920x1080@30 --ch2 1280x720@27"));
        QCOMPARE(toolcommands::recover(tools, source, QStringLiteral("/t/temp.mp4"), {}),
                 QStringLiteral("'/home/u/.local/share/App/mp4recover' '/t/N_1.mp4' '/t/temp.mp4' "));
        QCOMPARE(toolcommands::mergeAudio(tools, QStringLiteral("/t/temp.mp4"), QStringLiteral("/t/temp.mp3"),
                                          QStringLiteral("/t/temp.mkv")),
                 QStringLiteral("'/home/u/.local/share/App/ffmpeg' -i /t/temp.mp4 -i /t/temp.mp3 -map 0:v "
                                "-map 1:a -c copy -shortest '/t/temp.mkv'"));
        QCOMPARE(toolcommands::remux(QStringLiteral("/o'n/"), QStringLiteral("a'b"), QStringLiteral("c")),
                 QStringLiteral("'/o'\\''n/ffmpeg' -i 'a'\\''b' -map 0 -c copy 'c'"));
    }
};

QTEST_GUILESS_MAIN(ToolOutputTest)
#include "tst_tooloutput.moc"
