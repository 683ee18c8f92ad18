#include "card/processmanager.h"
#include "support/logcapture.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"

#include <QCoroTask>
#include <QSignalSpy>
#include <QTest>

namespace {

/// Tools that note their arguments beside themselves and make a file of their target's name, unless a file
/// fail-NAME says that they shall not. mp4recover tells about it as the real one does.
constexpr char toolScript[] = R"sh(#!/bin/bash
source=$2 target=${*: -1}
[ "${0##*/}" = mp4recover ] && source=$1 target=$2
echo "${0##*/} $*" >> "$0.calls"
printf 'searching: 100 %%\nchannel 1: 9 frames found, 0 lost\n' >&2
[ -e "$0.fail-${target##*/}" ] || echo "made of $(cat "$source")" > "$target"
[ "${0##*/}" = mp4recover ] || exit 3
)sh";

QByteArray block(const QByteArray &payload)
{
    return "DAT" + QByteArray::number(payload.size()).rightJustified(5, '0') + payload;
}

} // namespace

/// Steps, command lines and files of the operations on recordings, with scripts as the tools.
class RepairTest : public QObject
{
    Q_OBJECT

    PrivateHome m_home;
    QTemporaryDir m_bundle;
    QTemporaryDir m_folder;
    ScriptedDesktop m_desktop;
    ProcessManager m_manager{m_desktop.desktop};

    [[nodiscard]] QString at(const QString &name) const { return m_folder.filePath(name); }
    [[nodiscard]] QString tool(const char *name) const
    {
        return m_manager.helperRoot() + QString::fromLatin1(name);
    }
    /// What the tools were called with, the folder left out.
    [[nodiscard]] QStringList calls(const char *name) const
    {
        QString text = QString::fromUtf8(contentsOf(tool(name) + QStringLiteral(".calls")));
        text.remove(m_folder.path() + u'/');
        return text == u"(no file)" ? QStringList() : text.split(u'\n', Qt::SkipEmptyParts);
    }
    [[nodiscard]] QStringList filesLeft() const { return QDir(m_folder.path()).entryList(QDir::Files); }

private Q_SLOTS:
    void initTestCase()
    {
        for (const char *name : {"ext4util", "ffmpeg", "mp4recover"}) {
            const QString path = m_bundle.filePath(QString::fromLatin1(name));
            writeFile(path, toolScript);
            m_desktop.tools.insert(QString::fromLatin1(name), path);
        }
        QCoro::waitFor(m_manager.setup());
    }

    void init()
    {
        QVERIFY(QDir(m_folder.path()).removeRecursively() && QDir().mkpath(m_folder.path()));
        QDir tools(m_manager.helperRoot());
        const QStringList notes = tools.entryList({QStringLiteral("*.*")}, QDir::Files);
        for (const QString &note : notes)
            tools.remove(note);
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
        LogCapture log;
        const QSignalSpy reports(&m_manager, &ProcessManager::repairReported);
        const bool isRun = QCoro::waitFor(
            m_manager.recoverMp4(at(QStringLiteral("it's.mov")), at(QStringLiteral("temp.mp4"))));
        QCOMPARE(isRun, !call.isEmpty());
        QCOMPARE(calls("mp4recover").join(u'\n'), call);
        QCOMPARE(contentsOf(at(QStringLiteral("temp.mp4"))),
                 isRun ? "made of " + recording + '\n' : QByteArray("(no file)"));
        const QStringList told{QStringLiteral("channel 1: 9 frames found, 0 lost")};
        QCOMPARE(log.lines(),
                 isRun ? QStringList(QStringLiteral("[ProcessManager] recoverMp4: ") + told.first())
                       : QStringList());
        QCOMPARE(reports.size(), isRun ? 1 : 0);
        if (isRun)
            QCOMPARE(reports.first(), QVariantList{told});
    }

    void saysWhyARecordingHasNoDescription()
    {
        LogCapture log;
        QVERIFY(!QCoro::waitFor(m_manager.getVideoInfo(at(QStringLiteral("missing")))));
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
        writeFile(tool("ffmpeg") + QStringLiteral(".fail-") + failing, "");
        QCoro::waitFor(m_manager.mergeAudio(at(QStringLiteral("temp.mp4"))));
        const QStringList expected{
            QStringLiteral("ffmpeg -i temp.mp4 -i temp.mp3 -map 0:v -map 1:a -c copy -shortest temp.mkv"),
            QStringLiteral("ffmpeg -i temp2.mp4 -map 0:v -map 0:a:0 -c:v copy -c:a aac -ar 44100 -b:a 64k "
                           "temp3.mp4")};
        QCOMPARE(calls("ffmpeg"), expected.first(steps));
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
        using Operation = std::function<QCoro::Task<>(const QString &, const QString &)>;
        const QList<Operation> operations{
            [this](const QString &src, const QString &dst) { return m_manager.convertAudio(src, dst); },
            [this](const QString &src, const QString &dst) { return m_manager.extractChannel(src, 1, dst); },
            [this](const QString &src, const QString &dst) {
                return m_manager.extractChannelWithAudio(src, 0, dst);
            }};
        const QString target = at(QStringLiteral("t a.mp4"));
        writeFile(tool("ffmpeg") + QStringLiteral(".fail-t a.mp4"), "");
        for (const Operation &operation : operations) {
            writeFile(target, "of an earlier recording");
            QCoro::waitFor(operation(at(source), target));
            QCOMPARE(filesLeft(), QStringList());
        }
    }
};

QTEST_GUILESS_MAIN(RepairTest)
#include "tst_repair.moc"
