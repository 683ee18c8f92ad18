#pragma once

#include <QList>
#include <QString>
#include <QVariant>

/// How the text of a key stands for the value of a field.
enum class SettingsValue {
    Capability, ///< bool: on for any integer of value 1; empty or malformed is off
    Flag, ///< bool: on for exactly "1"
    Integer, ///< qint64: as the integer rule has it; malformed is 0
    Offset, ///< qint64: an integer from -12 upwards, told from 0 upwards
    Table, ///< qint64: index of the text among the options; 0 for any other text
    Text, ///< QString
    Date, ///< QString as read; written is the clock value that the form sends
    On, ///< no field; "1" is written
};

enum class SettingsSource {
    None,
    Ini, ///< what the model can do: always from bbox.ini
    Given, ///< from the dictionary that is being applied
};

enum class SettingsWriting {
    Never,
    Always,
    WithTimeSync, ///< only if a clock value is to be sent; the key is removed otherwise
};

/// One of the values that the form offers for a key.
struct SettingsOption {
    QString value; ///< the camera's text
    QString label; ///< the form's; empty for a step of a slider
    QList<int> shares = {}; ///< percentages of the card for continuous, event, parking, manual recordings
};

/// All that there is to know about one key of bbox.ini and bbox.cfg.
struct SettingsKey {
    QString key;
    SettingsValue kind;
    const char *field; ///< of SettingsViewModel; null: none
    QString byDefault; ///< the text of a missing key
    SettingsSource readFrom;
    SettingsWriting written;
    QList<SettingsOption> options = {}; ///< in the form's order; the last ones may need `gate`
    const char *gate =
        nullptr; ///< field without which values from gatedFrom on can't be: they become 0 or off
    qint64 gatedFrom = 1;

    /// Of the field's own type.
    [[nodiscard]] QVariant valueOf(const QString &text) const;
    /// Not for dates.
    [[nodiscard]] QString textOf(const QVariant &value) const;
    /// The field's value for one of the options.
    [[nodiscard]] qint64 idOf(qsizetype option) const;
};

/// In the order in which they are applied: a gate stands before what it gates. New lines of a file are
/// written in this order, too.
[[nodiscard]] const QList<SettingsKey> &settingsKeys();
