#include "mounttable.h"

#include <algorithm>

namespace {

// Blank, tab, line end and backslash stand as a backslash and three octal digits.
QString unescaped(const QByteArray &field)
{
    QByteArray plain;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool isOctal = false;
            const uint value = field.mid(i + 1, 3).toUInt(&isOctal, 8);
            if (isOctal && value < 256) {
                plain += static_cast<char>(value);
                i += 3;
                continue;
            }
        }
        plain += field[i];
    }
    return QString::fromUtf8(plain);
}

bool isSystemMountPoint(const QString &path)
{
    return path == u"/" || path.startsWith(u"/boot") || path == u"/efi" || path.startsWith(u"/efi/");
}

} // namespace

bool isFatType(QStringView fileSystemType)
{
    return fileSystemType == u"vfat" || fileSystemType == u"msdos" || fileSystemType == u"exfat";
}

QList<MountEntry> parseMountInfo(const QByteArray &text)
{
    QList<MountEntry> entries;
    for (const QByteArray &line : text.split('\n')) {
        // ID PARENT MAJOR:MINOR ROOT MOUNTPOINT OPTIONS [optional fields] - TYPE SOURCE SUPEROPTIONS
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-", 6);
        if (separator < 0 || separator + 2 >= fields.size())
            continue;
        entries.append({QString::fromLatin1(fields[2]), unescaped(fields[3]), unescaped(fields[4]),
                        QString::fromLatin1(fields[separator + 1]), unescaped(fields[separator + 2])});
    }
    return entries;
}

QList<Volume>
volumesAmong(const QList<MountEntry> &mounts,
             const std::function<std::optional<MountedDevice>(const QString &deviceNumber)> &deviceOf)
{
    QList<Volume> volumes;
    for (const MountEntry &mount : mounts) {
        if (mount.root != u"/" || !mount.source.startsWith(u"/dev/") || isSystemMountPoint(mount.mountPoint))
            continue;
        const std::optional<MountedDevice> device = deviceOf(mount.deviceNumber);
        if (!device || !device->isRemovable)
            continue;
        QString name = device->label;
        if (name.isEmpty() && isFatType(mount.fileSystemType))
            name = QStringLiteral("NO NAME");
        volumes.append({name, mount.mountPoint, mount.source});
    }
    return volumes;
}

bool isOnDisk(const QString &devicePath, const QString &diskPath)
{
    if (diskPath.isEmpty() || !devicePath.startsWith(diskPath))
        return false;
    QStringView rest = QStringView(devicePath).mid(diskPath.size());
    if (rest.isEmpty())
        return true;
    // A name that ends in a digit has a "p" before the partition's number: mmcblk0p1, but sdb1.
    if (diskPath.back().isDigit()) {
        if (rest.front() != u'p')
            return false;
        rest = rest.mid(1);
    }
    const auto isDigit = [](QChar c) { return c >= u'0' && c <= u'9'; };
    return !rest.isEmpty() && std::all_of(rest.cbegin(), rest.cend(), isDigit);
}
