#pragma once

#include <QHash>
#include <QString>
#include <QStringView>

/// The parsed form of a camera's settings file, bbox.ini or bbox.cfg. Keys and values are trimmed.
using SettingsDictionary = QHash<QString, QString>;

/// Takes each line with exactly one "=" as key and value; every other line tells nothing. The last line of a
/// key counts. There are no sections, comments, quotes or escapes. Never fails.
[[nodiscard]] SettingsDictionary parseSettings(QStringView text);
