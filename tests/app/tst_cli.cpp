#include <csignal>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <signal.h>
#include <unistd.h>

namespace {

constexpr qint64 mebibyte = 1 << 20;

struct Run {
    int status = -1;
    QByteArray output;
    QByteArray messages;
};

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString tool(const char *name) { return QStringLiteral(VORNEX_BIN_DIR "/") + QLatin1String(name); }

} // namespace

/// The program, on a real card image read by the real tool.
class CliTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void listsNewestFirst();
    void extractsTheWholeFile();
    void refusesWithoutAResult_data();
    void refusesWithoutAResult();
    void damageIsToldAndReplacesNothing();
    void settingsAreReadChangedAndSaved();
    void settingsRefuseWithoutSaving_data();
    void settingsRefuseWithoutSaving();
    void leavesTheUsersFoldersAlone();
    void tellsTelemetry();
    void readerMayGo_data();
    void readerMayGo();
    void repairsWhatCanBeRepaired_data();
    void repairsWhatCanBeRepaired();
    void signalLeavesNothingBehind_data();
    void signalLeavesNothingBehind();

private:
    [[nodiscard]] QString path(const QString &name) const { return m_folder.filePath(name); }
    Run run(const QStringList &arguments);
    [[nodiscard]] QStringList listedPaths(const QByteArray &json) const;
    void write(const QString &file, const QByteArray &content) const;
    [[nodiscard]] QProcessEnvironment environment() const;
    void makeRecordings() const;

    QTemporaryDir m_folder;
    QString m_image;
    QStringList m_paths; ///< of the card's recordings, newest first
};

void CliTest::initTestCase()
{
    // A path that no command line takes as it stands.
    QDir(m_folder.path()).mkpath(QStringLiteral("my card's"));
    m_image = path(QStringLiteral("my card's/card 1.img"));
    QCOMPARE(QProcess::execute(tool("samplecard"),
                               {m_image, QStringLiteral("--size"), QStringLiteral("140M"),
                                QStringLiteral("--count"), QStringLiteral("6"), QStringLiteral("--seconds"),
                                QStringLiteral("1"), QStringLiteral("--channels"), QStringLiteral("2"),
                                QStringLiteral("--picture"), QStringLiteral("160x96")}),
             0);
    write(path(QStringLiteral("home/cache/Vornex/mov/normal/seen.mp4")), "a running viewer's");
}

QProcessEnvironment CliTest::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), path(QStringLiteral("home/cache")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("home/data")));
    return environment;
}

Run CliTest::run(const QStringList &arguments)
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(tool("vornex-cli"), arguments);
    if (!process.waitForFinished(60'000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QStringList CliTest::listedPaths(const QByteArray &json) const
{
    QStringList paths;
    const QJsonArray recordings = QJsonDocument::fromJson(json).object().value(u"recordings").toArray();
    for (const QJsonValue &value : recordings) {
        paths.append(QStringLiteral("mov/%1/%2").arg(value[u"type"].toString(), value[u"name"].toString()));
    }
    return paths;
}

void CliTest::write(const QString &file, const QByteArray &content) const
{
    QDir().mkpath(QFileInfo(file).path());
    QFile target(file);
    QVERIFY(target.open(QIODevice::WriteOnly));
    QCOMPARE(target.write(content), content.size());
}

void CliTest::listsNewestFirst()
{
    const Run json = run({QStringLiteral("list"), m_image, QStringLiteral("--json")});
    QCOMPARE(json.status, 0);
    QCOMPARE(json.messages, QByteArray());
    const QJsonObject object = QJsonDocument::fromJson(json.output).object();
    QCOMPARE(object.value(u"recordedChannelCount"), QJsonValue(2));
    m_paths = listedPaths(json.output);
    QCOMPARE(m_paths.size(), 6);
    QString last = QStringLiteral("~");
    for (const QJsonValue &value : object.value(u"recordings").toArray()) {
        QVERIFY(value[u"dateText"].toString() <= last);
        last = value[u"dateText"].toString();
        QVERIFY(value[u"size"].toInteger() > 10'000);
        QCOMPARE(value[u"kindLabel"].toString().size(), 3);
    }
    const Run text = run({QStringLiteral("list"), m_image});
    QCOMPARE(text.status, 0);
    const QStringList lines = QString::fromUtf8(text.output).split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), m_paths.size());
    for (qsizetype i = 0; i < lines.size(); ++i)
        QVERIFY2(lines[i].endsWith(u' ' + m_paths[i]), qPrintable(lines[i]));
}

void CliTest::extractsTheWholeFile()
{
    const QString target = path(QStringLiteral("o'ut 1.mp4"));
    write(target, "an older one");
    const Run extracted =
        run({QStringLiteral("extract"), m_image, m_paths.first(), target, QStringLiteral("--force")});
    QCOMPARE(extracted.status, 0);
    const QString expected = path(QStringLiteral("expected.mp4"));
    QCOMPARE(QProcess::execute(
                 tool("ext4util"),
                 {QStringLiteral("read"), m_image, QStringLiteral("104857600"), m_paths.first(), expected}),
             0);
    QVERIFY(!contentOf(expected).isEmpty());
    QVERIFY(contentOf(target) == contentOf(expected));
    // The card was made by a camera whose clock stood at the recording's end.
    const QDateTime date = QFileInfo(target).lastModified();
    QVERIFY2(date < QFileInfo(m_image).lastModified().addDays(-1), qPrintable(date.toString()));
    QCOMPARE(date, QFileInfo(expected).lastModified());
}

void CliTest::refusesWithoutAResult_data()
{
    QTest::addColumn<QStringList>("arguments"); // IMAGE, its other name LINK and TARGET stand for paths
    QTest::addColumn<int>("status");
    const auto row = [](const char *name, const char *arguments, int status) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(u' ', Qt::SkipEmptyParts) << status;
    };
    row("nothing", "", 2);
    row("unknown word", "show IMAGE", 2);
    row("no target", "extract IMAGE mov/normal/x.mp4", 2);
    row("unknown option", "list IMAGE --xml", 2);
    row("an option of another word", "list IMAGE --reset", 2);
    row("no image", "list /nonexistent.img", 1);
    row("no card", "list /bin/true", 1);
    row("no such recording", "extract --force IMAGE mov/normal/x.mp4 TARGET", 4);
    row("a folder", "extract --force IMAGE mov/normal TARGET", 4);
    row("a command in the path", "extract --force IMAGE mov/normal/$(id) TARGET", 4);
    row("out of the card", "extract --force IMAGE mov/../cfg/bbox.ini TARGET", 4);
    row("target folder missing", "extract IMAGE cfg/bbox.ini /nonexistent/target", 5);
    row("target is a folder", "extract --force IMAGE cfg/bbox.ini /", 5);
    row("target is there", "extract IMAGE cfg/bbox.ini TARGET", 5);
    row("target is the card", "extract --force IMAGE cfg/bbox.ini IMAGE", 5);
    row("target is the card by another name", "extract --force IMAGE cfg/bbox.ini LINK", 5);
    row("settings over the card", "settings --save IMAGE", 5);
    row("settings over their factory values", "settings --force --ini INI --save INI", 5);
}

void CliTest::refusesWithoutAResult()
{
    QFETCH(QStringList, arguments);
    const QString target = path(QStringLiteral("refused.mp4"));
    const qint64 imageSize = QFileInfo(m_image).size();
    const QString link = path(QStringLiteral("link.img"));
    QFile::remove(link);
    QVERIFY(QFile::link(m_image, link));
    write(path(QStringLiteral("kept.ini")), "volume=60\n");
    arguments.replaceInStrings(QStringLiteral("IMAGE"), m_image);
    arguments.replaceInStrings(QStringLiteral("LINK"), link);
    arguments.replaceInStrings(QRegularExpression(QStringLiteral("^INI$")), path(QStringLiteral("kept.ini")));
    arguments.replaceInStrings(QStringLiteral("TARGET"), target);
    write(target, "kept");
    const Run refused = run(arguments);
    QTEST(refused.status, "status");
    QVERIFY(refused.messages.startsWith("vornex-cli: "));
    QCOMPARE(refused.output, QByteArray());
    QCOMPARE(contentOf(target), QByteArray("kept"));
    QCOMPARE(contentOf(path(QStringLiteral("kept.ini"))), QByteArray("volume=60\n"));
    QCOMPARE(QFileInfo(m_image).size(), imageSize);
}

void CliTest::damageIsToldAndReplacesNothing()
{
    // Cut off further and further, the image first loses data, then folders.
    const QString cut = path(QStringLiteral("cut.img"));
    QVERIFY(QFile::copy(m_image, cut));
    Run listed{0, {}, {}};
    int incompleteFiles = 0;
    for (qint64 size = 112; listed.status == 0 && size > 100; --size) {
        QVERIFY(QFile::resize(cut, size * mebibyte));
        listed = run({QStringLiteral("list"), cut, QStringLiteral("--json")});
        if (listed.status != 0)
            break;
        QCOMPARE(listedPaths(listed.output), m_paths);
        for (const QString &recording : {m_paths.first(), m_paths.last()}) {
            const QString older = path(QStringLiteral("older.mp4"));
            const QString fresh = path(QStringLiteral("fresh.mp4"));
            write(older, "kept");
            QFile::remove(fresh);
            const Run replaced =
                run({QStringLiteral("extract"), cut, recording, older, QStringLiteral("--force")});
            if (replaced.status == 0)
                continue;
            QCOMPARE(replaced.status, 3);
            QCOMPARE(contentOf(older), QByteArray("kept"));
            QCOMPARE(run({QStringLiteral("extract"), cut, recording, fresh}).status, 3);
            incompleteFiles += QFile::exists(fresh) ? 1 : 0;
        }
    }
    QVERIFY2(listed.status == 3 || listed.status == 1, listed.messages.constData());
    QVERIFY(listed.messages.startsWith("vornex-cli: "));
    const QStringList left = listedPaths(listed.output);
    for (const QString &recording : left)
        QVERIFY(m_paths.contains(recording));
    QVERIFY(incompleteFiles > 0 || (left.size() > 0 && left.size() < m_paths.size()));
}

void CliTest::settingsAreReadChangedAndSaved()
{
    const QString ini = path(QStringLiteral("bbox.ini"));
    const QString cfg = path(QStringLiteral("bbox.cfg"));
    const QString target = path(QStringLiteral("new.cfg"));
    write(ini, "use_ldws=0\nvolume=60\nrec_qual=1\n");
    write(cfg, "[bbox]\nmystery=kept\nvolume=88\nldws=1\nmem_type=4294967296\n");
    const Run shown =
        run({QStringLiteral("settings"), QStringLiteral("--ini"), ini, QStringLiteral("--cfg"), cfg});
    QCOMPARE(shown.status, 0);
    const QJsonObject fields = QJsonDocument::fromJson(shown.output).object();
    QCOMPARE(fields.size(), 34);
    QCOMPARE(fields.value(u"volumeIndex"), QJsonValue(2));
    QCOMPARE(fields.value(u"isLdws"), QJsonValue(false));
    QCOMPARE(fields.value(u"storagePriority"), QJsonValue(qint64{4294967296}));

    const Run saved =
        run({QStringLiteral("settings"), QStringLiteral("--ini"), ini, QStringLiteral("--cfg"), cfg,
             QStringLiteral("--set"), QStringLiteral("gmtIndex=21"), QStringLiteral("--reset"),
             QStringLiteral("--set"), QStringLiteral("wifiPW=a=b"), QStringLiteral("--set"),
             QStringLiteral("isTimeSyncEnabled=true"), QStringLiteral("--set"),
             QStringLiteral("changedDate=2026-01-02T03:04:05"), QStringLiteral("--save"), target});
    QCOMPARE(saved.status, 0);
    QCOMPARE(saved.messages, QByteArray());
    const QByteArrayList lines = contentOf(target).split('\n');
    QCOMPARE(lines.mid(0, 5),
             QByteArrayList({"[bbox]", "mystery=kept", "volume=60", "ldws=0", "mem_type=0"}));
    for (const char *line : {"rec_qual=1", "gmt=9", "wifi_sspw_1=a=b", "sync_time=2026,01,02,03,04,05"})
        QVERIFY2(lines.contains(line), line);
    // In place, when that is said.
    const QStringList inPlace{QStringLiteral("settings"), QStringLiteral("--cfg"), target,
                              QStringLiteral("--save"), target};
    QCOMPARE(run(inPlace).status, 5);
    QCOMPARE(run(inPlace + QStringList(QStringLiteral("--force"))).status, 0);
    QCOMPARE(QJsonDocument::fromJson(saved.output).object().value(u"gmtIndex"), QJsonValue(21));
}

void CliTest::settingsRefuseWithoutSaving_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    const auto row = [](const char *name, const QStringList &arguments, int status) {
        QTest::newRow(name) << arguments << status;
    };
    const QString set = QStringLiteral("--set");
    row("unknown field", {set, QStringLiteral("volume=1")}, 2);
    row("no field", {set, QStringLiteral("objectName=x")}, 2);
    row("not of the camera", {set, QStringLiteral("applicationName=x")}, 2);
    row("no value", {set, QStringLiteral("volumeIndex")}, 2);
    row("not in the table", {set, QStringLiteral("volumeIndex=4")}, 2);
    row("no integer", {set, QStringLiteral("gmtIndex=1.5")}, 2);
    row("no flag", {set, QStringLiteral("isLdws=yes")}, 2);
    row("no date", {set, QStringLiteral("changedDate=today")}, 2);
    row("line end in a text", {set, QStringLiteral("wifiSSID=a\nmic=1")}, 2);
    row("a word too many", {QStringLiteral("card.img")}, 2);
    row("no such file", {QStringLiteral("--cfg"), QStringLiteral("/nonexistent")}, 1);
    row("no text", {QStringLiteral("--ini"), tool("vornex-cli")}, 1);
}

void CliTest::settingsRefuseWithoutSaving()
{
    QFETCH(const QStringList, arguments);
    const QString target = path(QStringLiteral("kept.cfg"));
    write(target, "kept");
    const Run refused = run(
        QStringList{QStringLiteral("settings"), QStringLiteral("--force"), QStringLiteral("--save"), target}
        + arguments);
    QTEST(refused.status, "status");
    QVERIFY(refused.messages.startsWith("vornex-cli: "));
    QCOMPARE(refused.output, QByteArray());
    QCOMPARE(contentOf(target), QByteArray("kept"));
}

void CliTest::leavesTheUsersFoldersAlone()
{
    QCOMPARE(contentOf(path(QStringLiteral("home/cache/Vornex/mov/normal/seen.mp4"))),
             QByteArray("a running viewer's"));
    const auto everything = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    QCOMPARE(QDir(path(QStringLiteral("home"))).entryList(everything), QStringList(QStringLiteral("cache")));
    QCOMPARE(QDir(path(QStringLiteral("home/cache"))).entryList(everything),
             QStringList(QStringLiteral("Vornex")));
    QCOMPARE(QDir(m_folder.path()).entryList({QStringLiteral(".vornex*")}, everything), QStringList());
}

void CliTest::tellsTelemetry()
{
    const QString recording = path(QStringLiteral("drive.mp4"));
    QCOMPARE(QProcess::execute(tool("samplecard"),
                               {QStringLiteral("--recording"), recording, QStringLiteral("--seconds"),
                                QStringLiteral("2"), QStringLiteral("--channels"), QStringLiteral("1"),
                                QStringLiteral("--picture"), QStringLiteral("160x96")}),
             0);
    const auto tell = [&](const QStringList &options) {
        return run(QStringList{QStringLiteral("telemetry"), recording} + options);
    };
    const Run json = tell({});
    QCOMPARE(json.status, 0);
    const QJsonObject told = QJsonDocument::fromJson(json.output).object();
    QCOMPARE(told.keys(),
             (QStringList{QStringLiteral("gps"), QStringLiteral("gsensor"), QStringLiteral("records"),
                          QStringLiteral("videoInfo")}));
    const QJsonArray samples = told.value(QStringLiteral("gsensor")).toArray();
    QCOMPARE(samples.size(), 21); // the movie's own two seconds, in tenths
    const QByteArray gsensor = tell({QStringLiteral("--format"), QStringLiteral("gsensor")}).output;
    QCOMPARE(gsensor.count('\n'), samples.size());
    QVERIFY(gsensor.startsWith("[00:00.000]  x: "));
    const QByteArray longer = tell({QStringLiteral("--format"), QStringLiteral("gsensor"),
                                    QStringLiteral("--duration"), QStringLiteral("60")})
                                  .output;
    QCOMPARE(longer.count('\n'), 601);
    const QByteArray location = tell({QStringLiteral("--format"), QStringLiteral("location")}).output;
    QVERIFY(location.startsWith("[00:00] lat: "));
    QCOMPARE(location.count('\n'), told.value(QStringLiteral("gps")).toArray().size());
    const QByteArray csv = tell({QStringLiteral("--format"), QStringLiteral("csv")}).output;
    QCOMPARE(csv.count('\n'), 1 + location.count('\n') + samples.size());
    // The satellites' clock is told in UTC and the camera's as it was set, wherever the computer stands.
    const QByteArrayList lines = csv.trimmed().split('\n');
    const QByteArrayList position = lines[2].split(',');
    const QByteArrayList acceleration = lines.last().split(',');
    for (const QByteArray &line : lines)
        QCOMPARE(line.count(','), 11);
    QCOMPARE(position.mid(0, 3), QByteArrayList({"gps", "2.000", "1"}));
    QVERIFY(position[3].size() == 19 && position[4].isEmpty());
    QCOMPARE(acceleration.mid(0, 4), QByteArrayList({"gsensor", "2.000", "1", ""}));
    QCOMPARE(acceleration[4].size(), 19);
    const QByteArray gpx = tell({QStringLiteral("--format"), QStringLiteral("gpx")}).output;
    QCOMPARE(gpx.count("<trkpt "), 2);
    QCOMPARE(gpx.count("<time>"), 2);

    const auto hourIn = [&](const char *zone) {
        qputenv("TZ", zone);
        const QJsonObject there = QJsonDocument::fromJson(tell({}).output).object();
        return there.value(u"gps")[0][u"timestamp"].toString().mid(11, 2).toInt();
    };
    const QByteArray zoneBefore = qgetenv("TZ");
    QCOMPARE((hourIn("Asia/Seoul") - hourIn("UTC") + 24) % 24, 9);
    zoneBefore.isEmpty() ? qunsetenv("TZ") : qputenv("TZ", zoneBefore);

    QCOMPARE(tell({QStringLiteral("--format"), QStringLiteral("kml")}).status, 2);
    QCOMPARE(tell({QStringLiteral("--duration"), QStringLiteral("nan")}).status, 2);
    QCOMPARE(run({QStringLiteral("telemetry"), path(QStringLiteral("missing"))}).status, 4);
    write(path(QStringLiteral("broken")), "GPS00003$GP");
    const Run broken = run({QStringLiteral("telemetry"), path(QStringLiteral("broken"))});
    QCOMPARE(broken.status, 3); // told, but its length isn't known
    QVERIFY(broken.output.contains("$GP"));
}

/// One of two channels with sound, and the same in the forms that a repair meets.
void CliTest::makeRecordings() const
{
    const QString sound = path(QStringLiteral("my sound.mp4"));
    QCOMPARE(QProcess::execute(tool("samplecard"),
                               {QStringLiteral("--recording"), sound, QStringLiteral("--seconds"),
                                QStringLiteral("2"), QStringLiteral("--picture"), QStringLiteral("160x96")}),
             0);
    const QByteArray bytes = contentOf(sound);
    const qsizetype index = bytes.lastIndexOf("moov") - 4;
    QVERIFY(index > 0);
    write(path(QStringLiteral("unfinished.mov")), bytes.first(index));
    QByteArray spoilt = bytes.first(index);
    spoilt.replace(index / 2, 16384, QByteArray(16384, '\0')); // bad sectors
    write(path(QStringLiteral("spoilt.mp4")), spoilt);
    write(path(QStringLiteral("hopeless.mov")), "DAT00018vid:[1]1280.720.30" + QByteArray(9999, 'Z'));
    write(path(QStringLiteral("undescribed.mov")), QByteArray(9999, 'Z'));
    write(path(QStringLiteral("old.mp4")), "kept");
    QCOMPARE(::link(qPrintable(sound), qPrintable(path(QStringLiteral("other name.mp4")))), 0);
}

/// As "vornex-cli list card.img | head -1" goes.
void CliTest::readerMayGo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("list") << QStringList{QStringLiteral("list"), m_image};
    QTest::newRow("settings") << QStringList{QStringLiteral("settings")};
    QTest::newRow("help") << QStringList{QStringLiteral("--help")};
}

void CliTest::readerMayGo()
{
    QFETCH(const QStringList, arguments);
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(QStringLiteral("bash"),
                  QStringList{QStringLiteral("-c"), QStringLiteral("\"$@\" | true; exit ${PIPESTATUS[0]}"),
                              QStringLiteral("bash"), tool("vornex-cli")}
                      + arguments);
    QVERIFY(process.waitForFinished(60'000));
    QVERIFY2(process.exitCode() == 5 || process.exitCode() == 0, // it may have written before
             qPrintable(QString::number(process.exitCode())));
    QCOMPARE(process.readAllStandardError(), QByteArray());
    leavesTheUsersFoldersAlone();
}

void CliTest::repairsWhatCanBeRepaired_data()
{
    makeRecordings();
    QTest::addColumn<QStringList>("arguments"); // file names in the test's folder, and options
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("told"); // on standard output
    const auto row = [](const char *name, const QStringList &arguments, int status, const QByteArray &told) {
        QTest::newRow(name) << arguments << status << told;
    };
    const QString fresh = QStringLiteral("my fresh.mp4");
    const QString old = QStringLiteral("old.mp4");
    const QString sound = QStringLiteral("my sound.mp4");
    const QString force = QStringLiteral("--force");
    row("sound", {sound, fresh}, 0, "손상되지 않은 영상입니다.");
    row("unfinished", {QStringLiteral("unfinished.mov"), fresh}, 0, "channel 2: ");
    row("with a gap", {QStringLiteral("spoilt.mp4"), fresh}, 3, "Failed to remux MP4 file.\nchannel 1: ");
    row("over a file", {sound, old}, 5, "");
    row("over a file as told", {force, sound, old}, 0, "채널 2: 160x96, 2.00초\n소리: 2.0");
    row("onto itself", {force, sound, sound}, 5, "");
    row("onto itself by another name", {force, sound, QStringLiteral("other name.mp4")}, 5, "");
    row("nothing to be found", {force, QStringLiteral("hopeless.mov"), old}, 7, "mp4recover: ");
    row("channels not described", {force, QStringLiteral("undescribed.mov"), old}, 7,
        "채널 정보가 없습니다.");
    row("no such recording", {force, QStringLiteral("missing.mp4"), old}, 4, "");
    row("no such folder", {sound, QStringLiteral("missing/fresh.mp4")}, 5, "");
    row("a folder", {force, sound, QStringLiteral("home")}, 5, "");
}

void CliTest::repairsWhatCanBeRepaired()
{
    QFETCH(QStringList, arguments);
    QFETCH(const int, status);
    QFETCH(const QByteArray, told);
    for (QString &argument : arguments)
        argument = argument.startsWith(u"--") ? argument : path(argument);
    const QString source = arguments[arguments.size() - 2];
    const QString target = arguments.last();
    write(path(QStringLiteral("old.mp4")), "kept");
    QFile::remove(path(QStringLiteral("my fresh.mp4")));
    const QByteArray before = contentOf(source);

    const Run repaired = run(QStringList(QStringLiteral("repair")) + arguments);
    QCOMPARE(repaired.status, status);
    QVERIFY2(repaired.output.contains(told), repaired.output.constData());
    QCOMPARE(repaired.messages.startsWith("vornex-cli: "), status != 0);
    QVERIFY(contentOf(source) == before);
    if (status == 0 || status == 3) {
        QCOMPARE(contentOf(target).mid(4, 4), QByteArray("ftyp"));
        QVERIFY(repaired.output.contains("채널 2: 160x96, ") && repaired.output.contains("소리: "));
    } else if (target.endsWith(u"old.mp4")) {
        QCOMPARE(contentOf(target), QByteArray("kept"));
    }
    leavesTheUsersFoldersAlone();
}

void CliTest::signalLeavesNothingBehind_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("Ctrl-C") << SIGINT;
    QTest::newRow("end of the session") << SIGTERM;
}

void CliTest::signalLeavesNothingBehind()
{
    QFETCH(const int, signal);
    // A converter that never ends, in the place of the system's own.
    const QString converter = path(QStringLiteral("slow/ffmpeg"));
    const QString started = path(QStringLiteral("started"));
    write(converter,
          "#!/bin/bash\necho $$ > '" + QFile::encodeName(started) + ".new' && mv '"
              + QFile::encodeName(started) + ".new' '" + QFile::encodeName(started) + "'\nexec sleep 600\n");
    QVERIFY(QFile::setPermissions(converter, QFile::permissions(converter) | QFile::ExeOwner));
    QFile::remove(started);
    const QString recording = path(QStringLiteral("any.mp4"));
    write(recording, "any");
    QProcess process;
    QProcessEnvironment slow = environment();
    slow.insert(QStringLiteral("PATH"), path(QStringLiteral("slow:")) + slow.value(QStringLiteral("PATH")));
    process.setProcessEnvironment(slow);
    process.start(tool("vornex-cli"),
                  {QStringLiteral("repair"), recording, path(QStringLiteral("never.mp4"))});
    QTRY_VERIFY(QFile::exists(started));
    QVERIFY(QDir(path(QStringLiteral("home/cache"))).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() > 1);
    ::kill(static_cast<pid_t>(process.processId()), signal);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    QCOMPARE(process.exitCode(), signal);
    const QString converterProcess = QString::fromLatin1(contentOf(started).trimmed());
    QVERIFY(!QFile::exists(QStringLiteral("/proc/%1/exe").arg(converterProcess))); // it has ended, too
    QVERIFY(!QFile::exists(path(QStringLiteral("never.mp4"))));
    leavesTheUsersFoldersAlone();
}

QTEST_GUILESS_MAIN(CliTest)
#include "tst_cli.moc"
