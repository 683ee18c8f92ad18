#include "udevdiskwatcher.h"

#include "udevdevice.h"

#include <cerrno>
#include <libudev.h>
#include <QFileInfo>
#include <QSet>
#include <QSocketNotifier>

namespace {

struct DeviceRelease {
    void operator()(udev_device *device) const { udev_device_unref(device); }
    void operator()(udev_enumerate *enumerate) const { udev_enumerate_unref(enumerate); }
};
using DevicePtr = std::unique_ptr<udev_device, DeviceRelease>;
using EnumeratePtr = std::unique_ptr<udev_enumerate, DeviceRelease>;

// Without udevd the monitor "udev" opens just as well, but never reports.
const char *eventSource()
{
    return QFileInfo::exists(QStringLiteral("/run/udev/control")) ? "udev" : "kernel";
}

} // namespace

void UdevDiskWatcher::Release::operator()(udev *context) const { udev_unref(context); }

void UdevDiskWatcher::Release::operator()(udev_monitor *monitor) const { udev_monitor_unref(monitor); }

UdevDiskWatcher::UdevDiskWatcher(QObject *parent)
    : DiskWatcher(parent)
{
}

UdevDiskWatcher::~UdevDiskWatcher() = default;

bool UdevDiskWatcher::start()
{
    m_udev.reset(udev_new());
    if (!m_udev)
        return false;
    m_monitor.reset(udev_monitor_new_from_netlink(m_udev.get(), eventSource()));
    if (!m_monitor || udev_monitor_filter_add_match_subsystem_devtype(m_monitor.get(), "block", nullptr) < 0
        || udev_monitor_enable_receiving(m_monitor.get()) < 0)
        return false;
    m_notifier =
        std::make_unique<QSocketNotifier>(udev_monitor_get_fd(m_monitor.get()), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &UdevDiskWatcher::readEvents);
    // The monitor is armed, so a disk that comes before the scan is reported by either, and announced once.
    QMetaObject::invokeMethod(this, &UdevDiskWatcher::scan, Qt::QueuedConnection);
    return true;
}

void UdevDiskWatcher::scan()
{
    const EnumeratePtr enumerate(udev_enumerate_new(m_udev.get()));
    if (!enumerate)
        return;
    udev_enumerate_add_match_subsystem(enumerate.get(), "block");
    udev_enumerate_scan_devices(enumerate.get());
    QSet<QString> found;
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get()))
    {
        const DevicePtr device(udev_device_new_from_syspath(m_udev.get(), udev_list_entry_get_name(entry)));
        if (!device)
            continue; // gone since
        found.insert(QString::fromUtf8(udev_device_get_devnode(device.get())));
        handle(device.get());
    }
    const QStringList known = m_tracker.presentDevices();
    for (const QString &devicePath : known) {
        if (!found.contains(devicePath))
            announce(m_tracker.remove(devicePath));
    }
}

void UdevDiskWatcher::readEvents()
{
    for (;;) {
        errno = 0;
        const DevicePtr device(udev_monitor_receive_device(m_monitor.get()));
        if (device) {
            handle(device.get());
            continue;
        }
        if (errno == ENOBUFS) // events were lost: look for oneself
            scan();
        return;
    }
}

void UdevDiskWatcher::handle(udev_device *device)
{
    const BlockDevice block = readBlockDevice(device);
    if (!isRealDisk(block))
        return;
    if (qstrcmp(udev_device_get_action(device), "remove") == 0) {
        announce(m_tracker.remove(block.devicePath));
        return;
    }
    announce(m_tracker.update({describeDisk(block), block.sectors > 0,
                               block.properties.value(QStringLiteral("DISK_MEDIA_CHANGE")) == u"1",
                               block.properties.value(QStringLiteral("DISKSEQ"))}));
}

void UdevDiskWatcher::announce(const MediumTracker::Outcome &outcome)
{
    if (outcome.disappeared)
        Q_EMIT disappeared(*outcome.disappeared);
    if (outcome.appeared)
        Q_EMIT appeared(*outcome.appeared);
}
