#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QString>

/// Asks the desktop's icon theme for icons that may be drawn in one colour.
class ThemeIcons : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
public:
    using QObject::QObject;
    /// The theme's symbolic form of a freedesktop icon name, or an empty text if it has none. A theme's
    /// coloured form doesn't do: in one colour it can be a mere blot.
    Q_INVOKABLE static QString symbolicName(const QString &name);
};
