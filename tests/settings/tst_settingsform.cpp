#include "settingscard.h"
#include "style/style.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

/// A card and the state of a form over it, at the hands of the QML tests: `rig`.
class Rig : public QObject
{
    Q_OBJECT
public:
    /// Puts the camera's files on the card. The state lives until the next one is made.
    Q_INVOKABLE QObject *insert(const QString &ini, const QString &cfg)
    {
        m_card.putIni(ini.toUtf8());
        m_card.putCfg(cfg.toUtf8());
        m_settings = std::make_unique<SettingsViewModel>(m_card.files());
        QQmlEngine::setObjectOwnership(m_settings.get(), QQmlEngine::CppOwnership);
        return m_settings.get();
    }
    Q_INVOKABLE QStringList savedLines() const { return QString::fromUtf8(m_card.savedCfg()).split(u'\n'); }

private:
    SettingsCard m_card;
    std::unique_ptr<SettingsViewModel> m_settings;
};

class Setup : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void applicationAvailable() { applyStyle(); }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_rig = std::make_unique<Rig>();
        engine->rootContext()->setContextProperty(QStringLiteral("rig"), m_rig.get());
    }

private:
    std::unique_ptr<Rig> m_rig;
};

QUICK_TEST_MAIN_WITH_SETUP(settings, Setup)
#include "tst_settingsform.moc"
