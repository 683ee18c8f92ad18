#include "userfolders.h"

#include <QDir>
#include <QStandardPaths>

namespace {

QString absoluteOr(const QString &path, const char *folderInHome)
{
    return QDir::isAbsolutePath(path) ? path : QDir::homePath() + u'/' + QLatin1String(folderInHome);
}

} // namespace

QString userfolders::cache()
{
    return absoluteOr(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation), ".cache");
}

QString userfolders::data()
{
    return absoluteOr(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation), ".local/share");
}
