#include "appearance.h"
#include "commandline.h"
#include "common/bundle.h"
#include "common/preferences.h"
#include "contentview.h"
#include "desktop/desktop.h"
#include "desktop/imagedesktop.h"
#include "desktop/linuxdesktop.h"
#include "desktop/quitsignals.h"
#include "engine/moviefile.h"
#include "mainwindow.h"
#include "telemetry/map/mapengine.h"

#include <cstdio>
#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QSessionManager>

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

// The session asks whether it may end: like the close button, this needs the user's word first.
void askBeforeSessionEnds(QSessionManager &session, WindowDelegate &delegate)
{
    if (!session.allowsInteraction())
        return;
    if (!delegate.windowShouldClose())
        session.cancel();
    session.release();
}

int run(int argc, char **argv, const CommandLine &commandLine)
{
    MapEngine::prepare();
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false); // the confirmation alone ends the program
    applyAppearance();

    const std::unique_ptr<Desktop> desktop = makeDesktop(commandLine);
    Preferences preferences;
    ContentView view(*desktop, openMovie, preferences, [] { QCoreApplication::exit(0); });
    QQmlApplicationEngine engine;
    if (!openMainWindow(engine, view))
        return 1;

    const QuitSignals quitSignals;
    QObject::connect(&quitSignals, &QuitSignals::received, view.windowDelegate(),
                     &WindowDelegate::windowShouldClose);
    QObject::connect(
        &application, &QGuiApplication::commitDataRequest, view.windowDelegate(),
        [&view](QSessionManager &session) { askBeforeSessionEnds(session, *view.windowDelegate()); },
        Qt::DirectConnection);
    view.appear();
    return QGuiApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
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
