#pragma once

#include "diskrules.h"

struct udev_device;

/// Reads what the rules need from libudev and sysfs.
[[nodiscard]] BlockDevice readBlockDevice(udev_device *device);
