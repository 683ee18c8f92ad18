#include "diskrules.h"

#include <QByteArray>

namespace {

QString fileNameOf(const QString &path) { return path.mid(path.lastIndexOf(u'/') + 1); }

bool isMmc(const BlockDevice &device) { return fileNameOf(device.devicePath).startsWith(u"mmcblk"); }

std::optional<QString> modelOf(const BlockDevice &device)
{
    const QStringList texts{decodeUdevText(device.properties.value(QStringLiteral("ID_MODEL_ENC"))),
                            device.properties.value(QStringLiteral("ID_MODEL")).trimmed(),
                            device.diskAttributes.value(QStringLiteral("device/model")).trimmed()};
    for (const QString &text : texts) {
        if (!text.isEmpty())
            return text;
    }
    if (!isMmc(device))
        return std::nullopt;
    // Such a card tells only its product name ("SU32G"), which says nothing of what it is.
    QString name = device.properties.value(QStringLiteral("ID_NAME")).trimmed();
    if (name.isEmpty())
        name = device.diskAttributes.value(QStringLiteral("device/name")).trimmed();
    return QStringLiteral("SD ") + name;
}

} // namespace

bool isRealDisk(const BlockDevice &device)
{
    const QString name = fileNameOf(device.devicePath);
    if (name.isEmpty() || device.sysPath.contains(u"/devices/virtual/") || name.startsWith(u"sr"))
        return false;
    return !name.startsWith(u"mmcblk") || (!name.contains(u"boot") && !name.contains(u"rpmb"));
}

bool isRemovableDisk(const BlockDevice &device)
{
    if (device.diskAttributes.value(QStringLiteral("removable")).trimmed() == u"1")
        return true;
    if (!isMmc(device))
        return false;
    QString type = device.properties.value(QStringLiteral("MMC_TYPE"));
    if (type.isEmpty())
        type = device.diskAttributes.value(QStringLiteral("device/type")).trimmed();
    return type == u"SD" || type == u"SDcombo";
}

DiskInfo describeDisk(const BlockDevice &device)
{
    DiskInfo info{device.devicePath, isRemovableDisk(device), device.devType == u"disk", modelOf(device)};
    // udev knows some readers to be for SD cards whose model text doesn't say so.
    if (device.properties.value(QStringLiteral("ID_DRIVE_FLASH_SD")) == u"1" && !isMmc(device))
        info.model = info.model.value_or(QString()) + QStringLiteral(" SD");
    return info;
}

QString decodeUdevText(const QString &encoded)
{
    const QByteArray bytes = encoded.toUtf8();
    QByteArray decoded;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes.mid(i, 2) == "\\x") {
            bool isHex = false;
            const uint value = bytes.mid(i + 2, 2).toUInt(&isHex, 16);
            if (isHex && i + 3 < bytes.size()) {
                decoded += static_cast<char>(value);
                i += 3;
                continue;
            }
        }
        decoded += bytes[i];
    }
    return QString::fromUtf8(decoded).trimmed();
}
