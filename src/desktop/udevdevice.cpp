#include "udevdevice.h"

#include <libudev.h>

namespace {

QString text(const char *value) { return value ? QString::fromUtf8(value) : QString(); }

} // namespace

BlockDevice readBlockDevice(udev_device *device)
{
    BlockDevice block{text(udev_device_get_syspath(device)),
                      text(udev_device_get_devnode(device)),
                      text(udev_device_get_devtype(device)),
                      {},
                      {},
                      0};
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_device_get_properties_list_entry(device))
    {
        block.properties.insert(text(udev_list_entry_get_name(entry)),
                                text(udev_list_entry_get_value(entry)));
    }
    udev_device *disk = device;
    if (block.devType == u"partition")
        disk = udev_device_get_parent_with_subsystem_devtype(device, "block", "disk"); // borrowed
    if (disk) {
        for (const char *name : watchedDiskAttributes)
            block.diskAttributes.insert(text(name), text(udev_device_get_sysattr_value(disk, name)));
    }
    block.sectors = text(udev_device_get_sysattr_value(device, "size")).trimmed().toULongLong();
    return block;
}
