#pragma once

class ContentView;
class QQmlApplicationEngine;
class QQuickWindow;

/// Loads the main window on the state that view owns, and shows it. view outlives the engine.
/// Null if the QML can't be loaded; the engine has then told why on standard error.
[[nodiscard]] QQuickWindow *openMainWindow(QQmlApplicationEngine &engine, ContentView &view);
