#include "devicecheck.h"

#include "kerneltables.h"
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// None if there is no such file.
std::optional<std::string> firstLine(const fs::path &file)
{
    if (!fs::exists(file))
        return std::nullopt;
    const std::string content = readWhole(file);
    return content.substr(0, content.find('\n'));
}

[[noreturn]] void throwUnknown(const fs::path &path, int reason)
{
    throw fs::filesystem_error("can't be judged", path, std::error_code(reason, std::generic_category()));
}

std::string numberPair(dev_t device)
{
    return std::to_string(major(device)) + ':' + std::to_string(minor(device));
}

/// SD cards in a built-in slot say removable 0; the type tells them from soldered memory.
bool isRemovable(const fs::path &disk)
{
    if (firstLine(disk / "removable") == "1")
        return true;
    const std::optional<std::string> type = firstLine(disk / "device" / "type");
    return type == "SD" || type == "SDcombo";
}

bool isForRemovableMedia(const std::string &folder)
{
    for (const char *place : {"/media/", "/run/media/", "/mnt/"}) {
        if (folder.starts_with(place))
            return true;
    }
    return folder == "/mnt";
}

/// Who uses a disk.
class Usage
{
public:
    Usage(const fs::path &disk, dev_t device, const SystemPaths &system);
    [[nodiscard]] bool isInUse() const
    {
        return m_hasHolder || isUnderAnother() || isMountedBySystem() || isSwap();
    }

private:
    void add(const fs::path &device, const std::string &number);
    [[nodiscard]] bool isOurs(const std::string &number) const
    {
        return std::find(m_numbers.begin(), m_numbers.end(), number) != m_numbers.end();
    }
    [[nodiscard]] std::optional<bool> isOnDisk(const std::string &path) const;
    [[nodiscard]] bool isAnyOurs(const fs::path &devices) const;
    [[nodiscard]] bool isUnderAnother() const;
    [[nodiscard]] bool isMountedBySystem() const;
    [[nodiscard]] bool isSwap() const;

    const SystemPaths &m_system;
    std::vector<std::string> m_numbers; ///< the disk's own and those of its partitions
    bool m_hasHolder = false;
};

Usage::Usage(const fs::path &disk, dev_t device, const SystemPaths &system)
    : m_system(system)
{
    add(disk, numberPair(device));
    for (const fs::directory_entry &entry : fs::directory_iterator(disk)) {
        if (fs::exists(entry.path() / "partition"))
            add(entry.path(), firstLine(entry.path() / "dev").value_or(std::string()));
    }
}

void Usage::add(const fs::path &device, const std::string &number)
{
    if (number.empty())
        throwUnknown(device, ENODATA);
    m_numbers.push_back(number);
    m_hasHolder = m_hasHolder || !fs::is_empty(device / "holders");
}

/// Whether a path names the disk or a file on it; none if it can't be looked at.
std::optional<bool> Usage::isOnDisk(const std::string &path) const
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return isOurs(numberPair(S_ISBLK(status.st_mode) ? status.st_rdev : status.st_dev));
}

bool Usage::isAnyOurs(const fs::path &devices) const
{
    if (!fs::exists(devices))
        return false;
    const fs::directory_iterator entries(devices);
    return std::any_of(begin(entries), end(entries), [this](const fs::directory_entry &entry) {
        const std::optional<std::string> number = firstLine(entry.path() / "dev");
        if (!number)
            throwUnknown(entry.path(), ENODATA);
        return isOurs(*number);
    });
}

/// Whether another block device or a file system of several devices is built on it. Not each of them names
/// itself a holder.
bool Usage::isUnderAnother() const
{
    for (const fs::directory_entry &other : fs::directory_iterator(m_system.disks)) {
        if (isAnyOurs(other.path() / "slaves"))
            return true;
        const std::optional<std::string> file = firstLine(other.path() / "loop" / "backing_file");
        const std::optional<bool> isOnUs = file ? isOnDisk(*file) : false;
        if (!isOnUs)
            throwUnknown(other.path(), errno);
        if (*isOnUs)
            return true;
    }
    if (!fs::exists(m_system.btrfs))
        return false;
    const fs::directory_iterator pools(m_system.btrfs);
    return std::any_of(begin(pools), end(pools), [this](const fs::directory_entry &pool) {
        return isAnyOurs(pool.path() / "devices");
    });
}

/// The source counts as well, since some file systems show a number of their own.
bool Usage::isMountedBySystem() const
{
    const auto table = parseMountTable(readWhole(m_system.mountTable));
    if (!table)
        throwUnknown(m_system.mountTable, ENODATA);
    for (const KernelMount &mount : *table) {
        const bool isSourceAPath = mount.source.starts_with('/');
        const std::optional<bool> isOnUs = isSourceAPath ? isOnDisk(mount.source) : false;
        // A share or a list of folders is no path of this machine; a missing device may have been ours.
        if (!isOnUs && mount.number.starts_with("0:") && mount.source.starts_with("/dev/"))
            throwUnknown(m_system.mountTable, errno);
        if ((isOurs(mount.number) || isOnUs.value_or(false)) && !isForRemovableMedia(mount.folder))
            return true;
    }
    return false;
}

bool Usage::isSwap() const
{
    if (!fs::exists(m_system.swapTable)) // a kernel without swap
        return false;
    const auto table = parseSwapTable(readWhole(m_system.swapTable));
    if (!table)
        throwUnknown(m_system.swapTable, ENODATA);
    return std::any_of(table->begin(), table->end(), [this](const std::string &path) {
        const std::optional<bool> isOnUs = isOnDisk(path);
        if (!isOnUs)
            throwUnknown(m_system.swapTable, errno);
        return *isOnUs;
    });
}

std::optional<std::string> refusalForDisk(const fs::path &disk, dev_t device, const SystemPaths &system)
{
    if (disk.string().find("/devices/virtual/") != std::string::npos)
        return "device-virtual";
    if (fs::exists(disk / "partition"))
        return "device-partition";
    if (!isRemovable(disk))
        return "device-not-removable";
    if (Usage(disk, device, system).isInUse())
        return "device-in-use";
    return std::nullopt;
}

} // namespace

bool isCardDeviceName(const std::string &path)
{
    const auto isAll = [](const std::string &text, char first, char last) {
        return !text.empty()
            && std::all_of(text.begin(), text.end(), [=](char c) { return c >= first && c <= last; });
    };
    if (path.starts_with("/dev/sd"))
        return isAll(path.substr(7), 'a', 'z');
    return path.starts_with("/dev/mmcblk") && isAll(path.substr(11), '0', '9');
}

std::optional<std::string> refusalForDevice(dev_t device, const SystemPaths &system)
{
    try {
        return refusalForDisk(fs::canonical(fs::path(system.blockDevices) / numberPair(device)), device,
                              system);
    } catch (const fs::filesystem_error &error) {
        return "device-unknown:" + error.path1().filename().string();
    }
}
