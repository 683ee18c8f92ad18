#pragma once

#include "diskwatcher.h"

#include <QHash>
#include <QString>

/// What udev and sysfs say about a block device, in plain values. An empty text is a missing one.
struct BlockDevice {
    QString sysPath; ///< such as /sys/devices/pci0000:00/.../block/sdb
    QString devicePath; ///< the kernel's node
    QString devType; ///< "disk" or "partition"
    QHash<QString, QString> properties; ///< udev's, such as ID_MODEL_ENC; none of the ID_* without udevd
    QHash<QString, QString>
        diskAttributes; ///< of the whole disk: removable, device/model, device/name, device/type
    quint64 sectors = 0; ///< its own size in units of 512 bytes; 0 without a medium
};

/// The sysfs attributes that the rules below look at.
inline constexpr const char *watchedDiskAttributes[]{"removable", "device/model", "device/name",
                                                     "device/type"};

/// False for what comes and goes without anybody touching a disk: loop, zram, device mapper and their like,
/// an eMMC's boot areas, optical drives.
[[nodiscard]] bool isRealDisk(const BlockDevice &device);

/// Its medium can be taken out. The kernel calls neither SD cards in built-in slots nor eMMCs removable, so
/// there the kind of the card decides.
[[nodiscard]] bool isRemovableDisk(const BlockDevice &device);

[[nodiscard]] DiskInfo describeDisk(const BlockDevice &device);

/// Undoes udev's encoding of unsafe bytes as \xNN and trims the padding.
[[nodiscard]] QString decodeUdevText(const QString &encoded);
