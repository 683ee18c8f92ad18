#pragma once

#include <QObject>
#include <qqmlintegration.h>

/// What the web view needs of C++. A program that was built without the web engine has none.
class MapEngine : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool isAvailable READ isAvailable CONSTANT FINAL)
public:
    using QObject::QObject;

    [[nodiscard]] static bool isAvailable();

    /// To be called once before the application object is made. Starts no process: that happens with the
    /// first view.
    static void prepare();

    /// Restricts a WebEngineProfile to the page's own files and the tiles. To be called before it is used.
    Q_INVOKABLE static void restrict(QObject *profile, const QString &tileAddress);
};
