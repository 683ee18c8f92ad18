#pragma once

#include "app/session/appviewmodel.h"

#include <functional>
#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QWindow>

/// Decides about the main window's closing, and follows its full-screen state.
///
/// Every way of quitting by the user ends in windowShouldClose(): the close button and the application's quit
/// through the window's close event, a shortcut by a call. It puts the confirmation up and answers no; the
/// window closes later, when the user says yes. Until a view model is set the confirmation works without one.
class WindowDelegate : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by ContentView")
    Q_PROPERTY(bool isConfirming READ isConfirming NOTIFY isConfirmingChanged FINAL)

public:
    using QObject::QObject;

    void setViewModel(AppViewModel *viewModel) { m_viewModel = viewModel; }
    void setWindow(QWindow *window); ///< from here on its close and full-screen events come here
    void setQuit(std::function<void()> quit) { m_quit = std::move(quit); }

    /// The confirmation is up.
    [[nodiscard]] bool isConfirming() const { return m_isConfirming; }
    /// Asks for the confirmation, unless it is up or the program is ending. Whether the window may close now.
    Q_INVOKABLE bool windowShouldClose();
    /// The user's answer. Yes ends the program.
    Q_INVOKABLE void answer(bool yes);
    void closeWithoutAsking();
    void bringForward(); ///< in front of other windows, as far as the desktop lets us

    bool eventFilter(QObject *watched, QEvent *event) override;

Q_SIGNALS:
    void isConfirmingChanged();
    void windowWillClose();

private:
    void followVisibility(QWindow::Visibility visibility);
    void windowWillEnterFullScreen();
    void windowWillExitFullScreen();

    QPointer<AppViewModel> m_viewModel;
    QPointer<QWindow> m_window;
    std::function<void()> m_quit;
    bool m_isConfirming = false;
    bool m_mayClose = false;
    bool m_isFullScreen = false;
};
