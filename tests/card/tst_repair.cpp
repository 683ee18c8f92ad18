#include "card/files.h"
#include "card/recordingwork.h"
#include "support/logcapture.h"
#include "support/privatehome.h"

#include <QCoroTask>
#include <QTest>
#include <QTimer>

namespace {

/// Tools that note their arguments in a file beside themselves and make a file of their target's name, unless
/// a file do-NAME says what they do instead. mp4recover says what it found as the real one does.
constexpr char toolScript[] = R"sh(#!/bin/bash
source=$2 target=${*: -1}
[ "${0##*/}" = mp4recover ] && source=$1 target=$2
echo "${0##*/} $*" >> "${0%/*}/calls"
printf 'searching: 100 %%\nchannel 1: 9 frames found, 0 lost\n' >&2
if [ -e "$0.do-${target##*/}" ]; then
    . "$0.do-${target##*/}"
else
    echo "made of $(cat "$source")" > "$target"
fi
[ "${0##*/}" = mp4recover ] || exit 3
)sh";

constexpr char nothing[] = "exit 1";

QByteArray block(const QByteArray &payload)
{
    return "DAT" + QByteArray::number(payload.size()).rightJustified(5, '0') + payload;
}

} // namespace

/// Steps, command lines and files of the work on recordings, with scripts as the tools.
class RepairTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tools;
    QTemporaryDir m_folder;
    DiskSpace m_space;
    QList<quint64> m_roomAskedFor;
    RecordingWork m_work{{[this] { return m_tools.path() + u'/'; },
                          [](const QString &path) { QVERIFY(files::removeAll(path).isEmpty()); },
                          [this](quint64 bytes) { return makeRoom(bytes); },
                          [this](const QString &) { return m_space; }}};

    [[nodiscard]] QString at(const QString &name) const { return m_folder.filePath(name); }
    [[nodiscard]] QString tool(const char *name) const { return m_tools.filePath(QString::fromLatin1(name)); }
    void instruct(const char *name, const QString &target, const QByteArray &code)
    {
        writeFile(tool(name) + QStringLiteral(".do-") + target, code);
    }
    QCoro::Task<bool> makeRoom(quint64 bytes)
    {
        m_roomAskedFor.append(bytes);
        co_return true;
    }
    /// What the tools were called with, the folder left out.
    [[nodiscard]] QStringList calls() const
    {
        QString text = QString::fromUtf8(contentsOf(tool("calls")));
        text.remove(m_folder.path() + u'/');
        return text == u"(no file)" ? QStringList() : text.split(u'\n', Qt::SkipEmptyParts);
    }
    [[nodiscard]] QStringList filesLeft() const { return QDir(m_folder.path()).entryList(QDir::Files); }
    /// The request of a recording of that name, with one sound track.
    [[nodiscard]] PlayableRequest requestFor(const QString &name) const
    {
        PlayableRequest request;
        request.source = at(name);
        request.isUnfinished = name.endsWith(u".mov");
        request.video = at(QStringLiteral("temp.mp4"));
        request.withSound = at(QStringLiteral("playing.mp4"));
        request.countSoundTracks = [](QString) -> QCoro::Task<int> { co_return 1; };
        return request;
    }

private Q_SLOTS:
    void init()
    {
        for (const QTemporaryDir *folder : {&m_folder, &m_tools})
            QVERIFY(QDir(folder->path()).removeRecursively() && QDir().mkpath(folder->path()));
        for (const char *name : {"ffmpeg", "mp4recover"}) {
            writeFile(tool(name), toolScript);
            QFile::setPermissions(tool(name), QFileDevice::Permissions(0x7755));
        }
        m_roomAskedFor.clear();
        m_space = {};
        setLeastToolTime(std::chrono::minutes(1));
    }

    void recoversByTheRecordingsOwnDescription_data()
    {
        QTest::addColumn<QByteArray>("recording");
        QTest::addColumn<QString>("call"); // empty: no tool is run
        const auto row = [](const char *name, const QByteArray &recording, const QString &call) {
            QTest::newRow(name) << recording << call;
        };
        const QString plain = QStringLiteral("mp4recover it's.mov temp.mp4");
        row("two channels", "x" + block("vid:[2]1920.1080.30:1280.720.27") + "x",
            plain + QStringLiteral(" --ch1 1920x1080@30 --ch2 1280x720@27"));
        row("the first of two descriptions", block("vid:[1]640.360.30") + block("vid:[1]1280.720.30"),
            plain + QStringLiteral(" --ch1 640x360@30"));
        row("what can't be a channel is left out", block("vid:[3]640.0.30:1280.720.30"),
            plain + QStringLiteral(" --ch1 1280x720@30"));
        row("a description of no channels is one", block("vid:[2]:"), plain);
        row("no description", "SHO00015xxxxxxxxxxxxxxx", QString());
        row("another block of that tag", block("model:SC-5CH"), QString());
        row("nothing", "", QString());
    }
    void recoversByTheRecordingsOwnDescription()
    {
        QFETCH(const QByteArray, recording);
        QFETCH(const QString, call);
        writeFile(at(QStringLiteral("it's.mov")), recording);
        writeFile(at(QStringLiteral("temp.mp4")), "of an earlier recording");
        writeFile(at(QStringLiteral("temp.mp3")), "of an earlier recording");
        LogCapture log;
        const Recovery recovery = QCoro::waitFor(
            m_work.recover(at(QStringLiteral("it's.mov")), at(QStringLiteral("temp.mp4")), {}));
        const bool isRun = !call.isEmpty();
        QCOMPARE(recovery.isDescribed, isRun);
        QCOMPARE(recovery.result.hasSucceeded(), isRun);
        QCOMPARE(calls().join(u'\n'), call);
        QCOMPARE(contentsOf(at(QStringLiteral("temp.mp4"))),
                 isRun ? "made of " + recording + '\n' : QByteArray("(no file)"));
        const QStringList told{QStringLiteral("channel 1: 9 frames found, 0 lost")};
        QCOMPARE(log.lines(),
                 isRun ? QStringList(QStringLiteral("[ProcessManager] recoverMp4: ") + told.first())
                       : QStringList());
        QCOMPARE(recovery.report, isRun ? told : QStringList());
        QVERIFY(!filesLeft().contains(QStringLiteral("temp.mp3")));
    }

    void saysWhyARecordingHasNoDescription()
    {
        LogCapture log;
        QVERIFY(!QCoro::waitFor(m_work.videoInfo(at(QStringLiteral("missing")))));
        QCOMPARE(log.lines().size(), 1);
        QVERIFY(log.lines().first().startsWith(u"[ProcessManager] getVideoInfo error: "));
    }

    void mergesSoundAndStopsEarly_data()
    {
        QTest::addColumn<QByteArray>("sound"); // "-": none
        QTest::addColumn<QString>("failing"); // the file that isn't made
        QTest::addColumn<qsizetype>("steps"); // tools that ran
        QTest::addColumn<QStringList>("left");
        const QStringList video{QStringLiteral("temp.mp4")};
        QTest::newRow("with sound") << QByteArray("mp3") << QString() << qsizetype(2) << video;
        QTest::newRow("without sound") << QByteArray("-") << QString() << qsizetype(0) << video;
        QTest::newRow("empty sound") << QByteArray() << QString() << qsizetype(0)
                                     << QStringList({QStringLiteral("temp.mp3"), video.first()});
        QTest::newRow("can't be joined")
            << QByteArray("mp3") << QStringLiteral("temp.mkv") << qsizetype(1) << video;
        QTest::newRow("can't be converted")
            << QByteArray("mp3") << QStringLiteral("temp3.mp4") << qsizetype(2) << video;
    }
    void mergesSoundAndStopsEarly()
    {
        QFETCH(const QByteArray, sound);
        QFETCH(const QString, failing);
        QFETCH(const qsizetype, steps);
        writeFile(at(QStringLiteral("temp.mp4")), "video");
        if (sound != "-")
            writeFile(at(QStringLiteral("temp.mp3")), sound);
        if (steps > 0)
            writeFile(at(QStringLiteral("temp.mkv")), "of an earlier recording");
        instruct("ffmpeg", failing, nothing);
        const WorkResult result = QCoro::waitFor(m_work.mergeAudio(at(QStringLiteral("temp.mp4")), {}));
        QCOMPARE(result.hasSucceeded(), failing.isEmpty());
        const QStringList expected{
            QStringLiteral("ffmpeg -i temp.mp4 -i temp.mp3 -map 0:v -map 1:a -c copy -shortest temp.mkv"),
            QStringLiteral("ffmpeg -i temp2.mp4 -map 0:v -map 0:a:0 -c:v copy -c:a aac -ar 44100 -b:a 64k "
                           "temp3.mp4")};
        QCOMPARE(calls(), expected.first(steps));
        QTEST(filesLeft(), "left");
        const bool isMerged = steps == 2 && failing.isEmpty();
        QCOMPARE(contentsOf(at(QStringLiteral("temp.mp4"))),
                 isMerged ? QByteArray("made of made of video\n") : QByteArray("video"));
    }

    void deletesTargetsFirst_data()
    {
        QTest::addColumn<QString>("source");
        QTest::newRow("that can't be read") << QStringLiteral("missing.mp4");
        QTest::newRow("that isn't one word to a shell") << QStringLiteral("a b.mp4");
    }
    void deletesTargetsFirst()
    {
        QFETCH(const QString, source);
        using Operation = std::function<QCoro::Task<WorkResult>(const QString &, const QString &)>;
        const QList<Operation> operations{
            [this](const QString &src, const QString &dst) { return m_work.convertAudio(src, dst, {}); },
            [this](const QString &src, const QString &dst) { return m_work.extractChannel(src, 1, dst, {}); },
            [this](const QString &src, const QString &dst) {
                return m_work.extractChannelWithAudio(src, 0, dst, {});
            }};
        const QString target = at(QStringLiteral("t a.mp4"));
        instruct("ffmpeg", QStringLiteral("t a.mp4"), nothing);
        for (const Operation &operation : operations) {
            writeFile(target, "of an earlier recording");
            QVERIFY(!QCoro::waitFor(operation(at(source), target)).hasSucceeded());
            QCOMPARE(filesLeft(), QStringList());
        }
    }

    void makesRecordingsPlayable_data()
    {
        using Instructions = QMap<QString, QByteArray>;
        QTest::addColumn<QString>("name");
        QTest::addColumn<Instructions>("instructions"); // what a tool does instead, by "TOOL TARGET"
        QTest::addColumn<ToolProblem>("problem");
        QTest::addColumn<QString>("runs"); // targets of ffmpeg, and mp4recover
        QTest::addColumn<QString>("playing"); // empty: nothing, and nothing is left
        QTest::addColumn<QString>("damage"); // told before a rebuilding; "-": there is none
        const auto row = [](const char *name, const char *recording, const Instructions &instructions,
                            ToolProblem problem, const char *runs, const char *playing, const char *damage) {
            QTest::newRow(name) << QString::fromLatin1(recording) << instructions << problem
                                << QString::fromLatin1(runs) << QString::fromLatin1(playing)
                                << QString::fromLatin1(damage);
        };
        const QString remux = QStringLiteral("ffmpeg temp.mp4");
        const QString toAac = QStringLiteral("ffmpeg playing.mp4");
        const QString recover = QStringLiteral("mp4recover temp.mp4");
        const QByteArray withSound = "echo video > $target; echo sound > ${target%4}3";
        const QByteArray full = "echo half > $target; echo $target: No space left on device >&2; exit 1";
        const QByteArray crash = "echo half > $target; kill -SEGV $$";
        const QByteArray hang = "echo half > $target; trap '' TERM; sleep 60; sleep 60";
        const char noCopy[] = "Failed to remux MP4 file.";
        row("sound", "a.mp4", {}, ToolProblem::None, "temp.mp4 playing.mp4", "playing.mp4", "-");
        row("the sound can't be converted", "a.mp4", {{toAac, nothing}}, ToolProblem::None,
            "temp.mp4 playing.mp4", "temp.mp4", "-");
        row("no copy", "a.mp4", {{remux, nothing}}, ToolProblem::None, "temp.mp4 mp4recover playing.mp4",
            "playing.mp4", noCopy);
        row("broken parameter sets", "a.mp4",
            {{remux, "echo copy > $target; echo sps_id 32 out of range >&2"}, {recover, withSound}},
            ToolProblem::None, "temp.mp4 mp4recover temp.mkv temp3.mp4 playing.mp4", "playing.mp4",
            "sps_id 32 out of range");
        row("unfinished", "a.mov", {}, ToolProblem::None, "mp4recover playing.mp4", "playing.mp4", "");
        row("a copy that ended in a crash", "a.mp4", {{remux, crash}}, ToolProblem::None,
            "temp.mp4 mp4recover playing.mp4", "playing.mp4", noCopy);
        row("nothing to be found", "a.mp4", {{remux, nothing}, {recover, nothing}}, ToolProblem::Damaged,
            "temp.mp4 mp4recover", "", noCopy);
        row("a crash of both", "a.mp4", {{remux, crash}, {recover, crash}}, ToolProblem::Damaged,
            "temp.mp4 mp4recover", "", noCopy);
        row("a full disk is no damage", "a.mp4", {{remux, full}}, ToolProblem::DiskFull, "temp.mp4 temp.mp4",
            "", "-");
        row("a full disk that nobody spoke of", "a.mp4", {{remux, nothing}, {QStringLiteral("disk"), "full"}},
            ToolProblem::DiskFull, "temp.mp4 temp.mp4", "", "-");
        row("a full disk at the rebuilding", "a.mov", {{recover, full}}, ToolProblem::DiskFull,
            "mp4recover mp4recover", "", "");
        row("a full disk that was freed", "a.mp4",
            {{remux, "[ -e $0.again ] && echo copy > $target && exit; touch $0.again; " + full}},
            ToolProblem::None, "temp.mp4 temp.mp4 playing.mp4", "playing.mp4", "-");
        row("a hanging copy", "a.mp4", {{remux, hang}}, ToolProblem::TimedOut, "temp.mp4", "", "-");
        row("neither tool is there", "a.mp4", {{remux, "exit 127"}, {recover, "exit 127"}},
            ToolProblem::ToolMissing, "temp.mp4 mp4recover", "", noCopy);
    }
    void makesRecordingsPlayable()
    {
        using Instructions = QMap<QString, QByteArray>;
        QFETCH(const QString, name);
        QFETCH(const Instructions, instructions);
        QFETCH(const ToolProblem, problem);
        QFETCH(const QString, runs);
        QFETCH(const QString, playing);
        QFETCH(const QString, damage);
        if (problem == ToolProblem::TimedOut)
            setLeastToolTime(std::chrono::milliseconds(500));
        writeFile(at(name), block("vid:[1]640.360.30"));
        for (auto code = instructions.cbegin(); code != instructions.cend(); ++code)
            instruct(qPrintable(code.key().section(u' ', 0, 0)), code.key().section(u' ', 1), code.value());
        if (instructions.contains(QStringLiteral("disk")))
            m_space = {0, 1000};
        QStringList repairs;
        PlayableRequest request = requestFor(name);
        request.onRepair = [&repairs](const QString &what) { repairs.append(what); };
        const Playable playable = QCoro::waitFor(m_work.makePlayable(request));
        QCOMPARE(playable.result.problem, problem);
        QCOMPARE(playable.result.hasSucceeded() ? playable.file : QString(),
                 playing.isEmpty() ? QString() : at(playing));
        QStringList ran = calls();
        for (QString &call : ran)
            call = call.startsWith(u"mp4") ? QStringLiteral("mp4recover") : call.section(u' ', -1);
        QCOMPARE(ran.join(u' '), runs);
        QCOMPARE(repairs.size(), damage == u"-" ? 0 : 1);
        QVERIFY(repairs.isEmpty() || repairs.first() == damage);
        QStringList left{name};
        if (!playing.isEmpty())
            left += QStringList({QStringLiteral("temp.mp4"), playing});
        left.removeDuplicates();
        left.sort();
        QCOMPARE(filesLeft(), left);
        QCOMPARE(m_roomAskedFor.size(),
                 runs.startsWith(u"temp.mp4 temp.mp4") || runs.endsWith(u"mp4recover mp4recover"));
        if (problem == ToolProblem::DiskFull)
            QVERIFY(QFileInfo(playable.result.reason).isDir());
    }

    /// At any moment, a tool may be running or not.
    void endsWork_whenItIsStopped()
    {
        for (int delay = 0; delay < 100; delay += 5) {
            init();
            writeFile(at(QStringLiteral("a.mp4")), block("vid:[1]640.360.30"));
            instruct("ffmpeg", QStringLiteral("temp.mp4"), "sleep 0.02; exit 1");
            instruct("ffmpeg", QStringLiteral("playing.mp4"), "sleep 60");
            std::stop_source source;
            PlayableRequest request = requestFor(QStringLiteral("a.mp4"));
            request.stop = source.get_token();
            QTimer::singleShot(delay, this, [&source] { source.request_stop(); });
            const Playable playable = QCoro::waitFor(m_work.makePlayable(request));
            QCOMPARE(playable.result.problem, ToolProblem::Cancelled);
            const qsizetype runs = calls().size();
            QTest::qWait(20);
            QCOMPARE(calls().size(), runs);
        }
    }

    void givesNothingForeignToFfmpeg()
    {
        writeFile(at(QStringLiteral("a.mp4")),
                  "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n"
                  "#EXTINF:1,\n/etc/passwd\n#EXT-X-ENDLIST\n");
        LogCapture log;
        const Playable playable = QCoro::waitFor(m_work.makePlayable(requestFor(QStringLiteral("a.mp4"))));
        QCOMPARE(playable.result.problem, ToolProblem::Damaged);
        QCOMPARE(calls(), QStringList());
        QCOMPARE(log.lines(),
                 QStringList(QStringLiteral("[ProcessManager] ") + at(QStringLiteral("a.mp4"))
                             + QStringLiteral(" is refused: not a recording, but hls")));
    }
};

QTEST_GUILESS_MAIN(RepairTest)
#include "tst_repair.moc"
