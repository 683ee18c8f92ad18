#include "windowdelegate.h"

#include "card/processmanager.h"
#include "card/processvalues.h"
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
    deleteExtractedFiles();
    m_terminate();
}

void WindowDelegate::deleteExtractedFiles()
{
    if (!m_viewModel)
        return;
    ProcessManager &procManager = m_viewModel->procManager();
    procManager.deleteDirectory(processvalues::tempRoot() + QStringLiteral("cfg"));
    procManager.deleteDirectory(processvalues::tempRoot() + QStringLiteral("mov"));
}

void WindowDelegate::closeWithoutAsking()
{
    m_mayClose = true;
    if (m_window)
        m_window->close();
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

void WindowDelegate::followVisibility(QWindow::Visibility visibility)
{
    const bool isFullScreen = visibility == QWindow::FullScreen;
    if (isFullScreen == m_isFullScreen)
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
