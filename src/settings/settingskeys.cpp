#include "settingskeys.h"

#include "common/text.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <QCoreApplication>

using namespace Qt::StringLiterals;

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

QString tr(const char *text) { return QCoreApplication::translate("SettingsKeys", text); }

using Options = QList<SettingsOption>;

/// The numbers from 0, as a slider has them.
Options steps(int count)
{
    Options options;
    for (int step = 0; step < count; ++step)
        options.append({QString::number(step), {}});
    return options;
}

Options storagePriorities()
{
    return {{u"0"_s, tr("주행우선"), {50, 25, 20, 5}},
            {u"1"_s, tr("주행우선2"), {70, 20, 5, 5}},
            {u"2"_s, tr("이벤트우선"), {30, 20, 45, 5}},
            {u"3"_s, tr("주차우선"), {30, 45, 20, 5}}};
}

Options volumes() { return {{u"0"_s, {}}, {u"60"_s, {}}, {u"88"_s, {}}, {u"100"_s, {}}}; }

Options driveTypes() { return {{u"0"_s, tr("기본")}, {u"1"_s, tr("타임랩스")}}; }

Options parkingModes()
{
    return {{u"1"_s, tr("모션인식")},
            {u"2"_s, tr("타임랩스")},
            {u"3"_s, tr("초절전")},
            {u"0"_s, tr("사용안함(블랙박스 종료)")}};
}

/// Millivolts; the first is no cut-off. From firstHybridVoltage on they are for hybrid cars.
Options voltages()
{
    return {{u"0"_s, u"OFF"_s},
            {u"11800"_s, u"11.8v / 23.6v"_s},
            {u"12000"_s, u"12.0v / 24.0v"_s},
            {u"12200"_s, u"12.2v / 24.4v"_s},
            {u"12400"_s, u"12.4v / 24.8v"_s},
            {u"12700"_s, u"12.7v (HYBRID)"_s},
            {u"12900"_s, u"12.9v (HYBRID)"_s},
            {u"13100"_s, u"13.1v (HYBRID)"_s},
            {u"13300"_s, u"13.3v (HYBRID)"_s}};
}
constexpr qint64 firstHybridVoltage = 5;

/// Seconds until the camera's screen goes dark.
Options offTimes()
{
    return {
        {u"0"_s, tr("상시전원")}, {u"60"_s, tr("1분")}, {u"180"_s, tr("3분")}, {u"300"_s, tr("시계화면")}};
}

Options qualities() { return {{u"0"_s, tr("저화질")}, {u"1"_s, tr("고화질")}}; }

/// The values are codes of the camera, not hours.
Options recTimes()
{
    return {{u"0"_s, tr("Off")},
            {u"2"_s, tr("6시간")},
            {u"3"_s, tr("12시간")},
            {u"4"_s, tr("24시간")},
            {u"5"_s, tr("48시간")}};
}

Options timeZones()
{
    Options zones;
    for (qint64 hours = lowestOffset; hours <= -lowestOffset; ++hours)
        zones.append(
            {QString::number(hours),
             u"GMT %1%2:00"_s.arg(hours < 0 ? u'-' : u'+').arg(std::abs(hours), 2, 10, QChar(u'0'))});
    return zones;
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

SettingsKey choice(QStringView key, SettingsValue kind, const char *field, const Options &options,
                   QStringView byDefault = u"0")
{
    SettingsKey row = given(key, kind, field, byDefault);
    row.options = options;
    return row;
}

SettingsKey voltage()
{
    SettingsKey row = choice(u"limit_volt", SettingsValue::Table, "limitVoltIndex", voltages(), u"12000");
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
        choice(u"mem_type", Integer, "storagePriority", storagePriorities()),
        given(u"mic", Flag, "isVoiceRecording", u"0"),
        given(u"voice_alarm", Flag, "isVoiceGuide", u"0"),
        given(u"audio_effect", Flag, "isEffectSound", u"0"),
        choice(u"volume", Table, "volumeIndex", volumes(), u"100"),
        choice(u"event_sens", Integer, "eventSensitivity", steps(3)),
        choice(u"motion_sens", Integer, "motionSensitivity", steps(3)),
        gatedFlag(u"ldws", "isLdws", "useLdws"),
        gatedFlag(u"fvsa", "isFvsa", "useFvsa"),
        gatedFlag(u"safe_drive", "isSafeDrive", "useSafeDrive"),
        given(u"adas_alarm", Flag, "isAdasAlarm", u"0"),
        choice(u"ldws_l", Integer, "ldwsLSensitivity", steps(5)),
        choice(u"ldws_r", Integer, "ldwsRSensitivity", steps(5)),
        choice(u"drive_type", Integer, "driveType", driveTypes()),
        choice(u"parking_mode", Integer, "parkingMode", parkingModes()),
        voltage(),
        choice(u"lcd_offtime", Table, "lcdOffTimeIndex", offTimes(), u"60"),
        choice(u"rec_qual", Integer, "recQuality", qualities()),
        choice(u"rec_time", Table, "recTimeIndex", recTimes(), u"2"),
        choice(u"gmt", Offset, "gmtIndex", timeZones()),
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
    case SettingsValue::Table: {
        const auto option =
            std::find_if(options.begin(), options.end(),
                         [&](const SettingsOption &candidate) { return candidate.value == text; });
        return option == options.end() ? qint64{0} : qint64{option - options.begin()};
    }
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
    case SettingsValue::Table: return options.value(value.toLongLong(), options.value(0)).value;
    case SettingsValue::Text:
    case SettingsValue::Date: return value.toString();
    case SettingsValue::On: break;
    }
    return flagText(true);
}

qint64 SettingsKey::idOf(qsizetype option) const
{
    return kind == SettingsValue::Integer ? text::parseInteger(options[option].value).value_or(0) : option;
}

const QList<SettingsKey> &settingsKeys()
{
    static const QList<SettingsKey> keys = makeKeys();
    return keys;
}
