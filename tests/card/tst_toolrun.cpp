#include "card/shell.h"
#include "card/toolrun.h"
#include "support/logcapture.h"
#include "support/privatehome.h"

#include <csignal>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

/// A tool that takes no notice of being asked to end, nor does what it has started.
constexpr char stubbornTool[] = R"sh(#!/bin/bash
trap '' TERM
echo begun
sleep 600 &
echo $$ $! > "$1.new"
mv "$1.new" "$1"
wait
)sh";

bool isRunning(const QByteArray &pid)
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(QString::fromLatin1(pid)));
    // Who has ended may wait for ever to be noticed by its parent.
    return status.open(QIODevice::ReadOnly) && !status.readAll().contains(") Z ");
}

} // namespace

/// Real children of the real shell, and how their ends are told.
class ToolRunTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString m_tool = m_folder.filePath(QStringLiteral("it's a tool"));
    QString m_pids = m_folder.filePath(QStringLiteral("pids"));
    QString m_stubbornLine = QStringLiteral("'%1/it'\\''s a tool' '%2'").arg(m_folder.path(), m_pids);

    static ToolResult run(const QString &command, std::chrono::milliseconds limit = 60s,
                          std::stop_token stop = {})
    {
        return QCoro::waitFor(runTool(command, limit, std::move(stop)));
    }
    [[nodiscard]] QByteArrayList startedProcesses() const
    {
        return QFile::exists(m_pids) ? contentsOf(m_pids).simplified().split(' ') : QByteArrayList();
    }
    [[nodiscard]] bool isAnyRunning() const
    {
        const QByteArrayList pids = startedProcesses();
        return std::any_of(pids.cbegin(), pids.cend(), isRunning);
    }

private Q_SLOTS:
    void init()
    {
        writeFile(m_tool, stubbornTool);
        QFile::setPermissions(m_tool, QFileDevice::Permissions(0x7755));
        QFile::remove(m_pids);
    }
    void cleanup() { Shell::setExecutable(QStringLiteral("/bin/bash")); }

    void tellsHowItEnded_data()
    {
        using End = ToolResult::End;
        QTest::addColumn<QString>("command");
        QTest::addColumn<End>("end");
        QTest::addColumn<int>("status");
        QTest::addColumn<ToolProblem>("problem");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("logged"); // empty: nothing
        const auto row = [](const char *name, const char *command, End end, int status, ToolProblem problem,
                            const char *output, const char *logged) {
            QTest::newRow(name) << QString::fromUtf8(command) << end << status << problem
                                << QString::fromUtf8(output) << QString::fromUtf8(logged);
        };
        row("streams apart", "'/bin/sh' -c 'echo out; echo words >&2; echo more'", End::Exited, 0,
            ToolProblem::None, "out\nmore\n", "");
        row("failure", "'/bin/sh' -c 'echo out; printf \"two\\nlines\\n\" >&2; exit 5'", End::Exited, 5,
            ToolProblem::Damaged, "out\n", "sh ended with status 5: two lines");
        row("silent failure", "'/bin/false' x", End::Exited, 1, ToolProblem::Damaged, "",
            "false ended with status 1");
        row("crash", "'/bin/sh' -c 'kill -SEGV $$'", End::Signalled, SIGSEGV, ToolProblem::Damaged, "",
            "sh was ended by signal 11");
        row("full disk", "'/bin/echo' x > /dev/full", End::Exited, 1, ToolProblem::DiskFull, "",
            "echo ended with status 1: /bin/echo: write error: No space left on device");
        row("full disk, as ext4util says it",
            "'/bin/sh' -c 'echo ext4util:target-not-written No-space-left-on-device >&2; exit 7'",
            End::Exited, 7, ToolProblem::DiskFull, "",
            "sh ended with status 7: ext4util:target-not-written No-space-left-on-device");
        row("missing", "'/nowhere/ffmpeg' -i x", End::Exited, 127, ToolProblem::ToolMissing, "",
            "ffmpeg ended with status 127: /bin/bash: line 1: /nowhere/ffmpeg: No such file or directory");
        row("no program", "'/etc/passwd' x", End::Exited, 126, ToolProblem::ToolMissing, "",
            "passwd ended with status 126: /bin/bash: line 1: /etc/passwd: Permission denied");
        row("text that isn't UTF-8 costs nothing else", "'/bin/echo' -e 'a\\xffb'", End::Exited, 0,
            ToolProblem::None, "a\ufffdb\n", "");
    }
    void tellsHowItEnded()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, logged);
        LogCapture log;
        const ToolResult result = run(command);
        QTEST(result.end, "end");
        QTEST(result.status, "status");
        QTEST(result.problem(), "problem");
        QTEST(result.output, "output");
        QCOMPARE(log.lines(),
                 logged.isEmpty() ? QStringList()
                                  : QStringList(QStringLiteral("[ProcessManager] ") + logged));
    }

    void tellsAShellThatCannotBeStarted()
    {
        Shell::setExecutable(QStringLiteral("/nowhere/bash"));
        const ToolResult result = run(QStringLiteral("'/bin/true' x"));
        QCOMPARE(result.end, ToolResult::End::NotStarted);
        QCOMPARE(result.problem(), ToolProblem::ToolMissing);
        QCOMPARE(result.messages, qt_error_string(ENOENT));
    }

    void keepsTheBeginningAndTheEndOfNoise()
    {
        const ToolResult result =
            run(QStringLiteral("'/bin/sh' -c 'for f in 1 2; do echo first >&$f; head -c 30000000 /dev/zero | "
                               "fold -w 99 | tr \"\\0\" x >&$f; (echo; echo last) >&$f; done'"));
        QVERIFY(result.hasSucceeded() && result.isCut);
        for (const QString &text : {result.output, result.messages}) {
            QVERIFY2(text.size() > 7'000'000 && text.size() < 9'000'000,
                     qPrintable(QString::number(text.size())));
            QVERIFY(text.startsWith(u"first\n"));
            QVERIFY(text.endsWith(u"last\n"));
            const QStringList lines = text.split(u'\n');
            QVERIFY(std::all_of(lines.cbegin() + 1, lines.cend() - 3,
                                [](const QString &line) { return line.size() == 99; }));
        }
    }

    void endsWhatHangs_withAllItStarted_data()
    {
        QTest::addColumn<bool>("isStopped");
        QTest::newRow("by its time limit") << false;
        QTest::newRow("by a stop") << true;
    }
    void endsWhatHangs_withAllItStarted()
    {
        QFETCH(const bool, isStopped);
        std::stop_source source;
        QTimer poll;
        connect(&poll, &QTimer::timeout, this, [&] {
            if (isStopped && QFile::exists(m_pids))
                source.request_stop();
        });
        poll.start(10);
        QElapsedTimer time;
        time.start();
        const ToolResult result = run(m_stubbornLine, isStopped ? 60s : 1s, source.get_token());
        QVERIFY2(time.elapsed() < 8000, qPrintable(QString::number(time.elapsed())));
        QCOMPARE(result.problem(), isStopped ? ToolProblem::Cancelled : ToolProblem::TimedOut);
        QCOMPARE(result.output, QStringLiteral("begun\n"));
        QCOMPARE(startedProcesses().size(), 2);
        QTRY_VERIFY(!isAnyRunning());
    }

    void startsNothing_whereWorkWasStoppedBefore()
    {
        std::stop_source source;
        source.request_stop();
        QCOMPARE(run(m_stubbornLine, 60s, source.get_token()).problem(), ToolProblem::Cancelled);
        QVERIFY(!QFile::exists(m_pids));
    }

    void leavesNoToolBehind_whenTheProgramIsKilled()
    {
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--run"), m_stubbornLine});
        QTRY_VERIFY(QFile::exists(m_pids));
        program.kill();
        QVERIFY(program.waitForFinished());
        QTRY_VERIFY_WITH_TIMEOUT(!isAnyRunning(), 10000);
    }

    void givesMoreTimeForMoreBytes_butNotForEver()
    {
        QCOMPARE(toolTimeLimit(0, ToolPace::Copying), 60s);
        QCOMPARE(toolTimeLimit(210'000'000, ToolPace::Copying), 480s);
        QCOMPARE(toolTimeLimit(210'000'000, ToolPace::Repairing), 1460s);
        QVERIFY(toolTimeLimit(~quint64{0}, ToolPace::Repairing) < 25h);
    }
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--run") == 0) {
        QCoro::waitFor(runTool(QString::fromLocal8Bit(argv[2]), 600s, {}));
        return 0;
    }
    ToolRunTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_toolrun.moc"
