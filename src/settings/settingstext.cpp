#include "settingstext.h"

#include "common/text.h"

SettingsDictionary parseSettings(QStringView text)
{
    SettingsDictionary settings;
    const QStringList lines = text::splitAtNewlines(text);
    for (const QString &line : lines) {
        const qsizetype equals = line.indexOf(u'=');
        if (equals < 0 || line.indexOf(u'=', equals + 1) >= 0)
            continue;
        const QStringView view(line);
        settings.insert(text::trimBlanks(view.first(equals)).toString(),
                        text::trimBlanks(view.sliced(equals + 1)).toString());
    }
    return settings;
}
