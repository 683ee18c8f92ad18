#include "settingswindow.h"

#include "common/log.h"
#include "settingsviewmodel.h"

#include <memory>
#include <QQmlComponent>
#include <QScreen>

namespace {

constexpr QSize contentSize(1100, 780);
constexpr int titleBarHeight = 40; // roughly; what a small screen has to leave for it

/// In the middle of the screen, and not larger than it; nobody can change the size.
void fixGeometry(QQuickWindow *window)
{
    const QRect free = window->screen()->availableGeometry().adjusted(0, titleBarHeight, 0, 0);
    const QSize size = contentSize.boundedTo(free.size());
    window->setMinimumSize(size);
    window->setMaximumSize(size);
    window->setGeometry(QRect(free.center() - QRect({}, size).center(), size));
}

} // namespace

SettingsWindow::SettingsWindow(SettingsFiles files, QObject *parent)
    : QObject(parent)
    , m_files(std::move(files))
{
}

SettingsWindow::~SettingsWindow()
{
    if (!m_window)
        return;
    m_window->disconnect(this);
    delete m_window;
}

void SettingsWindow::show(QQuickWindow *parentWindow)
{
    if (!m_window)
        open(parentWindow);
    if (!m_window)
        return;
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
}

void SettingsWindow::cardChanged()
{
    if (m_window && m_viewModel)
        m_viewModel->cardChanged();
}

void SettingsWindow::open(QQuickWindow *parentWindow)
{
    QQmlComponent component(qmlEngine(parentWindow),
                            QUrl(QStringLiteral("qrc:/qt/qml/Vornex/Settings/SettingsFrame.qml")));
    auto viewModel = std::make_unique<SettingsViewModel>(m_files);
    std::unique_ptr<QObject> created(component.createWithInitialProperties(
        {{QStringLiteral("vm"), QVariant::fromValue(viewModel.get())},
         {QStringLiteral("transientParent"), QVariant::fromValue(parentWindow)}}));
    auto *window = qobject_cast<QQuickWindow *>(created.get());
    if (!window) {
        logLine(QStringLiteral("[SettingsWindow] ") + component.errorString());
        return;
    }
    connect(window, &QWindow::visibleChanged, this, [this](bool isVisible) {
        if (!isVisible)
            windowWillClose();
    });
    m_viewModel = viewModel.release();
    m_viewModel->setParent(window); // outlives the controls, which the window takes away first
    window->setScreen(parentWindow->screen());
    fixGeometry(window);
    m_window = static_cast<QQuickWindow *>(created.release());
    Q_EMIT windowChanged();
}

void SettingsWindow::windowWillClose()
{
    logLine(QStringLiteral("[SettingsWindow] windowWillClose"));
    m_window->deleteLater();
    m_window.clear();
    Q_EMIT windowChanged();
}
