#include "themeicons.h"

#include <QIcon>

QString ThemeIcons::symbolicName(const QString &name)
{
    const QString symbolic = name + QStringLiteral("-symbolic");
    return QIcon::hasThemeIcon(symbolic) ? symbolic : QString();
}
