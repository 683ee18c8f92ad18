#pragma once

#include <QObject>
#include <qqmlintegration.h>

/// What the web view needs of C++.
class MapEngine : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
public:
    using QObject::QObject;

    /// To be called once before the application object is made. Starts no process: that happens with the
    /// first view.
    static void prepare();

    /// Restricts a WebEngineProfile to the page's own files and the tiles. To be called before it is used.
    Q_INVOKABLE static void restrict(QObject *profile, const QString &tileAddress);
};
