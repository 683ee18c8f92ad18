#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

/// The user's data and cache folders in a temporary place. Made before the first use of tempRoot(), which is
/// fixed from then on.
struct PrivateHome {
    PrivateHome()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataFolder()));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(folder.filePath(QStringLiteral("cache"))));
    }
    [[nodiscard]] QString dataFolder() const { return folder.filePath(QStringLiteral("data")); }

    QTemporaryDir folder;
};

inline QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(no file)");
}

inline void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}
