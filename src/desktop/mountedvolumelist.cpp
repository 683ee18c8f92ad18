#include "mountedvolumelist.h"

#include "common/log.h"
#include "common/task.h"
#include "mounttable.h"
#include "udevdevice.h"
#include "udisksmount.h"

#include <algorithm>
#include <cerrno>
#include <libudev.h>
#include <memory>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <sys/sysmacros.h>

namespace {

struct UdevRelease {
    void operator()(udev *context) const { udev_unref(context); }
    void operator()(udev_device *device) const { udev_device_unref(device); }
};

std::optional<MountedDevice> deviceOf(udev *context, const QString &deviceNumber)
{
    const qsizetype colon = deviceNumber.indexOf(u':');
    const uint major = deviceNumber.left(colon).toUInt();
    const uint minor = deviceNumber.mid(colon + 1).toUInt();
    const std::unique_ptr<udev_device, UdevRelease> device(
        udev_device_new_from_devnum(context, 'b', makedev(major, minor)));
    if (!device)
        return std::nullopt;
    const BlockDevice block = readBlockDevice(device.get());
    return MountedDevice{isRealDisk(block) && isRemovableDisk(block),
                         decodeUdevText(block.properties.value(QStringLiteral("ID_FS_LABEL_ENC")))};
}

bool hasVolumeOf(const VolumeList &list, const QString &diskPath)
{
    const QList<Volume> volumes = list.listing().volumes;
    return std::any_of(volumes.cbegin(), volumes.cend(),
                       [&](const Volume &volume) { return isOnDisk(volume.devicePath, diskPath); });
}

QCoro::Task<bool> lookFor(const VolumeList &list, QString diskPath, std::chrono::milliseconds time,
                          std::chrono::milliseconds betweenLooks)
{
    QElapsedTimer elapsed;
    elapsed.start();
    while (!hasVolumeOf(list, diskPath)) {
        const bool isGone = !QFileInfo::exists(diskPath);
        if (isGone || elapsed.hasExpired(time.count()))
            co_return false;
        co_await sleepFor(betweenLooks);
    }
    co_return true;
}

} // namespace

VolumeListing MountedVolumeList::listing() const
{
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return {{}, table.errorString()};
    const std::unique_ptr<udev, UdevRelease> context(udev_new());
    if (!context)
        return {{}, qt_error_string(errno)};
    const auto deviceBy = [&](const QString &number) { return deviceOf(context.get(), number); };
    return {volumesAmong(parseMountInfo(table.readAll()), deviceBy), {}};
}

QCoro::Task<> MountedVolumeList::waitForVolumeOf(QString diskPath)
{
    const bool isMounted = co_await lookFor(*this, diskPath, m_patience.forDesktop, m_patience.betweenLooks);
    if (isMounted || !QFileInfo::exists(diskPath))
        co_return;
    const QString error = co_await mountFatVolumeOf(diskPath);
    if (!error.isEmpty()) {
        logLine({QStringLiteral("[MountedVolumeList]"), diskPath, error});
        co_return;
    }
    co_await lookFor(*this, diskPath, m_patience.forMount, m_patience.betweenLooks);
}
