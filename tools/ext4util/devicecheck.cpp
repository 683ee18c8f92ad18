#include "devicecheck.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::optional<std::string> firstLine(const fs::path &file)
{
    std::ifstream stream(file);
    std::string line;
    if (!std::getline(stream, line))
        return std::nullopt;
    return line;
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

/// The disk's own number and those of its partitions.
std::vector<std::string> numbersOnDisk(const fs::path &disk, dev_t device)
{
    std::vector<std::string> numbers{numberPair(device)};
    for (const fs::directory_entry &entry : fs::directory_iterator(disk)) {
        if (!fs::exists(entry.path() / "partition"))
            continue;
        const std::optional<std::string> number = firstLine(entry.path() / "dev");
        if (number)
            numbers.push_back(*number);
        if (!number || !fs::is_empty(entry.path() / "holders"))
            return {};
    }
    return numbers;
}

bool isForRemovableMedia(const std::string &mountPoint)
{
    for (const char *folder : {"/media/", "/run/media/", "/mnt/"}) {
        if (mountPoint.starts_with(folder))
            return true;
    }
    return mountPoint == "/mnt";
}

bool isNumberOf(const std::string &path, const std::vector<std::string> &numbers)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode)
        && std::find(numbers.begin(), numbers.end(), numberPair(status.st_rdev)) != numbers.end();
}

/// Fields of a line: id, parent, MAJOR:MINOR, root, mount point, options..., "-", type, source. The source
/// counts as well, since some file systems show a number of their own.
bool isMountedBySystem(const std::vector<std::string> &numbers, const std::string &mountTable)
{
    std::ifstream table(mountTable);
    if (!table)
        return true;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string id, parent, number, root, mountPoint, word, type, source;
        fields >> id >> parent >> number >> root >> mountPoint;
        while (fields >> word && word != "-") { }
        fields >> type >> source;
        const bool isOurs = std::find(numbers.begin(), numbers.end(), number) != numbers.end();
        if ((isOurs || isNumberOf(source, numbers)) && !isForRemovableMedia(mountPoint))
            return true;
    }
    return false;
}

bool isSwap(const std::vector<std::string> &numbers, const std::string &swapTable)
{
    std::ifstream table(swapTable); // absent in a kernel without swap
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        if (isNumberOf(line.substr(0, line.find_first_of(" \t")), numbers))
            return true;
    }
    return false;
}

std::optional<std::string> refusalForDisk(const fs::path &disk, dev_t device, const SystemPaths &system)
{
    if (disk.string().find("/devices/virtual/") != std::string::npos)
        return "device-virtual";
    if (fs::exists(disk / "partition"))
        return "device-partition";
    if (!isRemovable(disk))
        return "device-not-removable";
    const std::vector<std::string> numbers = numbersOnDisk(disk, device);
    if (numbers.empty() || !fs::is_empty(disk / "holders") || isMountedBySystem(numbers, system.mountTable)
        || isSwap(numbers, system.swapTable))
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
    } catch (const fs::filesystem_error &) {
        return "device-unknown";
    }
}
