#include "trustedcopy.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

namespace {

constexpr off_t largestTool = off_t{256} * 1024 * 1024;
constexpr mode_t setUserIdMode = S_ISUID | 0755;

Failure failure(const std::string &what, int errorNumber) { return what + ": " + std::strerror(errorNumber); }

bool belongsToRootAlone(const struct stat &status)
{
    return status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

Failure writeAll(const UniqueFd &target, const char *bytes, size_t count)
{
    while (count > 0) {
        const ssize_t written = write(target.get(), bytes, count);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return failure("can't write the copy", errno);
        bytes += written;
        count -= static_cast<size_t>(written);
    }
    return {};
}

Failure copyBytes(const UniqueFd &source, const UniqueFd &target)
{
    std::array<char, 65536> buffer; // NOLINT: filled before it is read
    for (off_t total = 0; total <= largestTool;) {
        const ssize_t count = read(source.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return failure("can't read the tool", errno);
        if (count == 0)
            return {};
        if (Failure error = writeAll(target, buffer.data(), static_cast<size_t>(count)); !error.empty())
            return error;
        total += count;
    }
    return "the tool is larger than any tool";
}

// All is done through its descriptor, so that nothing which the
// folder's owner puts under the temporary name can take its place.
Failure fillAndPrivilege(const UniqueFd &source, const UniqueFd &file)
{
    if (Failure error = copyBytes(source, file); !error.empty())
        return error;
    if (fchown(file.get(), 0, 0) != 0) // first, since it clears the bit
        return failure("can't give the copy to root", errno);
    if (fchmod(file.get(), setUserIdMode) != 0)
        return failure("can't set the set-user-ID bit", errno);
    if (fsync(file.get()) != 0)
        return failure("can't write the copy out", errno);
    struct stat status = {};
    if (fstat(file.get(), &status) != 0 || status.st_uid != 0 || (status.st_mode & 07777) != setUserIdMode)
        return "the folder's file system keeps no set-user-ID bit";
    return {};
}

std::string temporaryNameFor(const std::string &name)
{
    std::uint64_t random = 0;
    if (getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
        return {};
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(random));
    return "." + name + "." + digits.data();
}

} // namespace

Failure openTrustedFile(const std::string &folder, const std::string &name, UniqueFd &file)
{
    const UniqueFd parent(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!parent.isOpen() || fstat(parent.get(), &status) != 0)
        return failure("can't open the program's folder", errno);
    if (!belongsToRootAlone(status))
        return "the program's folder can be written by others than root";
    file = UniqueFd(openat(parent.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen() || fstat(file.get(), &status) != 0)
        return failure("can't open the tool", errno);
    if (!S_ISREG(status.st_mode) || !belongsToRootAlone(status))
        return "the tool can be written by others than root";
    return {};
}

Failure openFolderOfCaller(std::string_view path, uid_t caller, UniqueFd &folder)
{
    if (path.empty() || path.front() != '/' || path.size() >= PATH_MAX)
        return "no absolute path";
    folder = UniqueFd(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status = {};
    while (!path.empty()) {
        path.remove_prefix(1); // the "/"
        const std::string step(path.substr(0, path.find('/')));
        path.remove_prefix(step.size());
        if (step.empty() || step == "." || step == "..")
            return "no plain path";
        folder = UniqueFd(
            openat(folder.get(), step.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!folder.isOpen() || fstat(folder.get(), &status) != 0)
            return failure("can't open the folder", errno);
        if (status.st_uid != 0 && status.st_uid != caller)
            return "the way to the folder leads through another user's";
    }
    return status.st_uid == caller ? Failure() : Failure("the folder isn't the caller's own");
}

Failure writeSetUserIdCopy(const UniqueFd &source, const UniqueFd &folder, const std::string &name)
{
    const std::string temporary = temporaryNameFor(name);
    if (temporary.empty())
        return failure("no random name", errno);
    const UniqueFd file(openat(folder.get(), temporary.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        return failure("can't make a file in the folder", errno);
    Failure error = fillAndPrivilege(source, file);
    if (error.empty() && renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0)
        error = failure("can't put the copy in place", errno);
    if (!error.empty()) {
        unlinkat(folder.get(), temporary.c_str(), 0);
        return error;
    }
    return fsync(folder.get()) == 0 ? Failure() : failure("can't write the folder out", errno);
}
