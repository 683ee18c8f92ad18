#include "style.h"

#include <QQuickStyle>

void applyStyle()
{
    QQuickStyle::setStyle(QStringLiteral("Vornex.Style"));
    QQuickStyle::setFallbackStyle(QStringLiteral("Basic")); // for what isn't drawn here
}
