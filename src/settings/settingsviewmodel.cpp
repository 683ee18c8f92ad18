#include "settingsviewmodel.h"

#include "common/bundle.h"
#include "common/log.h"
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

SettingsViewModel::CardTexts SettingsViewModel::readCard() const
{
    CardTexts texts{m_files.readConfig(iniName), m_files.readSDCard(cfgName)};
    if (!texts.cfg)
        texts.cfg = m_files.readConfig(cfgName);
    return texts;
}

void SettingsViewModel::loadSettings()
{
    m_loaded = readCard();
    if (m_loaded.ini) {
        m_iniData = parseSettings(*m_loaded.ini);
        applySettings(m_iniData);
    }
    if (!m_loaded.cfg)
        return;
    m_cfgData = parseSettings(*m_loaded.cfg);
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

QVariantList SettingsViewModel::options(const QString &field)
{
    QVariantList options;
    for (const SettingsKey &key : settingsKeys()) {
        if (field != QLatin1StringView(key.field))
            continue;
        for (qsizetype i = 0; i < key.options.size(); ++i) {
            const bool isGated = key.gate && i >= key.gatedFrom;
            options.append(QVariantMap{{QStringLiteral("id"), key.idOf(i)},
                                       {QStringLiteral("title"), key.options[i].label},
                                       {QStringLiteral("shares"), QVariant::fromValue(key.options[i].shares)},
                                       {QStringLiteral("gate"), QLatin1String(isGated ? key.gate : "")}});
        }
    }
    return options;
}

void SettingsViewModel::resetSettings() { applySettings(m_iniData); }

void SettingsViewModel::cardChanged() { m_hasCardChanged = true; }

void SettingsViewModel::saveSettings()
{
    if (m_hasCardChanged && isOnAnotherCard())
        logLine(QStringLiteral("[SettingsViewModel] saveSettings failed: this isn't the card that was read"));
    else
        writeCfg();
    Q_EMIT closeRequested();
}

/// The camera's own copies go with the card's session and come back with the next one, so that a bbox.ini
/// which can't be read tells nothing.
bool SettingsViewModel::isOnAnotherCard() const
{
    const CardTexts now = readCard();
    return now.cfg != m_loaded.cfg || (now.ini && now.ini != m_loaded.ini);
}

void SettingsViewModel::writeCfg()
{
    fillCfgData();
    QStringList order = settingsKeyOrder(m_loaded.cfg.value_or(QString()));
    for (const SettingsKey &key : settingsKeys())
        order.append(key.key);
    m_files.saveToSDCard(cfgName, composeSettings(m_cfgData, order));
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
