#pragma once

#include "volume.h"

#include <QCoroTask>
#include <QList>

struct VolumeListing {
    QList<Volume>
        volumes; ///< in the order of the mount table; without system file systems (such as /boot/efi)
    QString error; ///< empty, or why the mount table couldn't be read
};

/// The desktop's mounted volumes. Main thread.
class VolumeList
{
public:
    virtual ~VolumeList() = default;
    /// Blocking, but quick.
    [[nodiscard]] virtual VolumeListing listing() const = 0;
    /// Gives the desktop a few seconds to mount the FAT volume of the disk, and asks for the mount if nobody
    /// else does it. Completes when the volume is there, or when the time is over.
    virtual QCoro::Task<> waitForVolumeOf(QString diskPath) = 0;
};
