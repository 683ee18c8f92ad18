#pragma once

#include "diskwatcher.h"
#include "mediumtracker.h"

#include <memory>

class QSocketNotifier;
struct udev;
struct udev_device;
struct udev_monitor;

/// Watches the computer's disks through libudev: with udevd its finished descriptions, without one the
/// kernel's own events and sysfs.
class UdevDiskWatcher : public DiskWatcher
{
    Q_OBJECT
public:
    explicit UdevDiskWatcher(QObject *parent = nullptr);
    ~UdevDiskWatcher() override;
    bool start() override;

private:
    void scan();
    void readEvents();
    void handle(udev_device *device);
    void announce(const MediumTracker::Outcome &outcome);

    struct Release {
        void operator()(udev *context) const;
        void operator()(udev_monitor *monitor) const;
    };
    std::unique_ptr<udev, Release> m_udev;
    std::unique_ptr<udev_monitor, Release> m_monitor;
    std::unique_ptr<QSocketNotifier> m_notifier; // gone before its descriptor
    MediumTracker m_tracker;
};
