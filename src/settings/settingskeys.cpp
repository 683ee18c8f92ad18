#include "settingskeys.h"

#include "common/text.h"

#include <limits>

namespace {

constexpr qint64 lowestOffset = -12; // hours

qint64 saturatingSum(qint64 a, qint64 b)
{
    qint64 sum = 0;
    if (!__builtin_add_overflow(a, b, &sum))
        return sum;
    return b > 0 ? std::numeric_limits<qint64>::max() : std::numeric_limits<qint64>::min();
}

QString flagText(bool isOn) { return isOn ? QStringLiteral("1") : QStringLiteral("0"); }

const QStringList &volumes()
{
    static const QStringList table{QStringLiteral("0"), QStringLiteral("60"), QStringLiteral("88"),
                                   QStringLiteral("100")};
    return table;
}

/// Millivolts; the first is no cut-off. From firstHybridVoltage on they are for hybrid cars.
const QStringList &voltages()
{
    static const QStringList table{QStringLiteral("0"),     QStringLiteral("11800"), QStringLiteral("12000"),
                                   QStringLiteral("12200"), QStringLiteral("12400"), QStringLiteral("12700"),
                                   QStringLiteral("12900"), QStringLiteral("13100"), QStringLiteral("13300")};
    return table;
}
constexpr qint64 firstHybridVoltage = 5;

/// Seconds until the camera's screen goes dark.
const QStringList &offTimes()
{
    static const QStringList table{QStringLiteral("0"), QStringLiteral("60"), QStringLiteral("180"),
                                   QStringLiteral("300")};
    return table;
}

/// Codes of the camera: off, 6, 12, 24 and 48 hours.
const QStringList &recTimes()
{
    static const QStringList table{QStringLiteral("0"), QStringLiteral("2"), QStringLiteral("3"),
                                   QStringLiteral("4"), QStringLiteral("5")};
    return table;
}

SettingsKey capability(QStringView key, const char *field)
{
    return {key.toString(),      SettingsValue::Capability, field,
            QStringLiteral("1"), SettingsSource::Ini,       SettingsWriting::Never};
}

SettingsKey given(QStringView key, SettingsValue kind, const char *field, QStringView byDefault)
{
    return {key.toString(),         kind, field, byDefault.toString(), SettingsSource::Given,
            SettingsWriting::Always};
}

SettingsKey gatedFlag(QStringView key, const char *field, const char *gate)
{
    SettingsKey row = given(key, SettingsValue::Flag, field, u"0");
    row.gate = gate;
    return row;
}

SettingsKey indexed(QStringView key, const char *field, const QStringList &table, QStringView byDefault)
{
    SettingsKey row = given(key, SettingsValue::Table, field, byDefault);
    row.table = table;
    return row;
}

SettingsKey voltage()
{
    SettingsKey row = indexed(u"limit_volt", "limitVoltIndex", voltages(), u"12000");
    row.gate = "useHybrid";
    row.gatedFrom = firstHybridVoltage;
    return row;
}

SettingsKey shown(QStringView key, const char *field)
{
    SettingsKey row = given(key, SettingsValue::Text, field, u"");
    row.written = SettingsWriting::Never;
    return row;
}

SettingsKey clock()
{
    SettingsKey row = given(u"sync_time", SettingsValue::Date, "syncTime", u"0000,00,00,00,00,00");
    row.written = SettingsWriting::WithTimeSync;
    return row;
}

/// Tells the camera that a computer changed its settings.
SettingsKey editMark()
{
    return {QStringLiteral("pc_edit"), SettingsValue::On,    nullptr,
            QStringLiteral("1"),       SettingsSource::None, SettingsWriting::Always};
}

QList<SettingsKey> makeKeys()
{
    using enum SettingsValue;
    return {
        capability(u"use_ldws", "useLdws"),
        capability(u"use_fvsa", "useFvsa"),
        capability(u"use_safe_drive", "useSafeDrive"),
        capability(u"use_hybrid", "useHybrid"),
        capability(u"use_secret", "useSecretMode"),
        editMark(),
        given(u"mem_type", Integer, "storagePriority", u"0"),
        given(u"mic", Flag, "isVoiceRecording", u"0"),
        given(u"voice_alarm", Flag, "isVoiceGuide", u"0"),
        given(u"audio_effect", Flag, "isEffectSound", u"0"),
        indexed(u"volume", "volumeIndex", volumes(), u"100"),
        given(u"event_sens", Integer, "eventSensitivity", u"0"),
        given(u"motion_sens", Integer, "motionSensitivity", u"0"),
        gatedFlag(u"ldws", "isLdws", "useLdws"),
        gatedFlag(u"fvsa", "isFvsa", "useFvsa"),
        gatedFlag(u"safe_drive", "isSafeDrive", "useSafeDrive"),
        given(u"adas_alarm", Flag, "isAdasAlarm", u"0"),
        given(u"ldws_l", Integer, "ldwsLSensitivity", u"0"),
        given(u"ldws_r", Integer, "ldwsRSensitivity", u"0"),
        given(u"drive_type", Integer, "driveType", u"0"),
        given(u"parking_mode", Integer, "parkingMode", u"0"),
        voltage(),
        indexed(u"lcd_offtime", "lcdOffTimeIndex", offTimes(), u"60"),
        given(u"rec_qual", Integer, "recQuality", u"0"),
        indexed(u"rec_time", "recTimeIndex", recTimes(), u"2"),
        given(u"gmt", Offset, "gmtIndex", u"0"),
        clock(),
        given(u"secret_mode", Flag, "isSecretMode", u"0"),
        given(u"wifi_ssid_1", Text, "wifiSSID", u""),
        given(u"wifi_sspw_1", Text, "wifiPW", u""),
        shown(u"model", "modelName"),
        shown(u"version", "fwVersion"),
        shown(u"safe_db_ver", "safeDBversion"),
    };
}

} // namespace

QVariant SettingsKey::valueOf(const QString &text) const
{
    const qint64 integer = text::parseInteger(text).value_or(0);
    switch (kind) {
    case SettingsValue::Capability: return integer == 1;
    case SettingsValue::Flag: return text == u"1";
    case SettingsValue::Integer: return integer;
    case SettingsValue::Offset: return saturatingSum(integer, -lowestOffset);
    case SettingsValue::Table: return qint64{std::max<qsizetype>(0, table.indexOf(text))};
    case SettingsValue::Text:
    case SettingsValue::Date: return text;
    case SettingsValue::On: break;
    }
    return {};
}

QString SettingsKey::textOf(const QVariant &value) const
{
    switch (kind) {
    case SettingsValue::Capability:
    case SettingsValue::Flag: return flagText(value.toBool());
    case SettingsValue::Integer: return QString::number(value.toLongLong());
    case SettingsValue::Offset: return QString::number(saturatingSum(value.toLongLong(), lowestOffset));
    case SettingsValue::Table: return table.value(value.toLongLong(), table.value(0));
    case SettingsValue::Text:
    case SettingsValue::Date: return value.toString();
    case SettingsValue::On: break;
    }
    return flagText(true);
}

const QList<SettingsKey> &settingsKeys()
{
    static const QList<SettingsKey> keys = makeKeys();
    return keys;
}
