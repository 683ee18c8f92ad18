#pragma once

#include "volume.h"

#include <functional>
#include <optional>
#include <QByteArray>
#include <QList>
#include <QString>

/// One line of /proc/self/mountinfo.
struct MountEntry {
    QString deviceNumber; ///< "major:minor"
    QString root; ///< the folder of the file system that is mounted; "/" unless it is a bind mount of a part
    QString mountPoint;
    QString fileSystemType;
    QString source; ///< the device's path, for file systems on a device
};

/// What is known about the device of a mount.
struct MountedDevice {
    bool isRemovable = false; ///< on a real disk whose medium can be taken out
    QString label; ///< of the file system, empty if it has none
};

/// In the table's order; lines that aren't understood are left out.
[[nodiscard]] QList<MountEntry> parseMountInfo(const QByteArray &text);

/// Which of these mounts are volumes of removable disks, and their names. An unlabelled FAT file system
/// anywhere else may be the machine's boot partition: nothing may ever be saved there.
[[nodiscard]] QList<Volume>
volumesAmong(const QList<MountEntry> &mounts,
             const std::function<std::optional<MountedDevice>(const QString &deviceNumber)> &deviceOf);

/// True if the device is the disk itself or one of its partitions.
[[nodiscard]] bool isOnDisk(const QString &devicePath, const QString &diskPath);

[[nodiscard]] bool isFatType(QStringView fileSystemType);
