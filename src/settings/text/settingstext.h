#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QStringView>

/// The parsed form of a camera's settings file, bbox.ini or bbox.cfg. Keys and values are trimmed.
using SettingsDictionary = QHash<QString, QString>;

/// Takes each line with exactly one "=" as key and value; every other line tells nothing. The last line of a
/// key counts. There are no sections, comments, quotes or escapes. Never fails.
[[nodiscard]] SettingsDictionary parseSettings(QStringView text);

/// The keys of such a text in the order in which they first stand there.
[[nodiscard]] QStringList settingsKeyOrder(QStringView text);

/// "[bbox]" and one line for each entry, with LF in between and none at the end: first the keys of order,
/// then the others by their texts. Nothing can be escaped in this format: a line end in an entry would break
/// it.
[[nodiscard]] QString composeSettings(const SettingsDictionary &settings, const QStringList &order);
