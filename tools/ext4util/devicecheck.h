#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

/// Where the kernel tells about its disks; other folders only in tests.
struct SystemPaths {
    std::string blockDevices = "/sys/dev/block"; ///< one link per MAJOR:MINOR
    std::string disks = "/sys/block";
    std::string btrfs = "/sys/fs/btrfs"; ///< absent where there was none
    std::string mountTable = "/proc/self/mountinfo";
    std::string swapTable = "/proc/swaps";
};

/// Whether a set-user-ID run may open this name as root at all: /dev/sdX and /dev/mmcblkN are what card
/// readers get.
[[nodiscard]] bool isCardDeviceName(const std::string &path);

/// Why a caller who has no right of his own to the block device may not read it; none if he may. He may if it
/// is a whole, removable disk with nothing of the system on it: no mount but below the folders for removable
/// media, no swap, nothing built on it (RAID, LVM, encryption, loop devices). What can't be found out counts
/// against it: "device-unknown" and what it was that couldn't be seen.
[[nodiscard]] std::optional<std::string> refusalForDevice(dev_t device, const SystemPaths &system = {});
