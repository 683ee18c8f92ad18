#include "style/style.h"

#include <QIcon>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

/// Changes controls as assistive technologies do it.
class ScreenReader : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void setValue(QObject *control, double value) { control->setProperty("value", value); }
};

/// Runs the tst_*.qml files beside it, with an icon theme that has one icon of its own.
class Setup : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void applicationAvailable()
    {
        applyStyle();
        QIcon::setThemeSearchPaths({QStringLiteral(QUICK_TEST_SOURCE_DIR "/icons")});
        QIcon::setThemeName(QStringLiteral("desktop"));
    }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        engine->rootContext()->setContextProperty(QStringLiteral("reader"), &m_reader);
    }

private:
    ScreenReader m_reader;
};

QUICK_TEST_MAIN_WITH_SETUP(widgets, Setup)
#include "tst_widgets.moc"
