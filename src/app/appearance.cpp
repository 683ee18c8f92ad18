#include "appearance.h"

#include <QColor>
#include <QGuiApplication>
#include <QIcon>
#include <QPalette>
#include <QQuickStyle>

namespace {

QPalette darkPalette()
{
    QPalette palette;
    const QColor window(0x1e, 0x1e, 0x1e);
    const QColor text(0xf0, 0xf0, 0xf0);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, QColor(0x17, 0x17, 0x17));
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x26, 0x26));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9a, 0x9a));
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3a));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3a));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, QColor(0x0a, 0x84, 0xff));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x5a, 0xc8, 0xfa));
    palette.setColor(QPalette::Light, QColor(0x50, 0x50, 0x50));
    palette.setColor(QPalette::Midlight, QColor(0x45, 0x45, 0x45));
    palette.setColor(QPalette::Mid, QColor(0x2c, 0x2c, 0x2c));
    palette.setColor(QPalette::Dark, QColor(0x14, 0x14, 0x14));
    palette.setColor(QPalette::Shadow, Qt::black);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor(0x77, 0x77, 0x77));
    return palette;
}

} // namespace

void applyAppearance()
{
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    QGuiApplication::setPalette(darkPalette());
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/qt/qml/Vornex/App/images/AppIcon.svg")));
}
