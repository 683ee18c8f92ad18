#include "windowdelegate.h"

#include "common/log.h"

#include <QEvent>

void WindowDelegate::setWindow(QWindow *window)
{
    m_window = window;
    window->installEventFilter(this);
    connect(window, &QWindow::visibilityChanged, this, &WindowDelegate::followVisibility);
}

bool WindowDelegate::windowShouldClose()
{
    if (m_mayClose)
        return true;
    if (m_isConfirming)
        return false;
    m_isConfirming = true;
    if (m_viewModel)
        m_viewModel->beginModalAlert();
    Q_EMIT isConfirmingChanged();
    return false;
}

void WindowDelegate::answer(bool yes)
{
    if (!m_isConfirming)
        return;
    m_isConfirming = false;
    if (!yes) {
        if (m_viewModel)
            m_viewModel->endModalAlert();
        Q_EMIT isConfirmingChanged();
        return;
    }
    // isAlerting stays set, so that no overlay flashes up while the program ends.
    Q_EMIT isConfirmingChanged();
    m_quit();
}

void WindowDelegate::closeWithoutAsking()
{
    m_mayClose = true;
    if (m_window)
        m_window->close();
}

void WindowDelegate::bringForward()
{
    if (!m_window)
        return;
    // A request to be activated alone may be denied to who doesn't come from a click.
    m_window->setWindowStates(m_window->windowStates() & ~Qt::WindowMinimized);
    m_window->raise();
    m_window->requestActivate();
}

bool WindowDelegate::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window || event->type() != QEvent::Close)
        return QObject::eventFilter(watched, event);
    if (!windowShouldClose()) {
        event->ignore();
        return true;
    }
    Q_EMIT windowWillClose();
    return false;
}

/// A window that is minimised or hidden keeps what it was.
void WindowDelegate::followVisibility(QWindow::Visibility visibility)
{
    const bool isFullScreen = visibility == QWindow::FullScreen;
    if (isFullScreen == m_isFullScreen || visibility == QWindow::Minimized || visibility == QWindow::Hidden)
        return;
    m_isFullScreen = isFullScreen;
    isFullScreen ? windowWillEnterFullScreen() : windowWillExitFullScreen();
}

void WindowDelegate::windowWillEnterFullScreen()
{
    logLine(QStringLiteral("[WindowDelegate] windowWillEnterFullScreen"));
    if (m_viewModel)
        m_viewModel->setIsFullScreen(true);
}

void WindowDelegate::windowWillExitFullScreen()
{
    logLine(QStringLiteral("[WindowDelegate] windowWillExitFullScreen"));
    if (m_viewModel)
        m_viewModel->setIsFullScreen(false);
}
