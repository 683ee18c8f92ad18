#include "targetfile.h"

#include "report.h"
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {

// For the signal handler: what to remove, from where. A null name is nothing.
volatile sig_atomic_t folderOfTemporary = -1;
const char *volatile temporaryToRemove = nullptr;

extern "C" void removeAndExit(int number)
{
    const char *name = temporaryToRemove;
    if (name != nullptr)
        unlinkat(folderOfTemporary, name, 0);
    _exit(128 + number);
}

void catchEndingSignals()
{
    struct sigaction action {
    };
    action.sa_handler = removeAndExit;
    sigfillset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU})
        sigaction(number, &action, nullptr);
}

[[noreturn]] void giveUp(const char *word) { throw Failure(ExitStatus::Target, word, errno); }

} // namespace

TargetFile::TargetFile(const std::string &path, const CardDevice &card)
    : m_card(card)
{
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    m_name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (m_name.empty() || m_name == "." || m_name == "..")
        throw Failure(ExitStatus::Target, "target-name-wrong");
    m_folder = UniqueFd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder.isOpen())
        giveUp("target-folder-not-opened");
    static_cast<void>(hasOld());
    createTemporary();
}

/// Throws unless what is there may be removed.
bool TargetFile::hasOld() const
{
    struct stat status {
    };
    if (fstatat(m_folder.get(), m_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT)
            giveUp("target-not-examined");
        return false;
    }
    if (!S_ISREG(status.st_mode))
        throw Failure(ExitStatus::Target, "target-not-a-file");
    if (m_card.isFile(status))
        throw Failure(ExitStatus::Target, "target-is-the-device");
    return true;
}

void TargetFile::removeOld()
{
    if (hasOld() && unlinkat(m_folder.get(), m_name.c_str(), 0) != 0)
        giveUp("target-not-removed");
}

void TargetFile::createTemporary()
{
    unsigned long long number = 0;
    if (getrandom(&number, sizeof(number), 0) != static_cast<ssize_t>(sizeof(number)))
        giveUp("target-not-created");
    std::snprintf(m_temporaryName.data(), m_temporaryName.size(), ".%016llx.part", number);
    folderOfTemporary = m_folder.get();
    temporaryToRemove = m_temporaryName.data();
    catchEndingSignals();
    constexpr mode_t privateMode = 0600;
    m_file = UniqueFd(openat(m_folder.get(), m_temporaryName.data(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateMode));
    if (!m_file.isOpen()) {
        temporaryToRemove = nullptr;
        giveUp("target-not-created");
    }
}

TargetFile::~TargetFile()
{
    if (temporaryToRemove != nullptr && m_file.isOpen())
        unlinkat(m_folder.get(), m_temporaryName.data(), 0);
    temporaryToRemove = nullptr;
}

void TargetFile::requireSpace(std::uint64_t bytes) const
{
    struct statvfs status {
    };
    // Some network file systems tell nothing.
    if (fstatvfs(m_folder.get(), &status) == 0 && status.f_blocks != 0
        && bytes / status.f_frsize > status.f_bavail)
        throw Failure(ExitStatus::Target, "target-not-written", ENOSPC);
}

void TargetFile::write(std::uint64_t position, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = pwrite(m_file.get(), bytes.data(), bytes.size(), static_cast<off_t>(position));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            giveUp("target-not-written");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        position += static_cast<std::uint64_t>(count);
    }
}

void TargetFile::complete(std::uint64_t size, std::int64_t modified)
{
    struct stat status {
    };
    if (fstat(m_file.get(), &status) != 0
        || (static_cast<std::uint64_t>(status.st_size) != size
            && ftruncate(m_file.get(), static_cast<off_t>(size)) != 0))
        giveUp("target-not-written");
    // Not every file system can tell each date, and the content is what counts.
    const std::array<timespec, 2> times{timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                                        timespec{.tv_sec = modified, .tv_nsec = 0}};
    futimens(m_file.get(), times.data());
    // Disk quotas and network file systems may tell only now that it has no room.
    if (close(m_file.release()) != 0) {
        const int reason = errno;
        unlinkat(m_folder.get(), m_temporaryName.data(), 0);
        errno = reason;
        giveUp("target-not-written");
    }
    if (renameat(m_folder.get(), m_temporaryName.data(), m_folder.get(), m_name.c_str()) != 0) {
        const int reason = errno;
        unlinkat(m_folder.get(), m_temporaryName.data(), 0);
        errno = reason;
        giveUp("target-not-named");
    }
    temporaryToRemove = nullptr;
}
