#include "appearance.h"
#include "application.h"
#include "commandline.h"
#include "common/bundle.h"
#include "common/log.h"
#include "common/preferences.h"
#include "contentview.h"
#include "desktop/desktop.h"
#include "desktop/imagedesktop.h"
#include "desktop/linuxdesktop.h"
#include "desktop/quitsignals.h"
#include "desktop/singleinstance.h"
#include "engine/moviefile.h"
#include "mainwindow.h"
#include "telemetry/map/mapengine.h"

#include <csignal>
#include <cstdio>
#include <QFile>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

namespace {

constexpr int exitOfRefusal = 2;

// Read before there is an application object, which would need a display. A QCoreApplication in its place
// would take the factories of accessible interfaces with it when it goes.
CommandLine readCommandLine(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QFile::decodeName(argv[i]));
    return CommandLine::parse(arguments);
}

std::unique_ptr<Desktop> makeDesktop(const CommandLine &commandLine)
{
    if (commandLine.cardImage)
        return makeImageDesktop(*commandLine.cardImage, commandLine.volumeFolder);
    return makeLinuxDesktop();
}

bool isHandedOver(SingleInstance &instance, const CommandLine &commandLine)
{
    const QStringList card = commandLine.cardImage ? QStringList(*commandLine.cardImage) : QStringList();
    if (instance.start(card, SingleInstance::Content::Card) == SingleInstance::Start::First)
        return false;
    if (commandLine.volumeFolder)
        std::fputs(qUtf8Printable(CommandLine::tr("vornex: 이미 실행 중인 창에 표시합니다. "
                                                  "--volume은 사용되지 않습니다.\n")),
                   stderr);
    return true;
}

void followOtherStarts(SingleInstance &instance, ContentView &view)
{
    QObject::connect(&view, &ContentView::ending, &instance, &SingleInstance::end);
    QObject::connect(&instance, &SingleInstance::activated, view.windowDelegate(),
                     &WindowDelegate::bringForward);
    QObject::connect(&instance, &SingleInstance::opened, &view,
                     [&view](const QStringList &paths, SingleInstance::Content content) {
                         if (content == SingleInstance::Content::Card && !paths.isEmpty())
                             view.openCardImage(paths.constLast());
                         else
                             logLine(QStringLiteral("[ContentView] not opened, no card image: ")
                                     + paths.join(u' '));
                     });
}

/// A session or a system that ends can't answer a question.
void followSession(Application &application, const QuitSignals &quitSignals, ContentView &view)
{
    constexpr std::chrono::seconds patience(4); // what a session may give us
    const auto quit = [&view, patience] { view.quit(patience); };
    QObject::connect(&quitSignals, &QuitSignals::received, &view, quit);
    QObject::connect(&application, &Application::sessionEnded, &view, quit);
}

int run(int argc, char **argv, const CommandLine &commandLine)
{
    MapEngine::prepare();
    Application application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false); // the confirmation alone ends the program
    applyAppearance();

    SingleInstance instance;
    if (isHandedOver(instance, commandLine))
        return 0;
    const std::unique_ptr<Desktop> desktop = makeDesktop(commandLine);
    Preferences preferences;
    ContentView view(*desktop, openMovie, preferences, [] { QCoreApplication::exit(0); });
    QQmlApplicationEngine engine;
    if (!openMainWindow(engine, view))
        return 1;

    const QuitSignals quitSignals;
    followSession(application, quitSignals, view);
    followOtherStarts(instance, view);
    view.appear();
    return QGuiApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN); // whoever reads our log may go before us
    QCoreApplication::setApplicationName(applicationName());
    QCoreApplication::setApplicationVersion(shortVersion());
    QGuiApplication::setDesktopFileName(QStringLiteral("vornex"));
    const CommandLine commandLine = readCommandLine(argc, argv);
    switch (commandLine.request) {
    case CommandLine::Request::ShowText: std::fputs(qUtf8Printable(commandLine.text), stdout); return 0;
    case CommandLine::Request::Refuse:
        std::fputs(qUtf8Printable(commandLine.text), stderr);
        return exitOfRefusal;
    case CommandLine::Request::Run: break;
    }
    return run(argc, argv, commandLine);
}
