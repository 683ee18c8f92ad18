#include "app/commandline.h"
#include "app/overlay.h"
#include "desktop/quitsignals.h"

#include <csignal>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString noCardTitle = QStringLiteral("SD 카드를 인식하지 못하였습니다.");
const QString download = QStringLiteral("블랙박스 영상 다운로드");

} // namespace
Q_DECLARE_METATYPE(OverlayConditions)
Q_DECLARE_METATYPE(Overlay::Action)

class TestStartAndOverlay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void overlay_showsTheFirstThatApplies_data();
    void overlay_showsTheFirstThatApplies();
    void commandLine_refusesOrTakesTheOptions_data();
    void commandLine_refusesOrTakesTheOptions();
    void quitSignals_arriveInTheEventLoop();
};

void TestStartAndOverlay::overlay_showsTheFirstThatApplies_data()
{
    QTest::addColumn<OverlayConditions>("conditions");
    QTest::addColumn<QString>("title"); // empty: nothing is shown
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("button");
    QTest::addColumn<Overlay::Action>("action");

    using enum Overlay::Action;
    const QString insertCard = QStringLiteral("블랙박스 SD 카드가 올바르게 삽입되었는지 확인해 주세요.");
    const std::optional<QString> none;
    const std::optional<QString> finished = QString();
    const auto alert = std::make_optional(QStringLiteral("alert"));
    const auto proc = std::make_optional(QStringLiteral("proc"));
    const auto copying = std::make_optional(QStringLiteral("1 / 3"));
    const auto row = [](const char *name, const OverlayConditions &conditions, const QString &title = {},
                        const QString &message = {}, const QString &button = {},
                        Overlay::Action action = None) {
        QTest::newRow(name) << conditions << title << message << button << action;
    };
    row("set-up: nothing, whatever waits", {false, false, false, alert, proc, copying});
    row("a modal alert hides everything", {true, true, false, alert, proc, copying});
    row("no card hides the other messages", {true, false, false, alert, proc, copying}, noCardTitle,
        insertCard);
    row("an alert goes before progress", {true, false, true, alert, proc, copying}, *alert, {},
        QStringLiteral("확인"), DismissAlert);
    row("progress goes before the download", {true, false, true, none, proc, copying}, *proc);
    row("download in progress", {true, false, true, none, none, copying}, download, *copying,
        QStringLiteral("취소"), DismissDownload);
    row("an empty download text is a finished one", {true, false, true, none, none, finished}, download,
        QStringLiteral("다운로드가 완료되었습니다."), QStringLiteral("닫기"), DismissDownload);
    row("card session without a message", {true, false, true, none, none, none});
}

void TestStartAndOverlay::overlay_showsTheFirstThatApplies()
{
    QFETCH(const OverlayConditions, conditions);
    const Overlay overlay = Overlay::of(conditions);
    QTEST(overlay.title, "title");
    QTEST(overlay.message, "message");
    QTEST(overlay.button, "button");
    QTEST(overlay.action, "action");
    QCOMPARE(overlay.isVisible, !overlay.title.isEmpty());
}

void TestStartAndOverlay::commandLine_refusesOrTakesTheOptions_data()
{
    QTest::addColumn<QStringList>("arguments"); // "IMAGE" and "FOLDER" stand for a file and a folder
    QTest::addColumn<int>("request");
    QTest::addColumn<QString>("hint"); // in the text

    const auto row = [](const char *name, const QString &arguments, CommandLine::Request request,
                        const QString &hint = {}) {
        QTest::newRow(name) << arguments.split(u' ', Qt::SkipEmptyParts) << int(request) << hint;
    };
    using enum CommandLine::Request;
    row("nothing: wait for a card", QString(), Run);
    row("image", QStringLiteral("--card IMAGE"), Run);
    row("image and volume", QStringLiteral("--card IMAGE --volume FOLDER"), Run);
    row("help", QStringLiteral("--help"), ShowText, QStringLiteral("--volume"));
    row("version", QStringLiteral("--version"), ShowText, QStringLiteral("Vornex "));
    row("no such image", QStringLiteral("--card /nowhere/card.img"), Refuse,
        QStringLiteral("/nowhere/card.img"));
    row("a folder is no image", QStringLiteral("--card FOLDER"), Refuse, QStringLiteral("FOLDER"));
    row("no such volume", QStringLiteral("--card IMAGE --volume /nowhere"), Refuse,
        QStringLiteral("/nowhere"));
    row("a file is no volume", QStringLiteral("--card IMAGE --volume IMAGE"), Refuse,
        QStringLiteral("IMAGE"));
    row("volume without a card", QStringLiteral("--volume FOLDER"), Refuse, QStringLiteral("--card"));
    row("card without a value", QStringLiteral("--card"), Refuse, QStringLiteral("card"));
    row("unknown option", QStringLiteral("--kard"), Refuse, QStringLiteral("kard"));
    row("stray argument", QStringLiteral("IMAGE"), Refuse, QStringLiteral("IMAGE"));
}

void TestStartAndOverlay::commandLine_refusesOrTakesTheOptions()
{
    QFETCH(QStringList, arguments);
    QTemporaryDir folder;
    QFile image(folder.filePath(QStringLiteral("IMAGE")));
    QVERIFY(image.open(QIODevice::WriteOnly));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("FOLDER")));
    for (QString &argument : arguments) {
        if (argument == u"IMAGE" || argument == u"FOLDER")
            argument = folder.filePath(argument);
    }

    const CommandLine line = CommandLine::parse(QStringList(QStringLiteral("vornex")) + arguments);
    QFETCH(const QString, hint);
    QTEST(int(line.request), "request");
    QVERIFY2(line.text.contains(hint), qPrintable(line.text));
    if (line.request != CommandLine::Request::Run)
        QVERIFY(line.text.endsWith(u'\n'));
    QCOMPARE(line.cardImage.has_value(), line.request == CommandLine::Request::Run && !arguments.isEmpty());
    QCOMPARE(line.volumeFolder.has_value(),
             line.request == CommandLine::Request::Run && arguments.contains(QStringLiteral("--volume")));
}

void TestStartAndOverlay::quitSignals_arriveInTheEventLoop()
{
    const auto handlerOf = [](int signal) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        return action.sa_handler;
    };
    std::signal(SIGHUP, SIG_IGN); // as under nohup
    const auto formerHandler = handlerOf(SIGTERM);
    {
        QuitSignals quitSignals;
        QVERIFY(handlerOf(SIGTERM) != formerHandler);
        QVERIFY(handlerOf(SIGHUP) == SIG_IGN);
        QSignalSpy received(&quitSignals, &QuitSignals::received);
        std::raise(SIGHUP);
        std::raise(SIGTERM);
        std::raise(SIGINT);
        QCOMPARE(received.count(), 0); // nothing happens inside the handler
        QVERIFY(received.wait());
        QCOMPARE(received.takeLast().first().toInt(), SIGINT);
        std::raise(SIGTERM);
        QVERIFY(received.wait());
        QCOMPARE(received.takeLast().first().toInt(), SIGTERM);
    }
    QVERIFY(handlerOf(SIGTERM) == formerHandler);
    std::signal(SIGHUP, SIG_DFL);
}

QTEST_GUILESS_MAIN(TestStartAndOverlay)
#include "tst_startandoverlay.moc"
