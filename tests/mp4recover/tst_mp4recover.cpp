#include "channels/apart.h"
#include "common/mappedfile.h"
#include "failure.h"
#include "finder.h"
#include "writing/options.h"
#include "writing/repair.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <new>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <span>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace {

const QString program = QStringLiteral(VORNEX_BIN_DIR "/mp4recover");

struct Ended {
    int status = -1;
    QString output;
};

Ended run(const QString &tool, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(tool, arguments);
    process.waitForFinished(120'000);
    return {process.exitCode(), QString::fromUtf8(process.readAll())};
}

/// The decoded pictures of a channel, as checksums in the order in which they are shown.
QStringList picturesOf(const QString &movie, int channel)
{
    const Ended ended = run(QStringLiteral("ffmpeg"),
                            {QStringLiteral("-v"), QStringLiteral("warning"), QStringLiteral("-i"), movie,
                             QStringLiteral("-map"), QStringLiteral("0:v:%1").arg(channel),
                             QStringLiteral("-f"), QStringLiteral("framemd5"), QStringLiteral("-")});
    QStringList pictures;
    for (const QString &line : ended.output.split(u'\n', Qt::SkipEmptyParts))
        if (!line.startsWith(u'#'))
            pictures.append(line.section(u',', -1).trimmed());
    return pictures;
}

double secondsOf(const QString &movie, const QString &stream)
{
    return run(QStringLiteral("ffprobe"),
               {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-select_streams"), stream,
                QStringLiteral("-show_entries"), QStringLiteral("stream=duration"), QStringLiteral("-of"),
                QStringLiteral("csv=p=0"), movie})
        .output.trimmed()
        .toDouble();
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

using Change = std::function<void(Findings &)>;

/// Ids beyond what the standards allow, as worn cards leave them.
void spoilSets(Findings &findings)
{
    for (Channel &channel : findings.channels)
        for (std::vector<std::uint8_t> &set : channel.parameterSets)
            set[(set[0] & 0x1f) == 7 ? 4 : 1] = 0x01;
}

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(std::function<void(int &)>)

class TestMp4Recover : public QObject
{
    Q_OBJECT
private:
    [[nodiscard]] QString file(const QString &name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
    QString m_whole;

private Q_SLOTS:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_QUIET); // trying gives messages
        m_whole = file(QStringLiteral("whole.mp4"));
        const Ended made = run(QStringLiteral(VORNEX_BIN_DIR "/samplecard"),
                               {QStringLiteral("--recording"), m_whole, QStringLiteral("--channels"),
                                QStringLiteral("2"), QStringLiteral("--picture"), QStringLiteral("320x180"),
                                QStringLiteral("--seconds"), QStringLiteral("3")});
        QVERIFY2(made.status == 0, qPrintable(made.output));
    }
    void init()
    {
        for (const QString &name : {QStringLiteral("out.mp4"), QStringLiteral("out.mp3")})
            QFile::remove(file(name));
    }

    void writesWhatWasFound_data()
    {
        QTest::addColumn<Change>("change");
        QTest::newRow("index lost") << Change([](Findings &) {});
        QTest::newRow("no parameter sets") << Change([](Findings &findings) {
            for (Channel &channel : findings.channels)
                channel.parameterSets.clear();
        });
        QTest::newRow("spoilt parameter sets") << Change(spoilSets);
        QTest::newRow("picture set lost") << Change([](Findings &findings) {
            for (Channel &channel : findings.channels)
                std::erase_if(channel.parameterSets,
                              [](const std::vector<std::uint8_t> &set) { return (set[0] & 0x1f) == 8; });
        });
        QTest::newRow("no telemetry") << Change([](Findings &findings) { findings.clock.clear(); });
        QTest::newRow("last channel empty")
            << Change([](Findings &findings) { findings.channels.push_back({}); });
    }
    void writesWhatWasFound()
    {
        QFETCH(const Change, change);
        const auto source = MappedFile::open(QFile::encodeName(m_whole).constData());
        QVERIFY(source);
        Findings findings =
            findRecording(*source, std::vector(2, ChannelRequest{320, 180, 30}), [](double) {});
        change(findings);
        const bool areSetsThere = findings.channels.front().parameterSets
            == findRecording(*source, std::vector(2, ChannelRequest{320, 180, 30}), [](double) {})
                   .channels.front()
                   .parameterSets;
        const RepairReport report =
            repair(source->bytes(), findings, file(QStringLiteral("out.mp4")).toStdString(), [](double) {});
        QCOMPARE(report.channels.size(), std::size_t{2});
        for (int channel = 0; channel < 2; ++channel) {
            QCOMPARE(report.channels[static_cast<std::size_t>(channel)].found, std::size_t{90});
            QCOMPARE(report.channels[static_cast<std::size_t>(channel)].lost, std::int64_t{0});
            // The offset of the colours' quantiser can't be seen where sets have to be built.
            const QStringList pictures = picturesOf(file(QStringLiteral("out.mp4")), channel);
            QCOMPARE(pictures.size(), 90);
            if (areSetsThere)
                QCOMPARE(pictures, picturesOf(m_whole, channel));
            const double seconds =
                secondsOf(file(QStringLiteral("out.mp4")), QStringLiteral("v:%1").arg(channel));
            QVERIFY2(std::abs(seconds - 3) < 0.034, qPrintable(QString::number(seconds)));
        }
        const double sound = secondsOf(file(QStringLiteral("out.mp3")), QStringLiteral("a"));
        QVERIFY2(std::abs(sound - 3) < 0.15, qPrintable(QString::number(sound)));
    }

    void endsAsDocumented_data()
    {
        QTest::addColumn<QStringList>("arguments"); // %1: the folder
        QTest::addColumn<int>("status");
        const QString out = QStringLiteral("%1/out.mp4");
        QTest::newRow("help") << QStringList{QStringLiteral("--help")} << 0;
        QTest::newRow("nothing asked for") << QStringList{} << 1;
        QTest::newRow("no target") << QStringList{m_whole} << 1;
        QTest::newRow("unknown option") << QStringList{m_whole, out, QStringLiteral("--channels")} << 1;
        QTest::newRow("channel without value") << QStringList{m_whole, out, QStringLiteral("--ch1")} << 1;
        QTest::newRow("channel 2 alone")
            << QStringList{m_whole, out, QStringLiteral("--ch2"), QStringLiteral("320x180@30")} << 1;
        QTest::newRow("size without rate")
            << QStringList{m_whole, out, QStringLiteral("--ch1"), QStringLiteral("320x180")} << 1;
        QTest::newRow("target is the source") << QStringList{m_whole, m_whole} << 1;
        QTest::newRow("the sound would replace the target")
            << QStringList{m_whole, QStringLiteral("%1/out.MP3")} << 1;
        QTest::newRow("no source") << QStringList{QStringLiteral("%1/none"), out} << 2;
        QTest::newRow("source is a folder") << QStringList{QStringLiteral("%1"), out} << 2;
        QTest::newRow("nothing in it") << QStringList{QStringLiteral("/dev/null"), out} << 2;
        QTest::newRow("no folder for the target")
            << QStringList{m_whole, QStringLiteral("%1/none/out.mp4")} << 4;
    }
    void endsAsDocumented()
    {
        QFETCH(QStringList, arguments);
        QFETCH(const int, status);
        arguments.replaceInStrings(QStringLiteral("%1"), m_folder.path());
        const QByteArray before = contents(m_whole);
        const Ended ended = run(program, arguments);
        QVERIFY2(ended.status == status, qPrintable(ended.output));
        QVERIFY(!ended.output.isEmpty());
        QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), QStringList{QStringLiteral("whole.mp4")});
        QCOMPARE(contents(m_whole), before);
    }

    void theSoundNeverReplacesTheSource()
    {
        const QString source = file(QStringLiteral("out.mp3"));
        QVERIFY(QFile::copy(m_whole, source));
        const Ended ended = run(program, {source, file(QStringLiteral("out.mp4"))});
        QVERIFY2(ended.status == 1, qPrintable(ended.output));
        QCOMPARE(contents(source), contents(m_whole));
    }

    void nothingIsLeftWhereNothingWasFound_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("zeros") << QByteArray(200'000, '\0');
        QTest::newRow("text") << QByteArray("GPS00012SHO00099 vid:[2]").repeated(9000);
        QTest::newRow("boxes alone") << contents(m_whole).first(60);
    }
    void nothingIsLeftWhereNothingWasFound()
    {
        QFETCH(const QByteArray, bytes);
        const QString source = file(QStringLiteral("hopeless"));
        write(source, bytes);
        write(file(QStringLiteral("out.mp4")), "older");
        const Ended ended = run(program, {source, file(QStringLiteral("out.mp4"))});
        QVERIFY2(ended.status == 3, qPrintable(ended.output));
        QCOMPARE(contents(file(QStringLiteral("out.mp4"))), QByteArray("older"));
        QFile::remove(source);
        QFile::remove(file(QStringLiteral("out.mp4")));
        QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), QStringList{QStringLiteral("whole.mp4")});
    }

    void tellsWhatItFound_data()
    {
        QTest::addColumn<QString>("size");
        QTest::newRow("as recorded") << QStringLiteral("320x180@30");
        QTest::newRow("as coded") << QStringLiteral("320x192@30");
        QTest::newRow("of another recording") << QStringLiteral("1920x1080@30");
    }
    void tellsWhatItFound()
    {
        QFETCH(const QString, size);
        QByteArray bytes = contents(m_whole);
        bytes.truncate(bytes.lastIndexOf("moov") - 4);
        const QString source = file(QStringLiteral("cut.mov"));
        write(source, bytes);
        const Ended ended = run(program,
                                {source, file(QStringLiteral("out.mp4")), QStringLiteral("--ch1"), size,
                                 QStringLiteral("--ch2"), size});
        QFile::remove(source);
        QVERIFY2(ended.status == 0, qPrintable(ended.output));
        for (int channel = 1; channel <= 2; ++channel) {
            const QRegularExpression line(
                QStringLiteral("^channel %1: \\d+ frames found, \\d+ lost$").arg(channel),
                QRegularExpression::MultilineOption);
            QVERIFY2(line.match(ended.output).hasMatch(), qPrintable(ended.output));
        }
        QCOMPARE(picturesOf(file(QStringLiteral("out.mp4")), 0), picturesOf(m_whole, 0));
    }

    void workApartLeavesNoTrace_data()
    {
        QTest::addColumn<std::function<void(int &)>>("work");
        QTest::addColumn<bool>("isDone");
        using Work = std::function<void(int &)>;
        QTest::newRow("to its end") << Work([](int &result) { result = 42; }) << true;
        QTest::newRow("a crash") << Work([](int &) { std::abort(); }) << false;
        QTest::newRow("an exception") << Work([](int &) { throw std::bad_alloc(); }) << false;
        QTest::newRow("for ever") << Work([](int &) { pause(); }) << false;
    }
    void workApartLeavesNoTrace()
    {
        QFETCH(const std::function<void(int &)>, work);
        QFETCH(const bool, isDone);
        int result = 0;
        int other = 0;
        const bool done = runApart(
            [&] {
                other = 1;
                work(result);
            },
            std::as_writable_bytes(std::span(&result, 1)), 0.3);
        QCOMPARE(done, isDone);
        QCOMPARE(result, isDone ? 42 : 0);
        QCOMPARE(other, 0);
    }

    void takesTheArgumentsOfTheChannels()
    {
        const Options options = parseOptions({"a", "--ch2", "1280x720@25", "--ch1=1920x1080@30", "b"});
        QCOMPARE(options.source, std::string("a"));
        QCOMPARE(options.target, std::string("b"));
        QCOMPARE(options.channels.size(), std::size_t{2});
        QCOMPARE(options.channels[0].width, 1920);
        QCOMPARE(options.channels[1].framesPerSecond, 25);
        QCOMPARE(parseOptions({"--", "-a", "--b"}).target, std::string("--b"));
        QCOMPARE(soundPathFor("/a.b/c"), std::string("/a.b/c.mp3"));
        QCOMPARE(soundPathFor("/a.b/c.mp4"), std::string("/a.b/c.mp3"));
    }
};

QTEST_GUILESS_MAIN(TestMp4Recover)
#include "tst_mp4recover.moc"
