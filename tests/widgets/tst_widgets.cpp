#include <QIcon>
#include <QQmlEngine>
#include <QtQuickTest>

/// Runs the tst_*.qml files beside it, with an icon theme that has one icon of its own.
class Setup : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void applicationAvailable()
    {
        QIcon::setThemeSearchPaths({QStringLiteral(QUICK_TEST_SOURCE_DIR "/icons")});
        QIcon::setThemeName(QStringLiteral("desktop"));
    }
    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/qt/qml")); }
};

QUICK_TEST_MAIN_WITH_SETUP(widgets, Setup)
#include "tst_widgets.moc"
