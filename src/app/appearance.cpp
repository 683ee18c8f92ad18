#include "appearance.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQuickStyle>

void applyAppearance()
{
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/qt/qml/Vornex/App/images/AppIcon.svg")));
}
