// The whole program on a real card image: its real tools, its real window, drawn without a display.
#include "app/appearance.h"
#include "app/application.h"
#include "app/contentview.h"
#include "app/mainwindow.h"
#include "app/session/appviewmodel.h"
#include "card/processvalues.h"
#include "card/sdmanager.h"
#include "common/preferences.h"
#include "common/task.h"
#include "desktop/imagedesktop.h"
#include "engine/moviefile.h"
#include "support/framestrip.h"
#include "windowprobe.h"

#include <QDir>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int channels = 4;
constexpr QSize pictureSize(320, 180);
constexpr int loadTimeout = 30000; // milliseconds, for a card's reading or a recording's way to the screen

/// An administrator who looks at the request for a while and refuses it.
class RefusingAdministrator : public AdministratorConsent
{
public:
    QCoro::Task<QString> makeSetUserIdRoot(QString) override
    {
        co_await sleepFor(std::chrono::milliseconds(1));
        co_return QStringLiteral("refused");
    }
};

/// The program as main() builds it, except for the end of the process.
struct Program {
    explicit Program(std::unique_ptr<Desktop> its)
        : desktop(std::move(its))
        , view(*desktop, openMovie, preferences, [this] { ++exits; })
        , window(openMainWindow(engine, view))
    {
    }

    [[nodiscard]] ImageDiskWatcher &reader() const
    {
        return static_cast<ImageDiskWatcher &>(*desktop->diskWatcher);
    }
    [[nodiscard]] AppViewModel &viewModel() const { return *view.viewModel(); }
    [[nodiscard]] WindowProbe probe() const { return WindowProbe(*window); }

    int exits = 0;
    QTemporaryDir folder;
    Preferences preferences{folder.filePath(QStringLiteral("preferences.ini"))};
    std::unique_ptr<Desktop> desktop;
    ContentView view;
    QQmlApplicationEngine engine;
    QQuickWindow *window;
};

/// Where a picture stands that is fitted into an area.
QRectF pictureIn(const QRectF &area)
{
    QRectF picture({}, QSizeF(pictureSize).scaled(area.size(), Qt::KeepAspectRatio));
    picture.moveCenter(area.center());
    return picture;
}

QString extracted(const QString &name) { return processvalues::tempRoot() + name; }

} // namespace

class TestApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void refusedSetUp_endsAtOnceWithoutAsking();
    void waitsForACard_andSaysSo();
    void card_fillsTheList();
    void tabsAndTicks();
    void clickOnRow_playsEachChannelInItsPlace();
    void cardRemoval_emptiesEverythingInOrder();
    void settingsOfACard_goToNoOther();
    void otherCard_isReadWithoutARemoval();
    void fullScreen_isFollowed();
    void everyControlHasAName();
    void quitting_data();
    void quitting();
    void quittingTwice_asksOnce();
    void sessionEnd_doesNotAsk(); // last: the application doesn't forget it

private:
    std::unique_ptr<Program> startWithCard(const std::optional<QString> &volume = {});

    QTemporaryDir m_folder;
    QString m_image;
};

void TestApplication::initTestCase()
{
    m_image = m_folder.filePath(QStringLiteral("card.img"));
    QProcess samplecard;
    samplecard.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    samplecard.start(QStringLiteral(VORNEX_BIN_DIR "/samplecard"),
                     {m_image, QStringLiteral("--size"), QStringLiteral("160M"), QStringLiteral("--count"),
                      QStringLiteral("6"), QStringLiteral("--seconds"), QStringLiteral("4"),
                      QStringLiteral("--channels"), QString::number(channels), QStringLiteral("--picture"),
                      QStringLiteral("320x180")});
    QVERIFY(samplecard.waitForFinished(120000));
    QCOMPARE(samplecard.exitCode(), 0);
}

void TestApplication::init()
{
    // Whatever QML or Qt complains about is a fault, except for a machine without a sound server or display.
    QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!PulseAudioService|This plugin does not)")));
}

std::unique_ptr<Program> TestApplication::startWithCard(const std::optional<QString> &volume)
{
    auto program = std::make_unique<Program>(makeImageDesktop(m_image, volume));
    if (!program->window)
        return nullptr;
    program->view.appear();
    const bool isFilled =
        QTest::qWaitFor([&] { return !program->viewModel().filtered().isEmpty(); }, loadTimeout);
    return isFilled ? std::move(program) : nullptr;
}

void TestApplication::refusedSetUp_endsAtOnceWithoutAsking()
{
    auto desktop = makeImageDesktop(m_image, std::nullopt);
    desktop->consent = std::make_unique<RefusingAdministrator>();
    Program program(std::move(desktop));
    QVERIFY(program.window);
    program.view.appear();
    QTRY_COMPARE(program.exits, 1);
    QVERIFY(!program.view.windowDelegate()->isConfirming());
    QVERIFY(!program.window->isVisible());
    QVERIFY(!program.view.overlay().isVisible); // "no card" isn't what is wrong
}

void TestApplication::waitsForACard_andSaysSo()
{
    Program program(makeImageDesktop(m_image, std::nullopt));
    QVERIFY(program.window);
    program.reader().eject();
    QCOMPARE(program.window->size(), QSize(1100, 720));
    QCOMPARE(program.window->title(), QStringLiteral("Vornex 0.1.0 (1)"));
    QVERIFY(!program.view.overlay().isVisible);
    program.view.appear();
    QTRY_VERIFY(program.view.overlay().isVisible);
    const QString title = QStringLiteral("SD 카드를 인식하지 못하였습니다.");
    QQuickItem *card = nullptr;
    QTRY_VERIFY(card = program.probe().find(QAccessible::AlertMessage, title));
    QVERIFY(!WindowProbe::descriptionOf(card).isEmpty());

    // Beside the card the mouse reaches what lies there.
    QQuickItem *tab = program.probe().find(QAccessible::PageTab, QStringLiteral("전체"));
    QVERIFY(tab);
    program.probe().click(tab);
    QTRY_COMPARE(program.viewModel().selectedTab(), 5);

    program.reader().insert();
    QTRY_VERIFY_WITH_TIMEOUT(!program.viewModel().fileList().isEmpty(), loadTimeout);
    QCOMPARE(program.viewModel().selectedTab(), 0);
    QVERIFY(!program.view.overlay().isVisible);
}

void TestApplication::card_fillsTheList()
{
    const auto program = startWithCard();
    QVERIFY(program);
    const WindowProbe probe = program->probe();
    probe.click(probe.find(QAccessible::PageTab, QStringLiteral("전체")));
    const FileList &rows = program->viewModel().filtered();
    QTRY_COMPARE(rows.size(), program->viewModel().fileList().size());
    QTRY_COMPARE(probe.all(QAccessible::ListItem).size(), rows.size());
    for (const FileListItem &row : rows) {
        QQuickItem *item = probe.find(QAccessible::ListItem, row.kindLabel() + u' ' + row.dateText());
        QVERIFY2(item, qPrintable(row.name));
        QCOMPARE(WindowProbe::descriptionOf(item),
                 QString::asprintf("%.2f MB", static_cast<double>(row.size) / 1000 / 1000));
    }
    QTRY_VERIFY_WITH_TIMEOUT(
        std::all_of(rows.cbegin(), rows.cend(), [](const auto &row) { return row.read > 0; }), loadTimeout);
}

void TestApplication::tabsAndTicks()
{
    const auto program = startWithCard();
    QVERIFY(program);
    const WindowProbe probe = program->probe();
    const AppViewModel &viewModel = program->viewModel();
    const auto checkedCount = [&] { return viewModel.checkedItems().size(); };
    probe.click(probe.find(QAccessible::PageTab, QStringLiteral("전체")));
    QTRY_COMPARE(viewModel.filtered().size(), viewModel.fileList().size());
    const qsizetype count = viewModel.filtered().size();
    QTRY_COMPARE(probe.all(QAccessible::ListItem).size(), count);
    const auto colourOfAnEvent = [&] {
        QColor colour;
        for (QQuickItem *item : probe.all(QAccessible::ListItem)) {
            if (WindowProbe::nameOf(item).startsWith(QStringLiteral("EVT")))
                colour = item->property("textColour").value<QColor>();
        }
        return colour;
    };
    QVERIFY(colourOfAnEvent().red() > 2 * colourOfAnEvent().green());
    QQuickItem *row = probe.all(QAccessible::ListItem).constFirst();

    probe.clickAt(row, {10, row->height() / 2}); // the tick column
    QTRY_COMPARE(checkedCount(), 1);
    QVERIFY(WindowProbe::stateOf(row).checked);
    QVERIFY(!viewModel.selectedIndex());

    QQuickItem *list = probe.find(QAccessible::List, QStringLiteral("녹화 목록"));
    QVERIFY(list);
    list->forceActiveFocus();
    probe.press(Qt::Key_Space); // on the first row, which was marked by that
    QTRY_COMPARE(checkedCount(), 0);
    probe.press(Qt::Key_Down);
    probe.press(Qt::Key_Space);
    QTRY_COMPARE(checkedCount(), 1);
    QVERIFY(viewModel.filtered().at(1).isChecked);

    QQuickItem *all = probe.find(QAccessible::CheckBox, QStringLiteral("전체선택"));
    QVERIFY(all);
    probe.click(all);
    QTRY_COMPARE(checkedCount(), count);
    probe.click(probe.find(QAccessible::PageTab, QStringLiteral("이벤트")));
    QTRY_COMPARE(checkedCount(), 0); // another tab takes the ticks away and leaves the box
    QVERIFY(viewModel.isAllChecked());
    QTRY_COMPARE(colourOfAnEvent().red(),
                 colourOfAnEvent().green()); // only tabs of several kinds tell them apart
    probe.click(all);
    QTRY_VERIFY(!viewModel.isAllChecked());
}

void TestApplication::clickOnRow_playsEachChannelInItsPlace()
{
    const auto program = startWithCard();
    QVERIFY(program);
    const WindowProbe probe = program->probe();
    const AppViewModel &viewModel = program->viewModel();
    const auto channelsShown = [&] {
        const QImage picture = probe.grab();
        QList<int> shown;
        for (QQuickItem *surface : probe.itemsOfType("VideoSurface")) {
            const auto strip = readFrameStrip(picture, pictureIn(probe.areaOf(surface)));
            shown.append(strip ? strip->channel : 0);
        }
        return shown;
    };
    QTRY_VERIFY(!probe.all(QAccessible::ListItem).isEmpty());
    QQuickItem *row = probe.all(QAccessible::ListItem).constFirst();
    probe.click(row);
    QTRY_COMPARE_WITH_TIMEOUT(viewModel.videoPlayers().size(), channels, loadTimeout);
    QVERIFY(WindowProbe::stateOf(row).selected);
    QTRY_COMPARE(channelsShown(), (QList<int>{1, 2, 3, 4}));

    QQuickItem *mainTabs = probe.find(QAccessible::PageTabList, QStringLiteral("영상 채널"));
    QQuickItem *previewTabs = probe.find(QAccessible::PageTabList, QStringLiteral("미리보기 채널"));
    QVERIFY(mainTabs && previewTabs);
    probe.click(probe.find(QAccessible::PageTab, QStringLiteral("CH2"), mainTabs));
    QTRY_COMPARE(channelsShown(), (QList<int>{2}));
    probe.click(probe.find(QAccessible::PageTab, QStringLiteral("CH3"), previewTabs));
    QTRY_COMPARE(channelsShown(), (QList<int>{2, 3}));
}

void TestApplication::cardRemoval_emptiesEverythingInOrder()
{
    const auto program = startWithCard();
    QVERIFY(program);
    AppViewModel &viewModel = program->viewModel();
    MultiTrackPlayer &player = *viewModel.playerManager();
    viewModel.tapRow(0);
    QTRY_VERIFY_WITH_TIMEOUT(player.isPlaying(), loadTimeout);
    const auto isRead = [](const FileListItem &item) { return item.read > 0; };
    QTRY_VERIFY_WITH_TIMEOUT(std::all_of(viewModel.fileList().cbegin(), viewModel.fileList().cend(), isRead),
                             loadTimeout);
    QVERIFY(QDir(extracted(QStringLiteral("mov"))).exists());

    QStringList order;
    const auto note = [&](const QString &what) {
        const bool hasFolders = QDir(extracted(QStringLiteral("mov"))).exists()
            && QDir(extracted(QStringLiteral("cfg"))).exists();
        order.append(what + (player.isStopped() ? QStringLiteral(" stopped") : QString())
                     + (hasFolders ? QStringLiteral(" with folders") : QString()));
    };
    QObject watcher;
    connect(&player, &MultiTrackPlayer::playStateChanged, &watcher, [&] { note(QStringLiteral("state")); });
    connect(&player, &MultiTrackPlayer::videoPlayersChanged, &watcher,
            [&] { note(QStringLiteral("player")); });
    connect(&viewModel, &AppViewModel::videoPlayersChanged, &watcher, [&] { note(QStringLiteral("views")); });
    connect(&viewModel, &AppViewModel::fileListChanged, &watcher, [&] { note(QStringLiteral("list")); });
    connect(&viewModel, &AppViewModel::filteredChanged, &watcher, [&] { note(QStringLiteral("rows")); });
    connect(&viewModel, &AppViewModel::uploadedChanged, &watcher, [&] {
        note(viewModel.uploaded() ? QStringLiteral("uploaded") : QStringLiteral("not uploaded"));
    });
    viewModel.setProcMessage(QStringLiteral("..."));
    program->reader().eject();
    QTRY_COMPARE_WITH_TIMEOUT(order.size(), 7, loadTimeout);
    const QStringList expected{
        QStringLiteral("state stopped with folders"), QStringLiteral("player stopped with folders"),
        QStringLiteral("views stopped with folders"), QStringLiteral("list stopped with folders"),
        QStringLiteral("rows stopped with folders"),  QStringLiteral("uploaded stopped"),
        QStringLiteral("not uploaded stopped"),
    };
    QCOMPARE(order, expected);
    QCOMPARE(program->view.overlay().title, QStringLiteral("SD 카드를 인식하지 못하였습니다."));
    QVERIFY(viewModel.fileList().isEmpty() && viewModel.filtered().isEmpty());
    const WindowProbe probe = program->probe();
    QTRY_VERIFY(probe.all(QAccessible::ListItem).isEmpty());
    QVERIFY(!WindowProbe::stateOf(probe.find(QAccessible::PageTab, QStringLiteral("상시"))).selected);

    viewModel.setProcMessage(std::nullopt);
    program->reader().insert();
    QTRY_VERIFY_WITH_TIMEOUT(!viewModel.filtered().isEmpty(), loadTimeout);
}

void TestApplication::settingsOfACard_goToNoOther()
{
    const QTemporaryDir volume;
    QFile settings(volume.filePath(QStringLiteral("bbox.cfg")));
    const auto program = startWithCard(volume.path());
    QVERIFY(program);
    QTRY_VERIFY_WITH_TIMEOUT(settings.exists(), loadTimeout);
    QQuickItem *button = program->probe().find(QAccessible::Button, QStringLiteral("settings"));
    QVERIFY(button);
    program->probe().click(button);
    QQuickWindow *form = program->view.settingsWindow()->window();
    QVERIFY(form);
    const WindowProbe probe(*form);
    program->window->close();
    QTRY_VERIFY(probe.find(QAccessible::StaticText, QStringLiteral("종료 하시겠습니까?"))); // not behind it
    program->view.windowDelegate()->answer(false);

    program->reader().eject();
    QTRY_VERIFY(program->viewModel().fileList().isEmpty());
    QVERIFY(settings.remove());
    program->reader().insert();
    QTRY_VERIFY_WITH_TIMEOUT(settings.exists(), loadTimeout);
    const QByteArray others = "[bbox]\nmystery=the other card's";
    QVERIFY(settings.open(QIODevice::WriteOnly) && settings.write(others) == others.size());
    settings.close();
    probe.click(probe.find(QAccessible::Button, QStringLiteral("저장")));
    QVERIFY(!program->view.settingsWindow()->window());
    QVERIFY(settings.open(QIODevice::ReadOnly));
    QCOMPARE(settings.readAll(), others);
}

void TestApplication::otherCard_isReadWithoutARemoval()
{
    const auto program = startWithCard();
    QVERIFY(program);
    const QString other = m_folder.filePath(QStringLiteral("other.img"));
    QVERIFY(QFile::link(m_image, other));
    const QUuid former = program->viewModel().fileList().first().id;
    QSignalSpy uploaded(&program->viewModel(), &AppViewModel::uploadedChanged);
    Q_EMIT program->reader().appeared({other, true, true, QStringLiteral("SD image")});
    QTRY_VERIFY_WITH_TIMEOUT(program->viewModel().fileList().value(0).id != former, loadTimeout);
    QVERIFY(!program->viewModel().fileList().isEmpty());
    QCOMPARE(uploaded.count(), 0);
    QCOMPARE(processvalues::cardDevicePath(), other);
}

void TestApplication::fullScreen_isFollowed()
{
    Program program(makeImageDesktop(m_image, std::nullopt));
    QVERIFY(program.window);
    program.window->showFullScreen();
    QTRY_VERIFY(program.viewModel().isFullScreen());
    program.window->setWindowStates(Qt::WindowFullScreen | Qt::WindowMinimized);
    QTRY_COMPARE(program.window->visibility(), QWindow::Minimized);
    QVERIFY(program.viewModel().isFullScreen()); // was not left
    program.window->showNormal();
    QTRY_VERIFY(!program.viewModel().isFullScreen());
    program.window->showMinimized();
    QTRY_COMPARE(program.window->visibility(), QWindow::Minimized);
    program.view.windowDelegate()->bringForward();
    QTRY_COMPARE(program.window->visibility(), QWindow::Windowed);
}

void TestApplication::everyControlHasAName()
{
    const auto program = startWithCard();
    QVERIFY(program);
    program->viewModel().tapRow(0);
    QTRY_COMPARE_WITH_TIMEOUT(program->viewModel().videoPlayers().size(), channels, loadTimeout);
    program->viewModel().setAlertMessage(QStringLiteral("알림"));
    QTRY_VERIFY(program->probe().find(QAccessible::AlertMessage, QStringLiteral("알림")));
    QCOMPARE(program->probe().controlsWithoutName(), QStringList());

    QQuickItem *button = program->probe().find(QAccessible::Button, QStringLiteral("확인"));
    QVERIFY(button);
    program->probe().click(button);
    QTRY_VERIFY(!program->viewModel().alertMessage());
    QVERIFY(!program->view.overlay().isVisible);
}

void TestApplication::quitting_data()
{
    QTest::addColumn<QString>("route");
    QTest::addColumn<bool>("yes");
    QTest::addColumn<bool>("byKey");
    QTest::newRow("close button, yes") << QStringLiteral("close") << true << false;
    QTest::newRow("close button, no") << QStringLiteral("close") << false << false;
    QTest::newRow("shortcut, Return") << QStringLiteral("shortcut") << true << true;
    QTest::newRow("shortcut, Escape") << QStringLiteral("shortcut") << false << true;
    QTest::newRow("the application's quit, yes") << QStringLiteral("quit") << true << false;
    QTest::newRow("the application's quit, no") << QStringLiteral("quit") << false << false;
}

void TestApplication::quitting()
{
    Program program(makeImageDesktop(m_image, std::nullopt));
    QVERIFY(program.window && QTest::qWaitForWindowActive(program.window));
    WindowDelegate &delegate = *program.view.windowDelegate();
    const QString recording = extracted(QStringLiteral("mov/normal/N_20240309_170559.mp4"));
    const QString settings = extracted(QStringLiteral("cfg/bbox.ini"));
    for (const QString &path : {recording, settings}) {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    program.viewModel().setAlertMessage(QStringLiteral("알림"));

    QFETCH(const QString, route);
    const auto areFilesThere = [&] { return QFile::exists(recording) && QFile::exists(settings); };
    bool wereFilesThere = false; // when the window went
    const QObject context;
    connect(program.window, &QWindow::visibleChanged, &context, [&] { wereFilesThere = areFilesThere(); });
    if (route == u"close")
        program.window->close();
    else if (route == u"shortcut")
        QTest::keyClick(program.window, Qt::Key_Q, Qt::ControlModifier);
    else
        QCoreApplication::postEvent(qApp, new QEvent(QEvent::Quit)); // quit() does nothing without exec()
    QTRY_VERIFY(delegate.isConfirming());
    QVERIFY(program.window->isVisible());
    QVERIFY(program.viewModel().isAlerting());
    QCOMPARE(program.exits, 0);
    const WindowProbe probe = program.probe();
    QTRY_VERIFY(probe.find(QAccessible::StaticText, QStringLiteral("종료 하시겠습니까?")));

    QFETCH(const bool, yes);
    QFETCH(const bool, byKey);
    QQuickItem *button = nullptr;
    QTRY_VERIFY(button =
                    probe.find(QAccessible::Button, yes ? QStringLiteral("예") : QStringLiteral("아니오")));
    if (!byKey) {
        probe.click(button);
    } else {
        QTRY_VERIFY(probe.find(QAccessible::Button, QStringLiteral("예"))->hasActiveFocus());
        probe.press(yes ? Qt::Key_Return : Qt::Key_Escape);
    }
    QTRY_VERIFY(!delegate.isConfirming());
    QTRY_COMPARE(program.exits, yes ? 1 : 0);
    QCOMPARE(program.window->isVisible(), !yes);
    QCOMPARE(program.viewModel().isAlerting(), yes);
    QCOMPARE(areFilesThere(), !yes);
    QCOMPARE(wereFilesThere, yes); // the window doesn't wait for them
    QCOMPARE(program.viewModel().alertMessage(), std::make_optional(QStringLiteral("알림")));
}

void TestApplication::sessionEnd_doesNotAsk()
{
    Program program(makeImageDesktop(m_image, std::nullopt));
    auto &application = static_cast<Application &>(*qApp);
    connect(&application, &Application::sessionEnded, &program.view,
            [&] { program.view.quit(std::chrono::seconds(4)); });
    application.sessionWillEnd();
    program.window->close(); // somebody objected to the end, and now the user quits
    QVERIFY(program.view.windowDelegate()->isConfirming());
    QCoreApplication::postEvent(qApp, new QEvent(QEvent::Quit));
    QTRY_COMPARE(program.exits, 1);
    QVERIFY(!program.window->isVisible());
}

void TestApplication::quittingTwice_asksOnce()
{
    int ends = 0;
    WindowDelegate delegate; // no state was handed over yet
    delegate.setQuit([&] { ++ends; });
    QSignalSpy changes(&delegate, &WindowDelegate::isConfirmingChanged);
    QVERIFY(!delegate.windowShouldClose());
    QVERIFY(!delegate.windowShouldClose());
    QCOMPARE(changes.count(), 1);
    delegate.answer(false);
    delegate.answer(true); // an answer to nothing
    QCOMPARE(ends, 0);
    QVERIFY(!delegate.windowShouldClose());
    delegate.answer(true);
    QCOMPARE(ends, 1);
    delegate.closeWithoutAsking();
    QVERIFY(delegate.windowShouldClose());
}

int main(int argc, char **argv)
{
    const QTemporaryDir home;
    for (const char *folder : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        qputenv(folder, home.filePath(QString::fromLatin1(folder)).toUtf8());
    qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
    Application application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    applyAppearance();
    QAccessible::setActive(true);
    TestApplication test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_application.moc"
