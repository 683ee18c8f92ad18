#include "toollookup.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>
#include <sys/statvfs.h>

QString findBundledTool(const QString &tool)
{
    if (tool == u"ffmpeg")
        return QFileInfo(QStandardPaths::findExecutable(tool)).canonicalFilePath();
    const QString programFolder = QCoreApplication::applicationDirPath();
    const QStringList folders{
        programFolder,
        programFolder + u'/' + QStringLiteral(VORNEX_HELPER_FOLDER), // seen from the installed programs
        programFolder + QStringLiteral("/../bin"), // seen from the tests of a build
    };
    for (const QString &folder : folders) {
        const QFileInfo file(folder + u'/' + tool);
        if (file.isFile() && file.isExecutable())
            return file.canonicalFilePath();
    }
    return {};
}

DiskSpace diskSpaceOf(const QString &folder)
{
    struct statvfs space = {};
    if (::statvfs(QFile::encodeName(folder).constData(), &space) != 0)
        return {};
    return {quint64(space.f_bavail) * space.f_frsize, quint64(space.f_blocks) * space.f_frsize};
}
