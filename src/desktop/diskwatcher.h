#pragma once

#include <optional>
#include <QObject>
#include <QString>

/// A disk or partition as the desktop describes it.
struct DiskInfo {
    QString devicePath; ///< the kernel's node, such as /dev/sdb or /dev/mmcblk0
    bool isRemovable = false; ///< its medium can be taken out
    bool isWhole = false; ///< a whole disk, not a partition
    std::optional<QString> model; ///< the device's model text, none if it has none
};

/// Tells which disks with a medium come and go. Lives on the main thread and signals there.
class DiskWatcher : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    /// Begins to watch. Disks that are there already are announced once, after the call has returned.
    /// False if the desktop offers no way to watch disks.
    [[nodiscard]] virtual bool start() = 0;

Q_SIGNALS:
    void appeared(const DiskInfo &disk);
    void disappeared(const QString &devicePath);
};
