#include "appearance.h"

#include "style/style.h"

#include <QGuiApplication>
#include <QIcon>

void applyAppearance()
{
    applyStyle();
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/qt/qml/Vornex/App/images/AppIcon.svg")));
}
