#include "settingstext.h"

#include "common/text.h"

#include <algorithm>
#include <QSet>

namespace {

/// Calls take(key, value) for each line that sets one.
template <typename Take> void forEachSetting(QStringView text, const Take &take)
{
    const QStringList lines = text::splitAtNewlines(text);
    for (const QString &line : lines) {
        const qsizetype equals = line.indexOf(u'=');
        if (equals < 0 || line.indexOf(u'=', equals + 1) >= 0)
            continue;
        const QStringView view(line);
        take(text::trimBlanks(view.first(equals)).toString(),
             text::trimBlanks(view.sliced(equals + 1)).toString());
    }
}

} // namespace

SettingsDictionary parseSettings(QStringView text)
{
    SettingsDictionary settings;
    forEachSetting(text, [&](const QString &key, const QString &value) { settings.insert(key, value); });
    return settings;
}

QStringList settingsKeyOrder(QStringView text)
{
    QStringList order;
    QSet<QString> known;
    forEachSetting(text, [&](const QString &key, const QString &) {
        if (known.contains(key))
            return;
        known.insert(key);
        order.append(key);
    });
    return order;
}

QString composeSettings(const SettingsDictionary &settings, const QStringList &order)
{
    QString text = QStringLiteral("[bbox]");
    SettingsDictionary left = settings;
    const auto take = [&](const QString &key) {
        const auto entry = left.constFind(key);
        if (entry == left.cend())
            return;
        text += u'\n' + key + u'=' + *entry;
        left.erase(entry);
    };
    for (const QString &key : order)
        take(key);
    QStringList others = left.keys();
    std::sort(others.begin(), others.end());
    for (const QString &key : others)
        take(key);
    return text;
}
