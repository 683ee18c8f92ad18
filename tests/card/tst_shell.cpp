#include "card/shell.h"

#include <csignal>
#include <QCoroTask>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

/// Everything here runs real children of the real shell.
class ShellTest : public QObject
{
    Q_OBJECT

    /// Status and chunks of one runAsync.
    struct Run {
        int status = -2;
        QStringList chunks;
        [[nodiscard]] QString text() const { return chunks.join(QString()); }
    };
    static Run runAsync(const QString &command)
    {
        Run run;
        run.status = QCoro::waitFor(
            Shell::runAsync(command, [&run](const QString &chunk) { run.chunks.append(chunk); }));
        return run;
    }

private Q_SLOTS:
    void cleanup() { Shell::setExecutable(QStringLiteral("/bin/bash")); }

    void givesStatusAndOutput_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const char *command, int status, const char *text) {
            QTest::newRow(name) << QString::fromUtf8(command) << status << QString::fromUtf8(text);
        };
        row("silence", "true", 0, "");
        row("status of a failure", "echo out; exit 3", 3, "out\n");
        row("both streams in order", "echo 1; echo 2 >&2; echo 3; echo 4 >&2", 0, "1\n2\n3\n4\n");
        row("standard input is empty", "cat; echo end", 0, "end\n");
        row("signal", "echo out; kill -TERM $$", 15, "out\n");
        row("signal of a tool that took the shell's place", "exec sh -c 'kill -9 $$'", 9, "");
        row("a bashism", "[[ abc =~ b ]] && echo ${BASH_VERSION:+bash}", 0, "bash\n");
        QTest::newRow("byte order mark")
            << QStringLiteral("printf '\\xef\\xbb\\xbfa'") << 0 << QStringLiteral("\ufeffa");
        row("closes its output long before its end", "exec >&- 2>&-; sleep 0.2; exit 4", 4, "");
    }
    void givesStatusAndOutput()
    {
        QFETCH(const QString, command);
        const Run run = runAsync(command);
        QTEST(run.status, "status");
        QTEST(run.text(), "text");
        QTEST(Shell::run(command), "text");
    }

    void tellsAMissingTool()
    {
        const Run run = runAsync(QStringLiteral("/nowhere/ext4util ls"));
        QCOMPARE(run.status, 127);
        QVERIFY(run.text().contains(QStringLiteral("/nowhere/ext4util")));
    }

    void dropsOrRepairsIllFormedText_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("dropped");
        QTest::addColumn<QString>("repaired");
        const QString cut = QString(QChar::ReplacementCharacter);
        QTest::newRow("one bad byte costs its chunk")
            << QStringLiteral("printf 'a\\xffb'") << QString() << QStringLiteral("a") + cut + u'b';
        QTest::newRow("a cut character counts once")
            << QStringLiteral("printf 'a\\xed\\x95'") << QString() << QStringLiteral("a") + cut;
        QTest::newRow("a surrogate has no well-formed part")
            << QStringLiteral("printf '\\xed\\xa0\\x80'") << QString() << cut + cut + cut;
    }
    void dropsOrRepairsIllFormedText()
    {
        QFETCH(const QString, command);
        const Run run = runAsync(command);
        QCOMPARE(run.status, 0);
        QTEST(run.text(), "dropped");
        QTEST(Shell::run(command), "repaired");
    }

    /// The child tells by a file that it has written, the test by another that it has read.
    void dropsBothHalvesOfACharacterThatTwoReadsShare()
    {
        const QTemporaryDir folder;
        const QString command = QStringLiteral("cd '%1'; turn() { printf \"$1\"; touch wrote$2; "
                                               "until [ -e read$2 ]; do sleep 0.01; done; }; "
                                               "turn 'a한' 1; turn '\\xed\\x95' 2; turn '\\x9c' 3; printf b")
                                    .arg(folder.path());
        QStringList chunks;
        std::optional<int> status;
        Shell::startProcess(
            command, [&](const QString &chunk) { chunks.append(chunk); }, [&](int ended) { status = ended; });
        for (int turn = 1; turn <= 3; ++turn) {
            while (!QFile::exists(folder.filePath(QStringLiteral("wrote%1").arg(turn))))
                QThread::msleep(1);
            QCoreApplication::processEvents();
            QVERIFY(QFile(folder.filePath(QStringLiteral("read%1").arg(turn))).open(QIODevice::WriteOnly));
        }
        QTRY_COMPARE(status, std::optional(0));
        QCOMPARE(chunks, QStringList({QStringLiteral("a한"), QStringLiteral("b")}));
    }

    void passesTenMegabytesOnWhole()
    {
        const QString command = QStringLiteral("head -c 10000000 /dev/zero | tr '\\0' x; echo end");
        const Run run = runAsync(command);
        QCOMPARE(run.text().size(), 10'000'004);
        QVERIFY(run.text().endsWith(QStringLiteral("xend\n")));
        QCOMPARE(Shell::run(command).size(), 10'000'004);
    }

    void completesWhileAGrandchildKeepsTheOutputOpen()
    {
        QTemporaryDir folder;
        const QString stop = folder.filePath(QStringLiteral("stop"));
        const QString command =
            QStringLiteral("(while [ -d %1 ] && [ ! -e %2 ]; do sleep 0.02; done; echo late) & "
                           "echo early; exit 5")
                .arg(folder.path(), stop);
        const Run run = runAsync(command); // would never end if it waited for the grandchild
        QCOMPARE(run.status, 5);
        QCOMPARE(run.text(), QStringLiteral("early\n"));
        QVERIFY(QFile(stop).open(QIODevice::WriteOnly));
        const QString whole = Shell::run(command); // to the end of the file
        QVERIFY(whole == QStringLiteral("early\nlate\n") || whole == QStringLiteral("late\nearly\n"));
    }

    void survivesAGrandchildThatNeverStopsWriting()
    {
        const Run run = runAsync(QStringLiteral("yes & echo $!; exit 0"));
        QCOMPARE(run.status, 0); // yes ends by SIGPIPE when the pipe is closed
    }

    void reportsAShellThatCannotBeStarted()
    {
        Shell::setExecutable(QStringLiteral("/nowhere/bash"));
        const QString expected = QStringLiteral("[Shell] run error: ") + qt_error_string(ENOENT);
        QCOMPARE(Shell::run(QStringLiteral("echo")), expected);
        const Run run = runAsync(QStringLiteral("echo"));
        QCOMPARE(run.status, -1);
        QCOMPARE(run.chunks, QStringList{expected});
    }

    void neverCallsBackFromWithinTheCall_data()
    {
        QTest::addColumn<QString>("executable");
        QTest::newRow("started") << QStringLiteral("/bin/bash");
        QTest::newRow("not started") << QStringLiteral("/nowhere/bash");
    }
    void neverCallsBackFromWithinTheCall()
    {
        QFETCH(const QString, executable);
        Shell::setExecutable(executable);
        QStringList calls;
        Shell::startProcess(
            QStringLiteral("echo"), [&](const QString &) { calls.append(QStringLiteral("output")); },
            [&](int) {
                QCOMPARE(QThread::currentThread(), qApp->thread());
                calls.append(QStringLiteral("exit"));
            });
        QThread::msleep(50); // time for a child that would be served too early
        QCOMPARE(calls, QStringList());
        QTRY_COMPARE(calls, QStringList({QStringLiteral("output"), QStringLiteral("exit")}));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(calls.size(), 2);
    }

    /// One of them takes no notice of the first word.
    void endsAllRunningCommands()
    {
        const QTemporaryDir folder;
        QList<int> statuses;
        for (const char *command : {"cd '%1'; touch a; exec sleep 600",
                                    "cd '%1'; trap '' TERM; touch b; while :; do sleep 1; done"})
            Shell::startProcess(
                QString::fromLatin1(command).arg(folder.path()), [](const QString &) {},
                [&statuses](int status) { statuses.append(status); });
        QTRY_VERIFY(QFile::exists(folder.filePath(QStringLiteral("a")))
                    && QFile::exists(folder.filePath(QStringLiteral("b"))));
        ChildWatcher::endAll();
        QTRY_COMPARE(statuses.size(), 2);
        QCOMPARE(QSet<int>(statuses.cbegin(), statuses.cend()), QSet<int>({SIGTERM, SIGKILL}));
    }

    void keepsCommandsApart()
    {
        QHash<int, QString> texts;
        int ended = 0;
        for (int i = 0; i < 20; ++i)
            Shell::startProcess(
                QStringLiteral("for n in 1 2 3; do echo %1; done").arg(i),
                [&texts, i](const QString &chunk) { texts[i] += chunk; }, [&ended](int) { ++ended; });
        QTRY_COMPARE_WITH_TIMEOUT(ended, 20, 60000);
        for (int i = 0; i < 20; ++i)
            QCOMPARE(texts[i], QStringLiteral("%1\n%1\n%1\n").arg(i));
    }
};

QTEST_GUILESS_MAIN(ShellTest)
#include "tst_shell.moc"
