#include "processvalues.h"

#include "bundle.h"
#include "log.h"
#include "text.h"

#include <cstdlib>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Values {
    std::optional<QString> cardDevicePath;
    int recordedChannelCount = 0;
};

Values &values()
{
    static Values instance;
    return instance;
}

/// Makes the folder, or takes the one that is there if it is our own and no link, and shuts it to others.
bool makePrivateFolder(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), S_IRWXU) == 0)
        return true;
    struct stat status {
    };
    return ::lstat(name.constData(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid()
        && ::chmod(name.constData(), S_IRWXU) == 0 && ::access(name.constData(), W_OK | X_OK) == 0;
}

QString plainWord(QString name)
{
    for (QChar &c : name) {
        if (c == u'/' || !text::isPlainShellWord(QStringView(&c, 1)))
            c = u'_';
    }
    return name;
}

QString makeUniqueFolder(const QString &prefix)
{
    QByteArray name = QFile::encodeName(prefix + QStringLiteral("-XXXXXX"));
    return ::mkdtemp(name.data()) ? QFile::decodeName(name) : QString();
}

} // namespace

std::optional<QString> processvalues::cardDevicePath() { return values().cardDevicePath; }

void processvalues::setCardDevicePath(std::optional<QString> path)
{
    values().cardDevicePath = std::move(path);
}

int processvalues::recordedChannelCount() { return values().recordedChannelCount; }

void processvalues::setRecordedChannelCount(int count) { values().recordedChannelCount = count; }

const QString &processvalues::tempRoot()
{
    static const QString root =
        makeTempRoot(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation),
                     QStringLiteral("/var/tmp"), applicationName());
    return root;
}

QString processvalues::makeTempRoot(const QString &cacheFolder, const QString &sharedFolder,
                                    const QString &name)
{
    const QString own = cacheFolder + u'/' + name;
    if (!cacheFolder.isEmpty() && text::isPlainShellWord(own)) {
        QDir().mkpath(cacheFolder);
        if (makePrivateFolder(own))
            return own + u'/';
    }
    const QString shared = sharedFolder + u'/' + plainWord(name) + u'-' + QString::number(::geteuid());
    if (makePrivateFolder(shared))
        return shared + u'/';
    const QString unique = makeUniqueFolder(shared);
    if (unique.isEmpty()) {
        logLine(QStringLiteral("[ProcessManager] no folder for temporary files can be made in ")
                + sharedFolder);
        return QStringLiteral("/dev/null/");
    }
    return unique + u'/';
}
