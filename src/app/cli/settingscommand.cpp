#include "settingscommand.h"

#include "card/files.h"
#include "common/text.h"
#include "settings/settingskeys.h"
#include "settings/settingsviewmodel.h"

#include <algorithm>
#include <QCoreApplication>
#include <QIODevice>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaProperty>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("SettingsCommand", text); }

/// All that the form shows or changes: what is constant tells of this program, not of the camera.
bool isField(const QMetaProperty &property)
{
    return property.propertyIndex() >= SettingsViewModel::staticMetaObject.propertyOffset()
        && property.hasNotifySignal();
}

qsizetype tableSizeOf(const char *field)
{
    const QList<SettingsKey> &keys = settingsKeys();
    const auto key = std::find_if(keys.begin(), keys.end(), [field](const SettingsKey &candidate) {
        return candidate.kind == SettingsValue::Table && qstrcmp(candidate.field, field) == 0;
    });
    return key == keys.end() ? 0 : key->options.size();
}

QVariant flagOf(const QString &text)
{
    if (text == u"true" || text == u"1")
        return true;
    return text == u"false" || text == u"0" ? QVariant(false) : QVariant();
}

QVariant integerOf(const QString &text, qsizetype tableSize)
{
    const auto value = text::parseInteger(text);
    const bool isUsable = value && (tableSize == 0 || (*value >= 0 && *value < tableSize));
    return isUsable ? QVariant(*value) : QVariant();
}

/// Of the field's type; invalid if the text doesn't fit it.
QVariant valueOf(const QMetaProperty &field, const QString &text)
{
    switch (field.typeId()) {
    case QMetaType::Bool: return flagOf(text);
    case QMetaType::LongLong: return integerOf(text, tableSizeOf(field.name()));
    case QMetaType::QDateTime: {
        const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
        return date.isValid() ? QVariant(date) : QVariant();
    }
    default: return text::splitAtNewlines(text).size() == 1 ? QVariant(text) : QVariant();
    }
}

Outcome assign(SettingsViewModel &settings, const QString &assignment)
{
    const qsizetype equals = assignment.indexOf(u'=');
    const QByteArray name = assignment.first(std::max<qsizetype>(0, equals)).toUtf8();
    const QMetaObject &type = SettingsViewModel::staticMetaObject;
    const QMetaProperty field = type.property(type.indexOfProperty(name.constData()));
    if (equals < 0 || !field.isValid() || !isField(field))
        return {ExitStatus::Usage, tr("%1: 없는 설정 항목입니다.").arg(assignment)};
    const QVariant value = valueOf(field, assignment.sliced(equals + 1));
    if (!value.isValid())
        return {ExitStatus::Usage, tr("%1: 항목에 맞지 않는 값입니다.").arg(assignment)};
    field.write(&settings, value);
    return {};
}

QByteArray asJson(const SettingsViewModel &settings)
{
    QJsonObject object;
    const QMetaObject &type = SettingsViewModel::staticMetaObject;
    for (int i = type.propertyOffset(); i < type.propertyCount(); ++i) {
        const QMetaProperty field = type.property(i);
        if (!isField(field))
            continue;
        const QVariant value = field.read(&settings);
        object.insert(
            QLatin1String(field.name()),
            field.typeId() == QMetaType::QDateTime ? QJsonValue(
                value.toDateTime().toOffsetFromUtc(value.toDateTime().offsetFromUtc()).toString(Qt::ISODate))
                                                   : QJsonValue::fromVariant(value));
    }
    return QJsonDocument(object).toJson();
}

/// Files of the user's in the place of a card's.
class UserFiles
{
public:
    explicit UserFiles(const SettingsRequest &request)
        : m_request(request)
        , m_target(request.target, request.existing, {request.ini})
    {
        if (!request.target.isEmpty())
            m_outcome = m_target.prepare();
    }
    [[nodiscard]] SettingsFiles files()
    {
        return {
            [this](const QString &name) { return name == u"bbox.ini" ? read(m_request.ini) : std::nullopt; },
            [this](const QString &) { return read(m_request.cfg); },
            [this](const QString &, const QString &text) { save(text); }};
    }
    [[nodiscard]] const Outcome &outcome() const { return m_outcome; }

private:
    std::optional<QString> read(const QString &path)
    {
        if (path.isEmpty())
            return std::nullopt;
        files::ReadText file = files::readText(path);
        if (!file.text)
            m_outcome = {ExitStatus::NoCard, path + QStringLiteral(": ") + file.error};
        return std::move(file.text);
    }
    void save(const QString &text)
    {
        const QString made = m_target.workPath(QStringLiteral("bbox.cfg"));
        const QString error = files::saveText(made, text);
        m_outcome = error.isEmpty()
            ? m_target.takePlace(made)
            : Outcome{ExitStatus::NotWritten, m_request.target + QStringLiteral(": ") + error};
    }

    const SettingsRequest &m_request;
    TargetFile m_target;
    Outcome m_outcome;
};

} // namespace

Outcome carryOut(const SettingsRequest &request, QIODevice *results)
{
    UserFiles userFiles(request);
    if (!userFiles.outcome().isWhole())
        return userFiles.outcome();
    SettingsViewModel settings(userFiles.files());
    settings.loadSettings();
    if (!userFiles.outcome().isWhole())
        return userFiles.outcome();
    if (request.isReset)
        settings.resetSettings();
    for (const QString &assignment : request.assignments) {
        Outcome assigned = assign(settings, assignment);
        if (!assigned.isWhole())
            return assigned;
    }
    if (!request.target.isEmpty())
        settings.saveSettings();
    if (!userFiles.outcome().isWhole())
        return userFiles.outcome();
    return deliver(results, asJson(settings));
}
