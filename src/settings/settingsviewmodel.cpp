#include "settingsviewmodel.h"

#include "common/bundle.h"
#include "settingskeys.h"

#include <QMetaProperty>

namespace {

const auto iniName = QStringLiteral("bbox.ini");
const auto cfgName = QStringLiteral("bbox.cfg");

/// In the machine's time zone, with ASCII digits whatever the locale.
QString clockText(const QDateTime &date) { return date.toLocalTime().toString(u"yyyy,MM,dd,HH,mm,ss"); }

} // namespace

SettingsViewModel::SettingsViewModel(SettingsFiles files, QObject *parent)
    : QObject(parent)
    , m_files(std::move(files))
{
}

QString SettingsViewModel::applicationName() const { return ::applicationName(); }

QString SettingsViewModel::applicationVersion() const
{
    return QStringLiteral("%1 (Build %2)").arg(shortVersion(), buildVersion());
}

void SettingsViewModel::loadSettings()
{
    if (const auto ini = m_files.readConfig(iniName)) {
        m_iniData = parseSettings(*ini);
        applySettings(m_iniData);
    }
    auto cfg = m_files.readSDCard(cfgName);
    if (!cfg)
        cfg = m_files.readConfig(cfgName);
    if (!cfg)
        return;
    m_cfgData = parseSettings(*cfg);
    m_cfgOrder = settingsKeyOrder(*cfg);
    applySettings(m_cfgData);
}

void SettingsViewModel::applySettings(const SettingsDictionary &dictionary)
{
    for (const SettingsKey &key : settingsKeys()) {
        if (key.readFrom == SettingsSource::None)
            continue;
        const SettingsDictionary &source = key.readFrom == SettingsSource::Ini ? m_iniData : dictionary;
        QVariant value = key.valueOf(source.value(key.key, key.byDefault));
        const bool isGated = key.gate && !property(key.gate).toBool();
        if (isGated && value.toLongLong() >= key.gatedFrom)
            value = QVariant(value.metaType()); // off or 0
        setField(key.field, value);
    }
}

void SettingsViewModel::setField(const char *field, const QVariant &value)
{
    const int index = metaObject()->indexOfProperty(field);
    Q_ASSERT(index >= 0);
    metaObject()->property(index).write(this, value);
}

void SettingsViewModel::resetSettings() { applySettings(m_iniData); }

void SettingsViewModel::saveSettings()
{
    fillCfgData();
    QStringList order = m_cfgOrder;
    for (const SettingsKey &key : settingsKeys())
        order.append(key.key);
    m_files.saveToSDCard(cfgName, composeSettings(m_cfgData, order));
    Q_EMIT closeRequested();
}

void SettingsViewModel::fillCfgData()
{
    for (const SettingsKey &key : settingsKeys()) {
        if (key.written == SettingsWriting::Never)
            continue;
        if (key.written == SettingsWriting::WithTimeSync && !m_isTimeSyncEnabled) {
            m_cfgData.remove(key.key);
            continue;
        }
        const QString text = key.kind == SettingsValue::Date
            ? clockText(m_changedDate)
            : key.textOf(key.field ? property(key.field) : QVariant());
        m_cfgData.insert(key.key, text);
    }
}
