#include "contentview.h"

#include "card/processmanager.h"
#include "card/processvalues.h"
#include "card/sdmanager.h"
#include "common/bundle.h"
#include "common/log.h"
#include "common/task.h"
#include "desktop/desktop.h"
#include "desktop/imagedesktop.h"
#include "playback/multitrackplayer.h"

#include <QPointer>
#include <QQuickWindow>
#include <QScreen>
#include <QTimer>
#include <utility>

namespace {

constexpr QSize firstWindowSize(1100, 720);
constexpr std::chrono::seconds patienceOfUser(30); // behind a window that has gone; 80 GB or more are deleted

/// Those of the card that is in. The manager has to outlive them.
SettingsFiles settingsFilesOf(ProcessManager &manager)
{
    return {[&manager](const QString &name) { return manager.readConfig(name); },
            [&manager](const QString &name) { return manager.readSDCard(name); },
            [&manager](const QString &name, const QString &text) { manager.saveToSDCard(name, text); }};
}

} // namespace

ContentView::ContentView(Desktop &desktop, MovieOpener openMovie, Preferences &preferences,
                         std::function<void()> exit, QObject *parent)
    : QObject(parent)
    , m_viewModel(std::make_unique<AppViewModel>(desktop, std::move(openMovie), preferences))
    , m_sdManager(std::make_unique<SDManager>(*desktop.diskWatcher))
    , m_settingsWindow(settingsFilesOf(m_viewModel->procManager()))
    , m_exit(std::move(exit))
{
    m_windowDelegate.setQuit([this] { quit(patienceOfUser); });
    connect(&m_windowDelegate, &WindowDelegate::windowWillClose, this, &ContentView::mainWindowWillClose);
    connect(m_sdManager.get(), &SDManager::detectedDiskChanged, this, &ContentView::onDetectedDiskChanged);
    connect(m_sdManager.get(), &SDManager::detectedDiskChanged, &m_settingsWindow,
            &SettingsWindow::cardChanged);
    for (const auto signal : {&AppViewModel::isAlertingChanged, &AppViewModel::alertMessageChanged,
                              &AppViewModel::procMessageChanged, &AppViewModel::downloadMessageChanged})
        connect(m_viewModel.get(), signal, this, &ContentView::updateOverlay);
}

ContentView::~ContentView() = default;

QString ContentView::title() const { return tr("Vornex %1 (%2)").arg(shortVersion(), buildVersion()); }

void ContentView::showWindow(QWindow *window)
{
    window->resize(firstWindowSize);
    if (const QScreen *screen = window->screen()) {
        QRect frame({}, firstWindowSize);
        frame.moveCenter(screen->availableGeometry().center());
        window->setPosition(frame.topLeft());
    }
    m_windowDelegate.setViewModel(m_viewModel.get());
    m_windowDelegate.setWindow(window);
    window->show();
}

void ContentView::appear()
{
    startTask(this, [this] { return setUp(); });
}

QCoro::Task<> ContentView::setUp()
{
    const QPointer<ContentView> self(this);
    const bool success = co_await m_viewModel->procManager().setup();
    if (!self)
        co_return;
    m_isInitialized = success;
    updateOverlay();
    if (m_isEnding)
        co_return;
    if (!success) {
        m_windowDelegate.closeWithoutAsking();
        m_exit();
        co_return;
    }
    m_sdManager->startMonitoring();
    if (m_image)
        m_sdManager->watch(*m_image);
}

void ContentView::onDetectedDiskChanged()
{
    const QString path = m_sdManager->detectedDisk().value_or(QString());
    updateOverlay();
    if (path == m_cardPath)
        return;
    m_cardPath = path;
    path.isEmpty() ? cardDetached() : cardAttached();
}

void ContentView::cardAttached()
{
    logLine(QStringLiteral("[ContentView] SD Card Attached"));
    m_viewModel->loadFileList();
}

void ContentView::cardDetached()
{
    logLine(QStringLiteral("[ContentView] SD Card Detached"));
    m_sdManager->setDetectedDisk(std::nullopt);
    m_viewModel->unloadFileList();
}

void ContentView::mainWindowWillClose()
{
    logLine(QStringLiteral("[ContenView] willCloseNotification"));
    m_viewModel->playerManager()->stop();
    m_viewModel->cancelLoading();
}

void ContentView::updateOverlay()
{
    const Overlay overlay = Overlay::of({
        m_isInitialized,
        m_viewModel->isAlerting(),
        m_sdManager->detectedDisk().has_value(),
        m_viewModel->alertMessage(),
        m_viewModel->procMessage(),
        m_viewModel->downloadMessage(),
    });
    if (overlay == m_overlay)
        return;
    m_overlay = overlay;
    Q_EMIT overlayChanged();
}

void ContentView::overlayButtonPressed()
{
    switch (m_overlay.action) {
    case Overlay::Action::DismissAlert: m_viewModel->setAlertMessage(std::nullopt); break;
    case Overlay::Action::DismissDownload: m_viewModel->setDownloadMessage(std::nullopt); break;
    case Overlay::Action::None: break;
    }
}

void ContentView::openCardImage(const QString &path)
{
    m_image = std::make_unique<ImageDiskWatcher>(path);
    if (m_isInitialized && !m_isEnding)
        m_sdManager->watch(*m_image);
}

void ContentView::quit(std::chrono::milliseconds patience)
{
    if (std::exchange(m_isEnding, true))
        return;
    Q_EMIT ending();
    if (QQuickWindow *settings = m_settingsWindow.window())
        settings->hide();
    m_windowDelegate.closeWithoutAsking();
    startTask(this, [this] { return cleanUp(); });
    QTimer::singleShot(patience, this, m_exit);
}

QCoro::Task<> ContentView::cleanUp()
{
    const QPointer<ContentView> self(this);
    ProcessManager &tools = m_viewModel->procManager();
    tools.endToolWork();
    tools.deleteDirectory(processvalues::tempRoot() + QStringLiteral("cfg"));
    tools.deleteDirectory(processvalues::tempRoot() + QStringLiteral("mov"));
    co_await tools.deleted();
    if (self)
        m_exit();
}
