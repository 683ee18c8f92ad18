#include "carddevice.h"

#include "devicecheck.h"
#include "options.h"
#include "privileges.h"
#include "report.h"
#include <cerrno>
#include <fcntl.h>

namespace {

struct stat statusOf(const UniqueFd &descriptor)
{
    struct stat status {
    };
    if (fstat(descriptor.get(), &status) != 0)
        throw Failure(ExitStatus::Device, "device-not-examined", errno);
    return status;
}

/// Non-blocking, so that a named pipe can't hold it up.
UniqueFd openForReading(const std::string &path, int flags)
{
    return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | flags));
}

/// The one act for which root's rights are there. What was opened is judged by the descriptor, since the name
/// may stand for something else by now.
UniqueFd openAsRoot(const std::string &path, std::uint64_t offset)
{
    if (!isCardDeviceName(path) || offset != cardOffset)
        throw Failure(ExitStatus::Device, "device-not-allowed");
    UniqueFd descriptor;
    int reason = 0;
    {
        const BorrowedRights asRoot;
        descriptor = openForReading(path, O_NOFOLLOW);
        reason = errno;
    }
    if (!descriptor.isOpen())
        throw Failure(ExitStatus::Device, "device-not-opened", reason);
    const struct stat status = statusOf(descriptor);
    if (!S_ISBLK(status.st_mode))
        throw Failure(ExitStatus::Device, "device-not-allowed");
    if (const std::optional<std::string> refusal = refusalForDevice(status.st_rdev))
        throw Failure(ExitStatus::Device, *refusal);
    return descriptor;
}

UniqueFd openAsCallerOrRoot(const std::string &path, std::uint64_t offset)
{
    const bool canBorrow = hasBorrowedRights();
    UniqueFd descriptor = openForReading(path, 0);
    if (descriptor.isOpen() || !canBorrow || (errno != EACCES && errno != EPERM))
        return descriptor;
    return openAsRoot(path, offset);
}

} // namespace

CardDevice::CardDevice(UniqueFd descriptor, std::uint64_t offset)
    : m_descriptor(std::move(descriptor))
    , m_offset(offset)
{
    const off_t end = lseek(m_descriptor.get(), 0, SEEK_END);
    if (end < 0)
        throw Failure(ExitStatus::Device, "device-not-examined", errno);
    m_size = static_cast<std::uint64_t>(end) > offset ? static_cast<std::uint64_t>(end) - offset : 0;
    const struct stat status = statusOf(m_descriptor);
    m_filesDevice = status.st_dev;
    m_inode = status.st_ino;
}

bool CardDevice::read(std::uint64_t position, std::span<std::byte> into) const
{
    if (position > m_size || into.size() > m_size - position)
        return false;
    std::size_t done = 0;
    while (done < into.size()) {
        const ssize_t count = pread(m_descriptor.get(), into.data() + done, into.size() - done,
                                    static_cast<off_t>(m_offset + position + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

CardDevice openCardDevice(const std::string &path, std::uint64_t offset)
{
    UniqueFd descriptor = openAsCallerOrRoot(path, offset);
    const int reason = errno;
    dropPrivileges();
    if (!descriptor.isOpen())
        throw Failure(ExitStatus::Device, "device-not-opened", reason);
    const struct stat status = statusOf(descriptor);
    if (!S_ISBLK(status.st_mode) && !S_ISREG(status.st_mode))
        throw Failure(ExitStatus::Device, "device-wrong-kind");
    return {std::move(descriptor), offset};
}
