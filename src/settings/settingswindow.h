#pragma once

#include "settingsfiles.h"

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>

class SettingsViewModel;

/// Owns at most one settings window. Each window has state of its own, read from the card when it opens and
/// gone with it. Main thread.
class SettingsWindow : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made with the main window")
    Q_PROPERTY(QQuickWindow *window READ window NOTIFY windowChanged FINAL)

public:
    explicit SettingsWindow(SettingsFiles files, QObject *parent = nullptr);
    ~SettingsWindow() override;

    /// Opens the window above its parent, which QML made; one that is open comes forward, edits and all.
    Q_INVOKABLE void show(QQuickWindow *parentWindow);
    /// A card came or went.
    void cardChanged();
    [[nodiscard]] QQuickWindow *window() const { return m_window; } ///< null while closed

Q_SIGNALS:
    void windowChanged();

private:
    void open(QQuickWindow *parentWindow);
    void windowWillClose();

    SettingsFiles m_files;
    QPointer<QQuickWindow> m_window;
    QPointer<SettingsViewModel> m_viewModel; ///< of that window
};
