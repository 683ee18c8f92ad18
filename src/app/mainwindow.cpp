#include "mainwindow.h"

#include "contentview.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

QQuickWindow *openMainWindow(QQmlApplicationEngine &engine, ContentView &view)
{
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.setInitialProperties({{QStringLiteral("view"), QVariant::fromValue(&view)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Vornex/App/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return nullptr;
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
    if (window)
        view.showWindow(window);
    return window;
}
