#include "mappedfile.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

/// Addresses for which the handler answers. It may interrupt any thread at any place, so it takes no lock:
/// the version is odd while the addresses change, and a guard that changes can't be the one of the fault,
/// whose mapping is in use.
struct Guard {
    std::atomic<bool> isTaken = false;
    std::atomic<unsigned> version = 0;
    std::atomic<std::uintptr_t> begin = 0;
    std::atomic<std::uintptr_t> end = 0;
    std::atomic<bool> hasFaulted = false;

    void set(std::uintptr_t newBegin, std::uintptr_t newEnd)
    {
        version.fetch_add(1);
        begin = newBegin;
        end = newEnd;
        hasFaulted = false;
        version.fetch_add(1);
    }
    [[nodiscard]] bool holds(std::uintptr_t address) const
    {
        const unsigned before = version;
        const bool isWithin = address >= begin && address < end;
        return isWithin && before % 2 == 0 && version == before;
    }
};
static_assert(std::atomic<std::uintptr_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

std::array<Guard, 64> guards;
struct sigaction previousAction;
std::once_flag handlerInstalled;

std::uintptr_t pageSize()
{
    static const auto size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    return size;
}

/// Zeros in place of the page that can't be had.
bool coverPage(void *fault)
{
    char *const page = static_cast<char *>(fault) - reinterpret_cast<std::uintptr_t>(fault) % pageSize();
    const int errorBefore = errno;
    const bool isCovered =
        mmap(page, pageSize(), PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED;
    errno = errorBefore;
    return isCovered;
}

void callPreviousHandler(int number, siginfo_t *information, void *context)
{
    if (previousAction.sa_flags & SA_SIGINFO)
        return previousAction.sa_sigaction(number, information, context);
    const bool isSent = information->si_code <= 0; // by a process, not by a fault
    if (previousAction.sa_handler == SIG_IGN && isSent)
        return;
    if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN)
        return previousAction.sa_handler(number);
    // Back in the code the fault comes again, and what was sent is sent once more, now without a handler.
    signal(SIGBUS, SIG_DFL);
    if (isSent)
        raise(SIGBUS);
}

void handleBusError(int number, siginfo_t *information, void *context)
{
    const auto address = reinterpret_cast<std::uintptr_t>(information->si_addr);
    if (information->si_code > 0) {
        for (Guard &guard : guards) {
            if (guard.holds(address) && coverPage(information->si_addr)) {
                guard.hasFaulted = true;
                return;
            }
        }
    }
    callPreviousHandler(number, information, context);
}

void installHandler()
{
    (void)pageSize(); // not for the first time within the handler
    sigaction(SIGBUS, nullptr, &previousAction);
    struct sigaction action {
    };
    action.sa_sigaction = handleBusError;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, nullptr);
}

int takeGuard()
{
    std::call_once(handlerInstalled, installHandler);
    for (size_t i = 0; i < guards.size(); ++i) {
        if (!guards[i].isTaken.exchange(true))
            return static_cast<int>(i);
    }
    return -1;
}

Guard &guardAt(int index) { return guards[static_cast<size_t>(index)]; }

} // namespace

std::optional<MappedFile> MappedFile::open(const char *path)
{
    // A pipe of that name must not make it wait.
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0)
        return std::nullopt;
    std::optional<MappedFile> file = ofDescriptor(descriptor);
    const int error = errno;
    close(descriptor);
    errno = error;
    return file;
}

std::optional<MappedFile> MappedFile::ofDescriptor(int descriptor)
{
    struct stat status {
    };
    if (fstat(descriptor, &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return std::nullopt;
    }
    MappedFile file;
    if (status.st_size == 0)
        return file;
    file.m_guard = takeGuard();
    if (file.m_guard < 0) {
        errno = EMFILE;
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void *data = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (data == MAP_FAILED)
        return std::nullopt;
    // Files are searched from front to back; the kernel then needs no record of which pages were used lately.
    (void)madvise(data, size, MADV_SEQUENTIAL);
    file.m_data = static_cast<const std::uint8_t *>(data);
    file.m_size = size;
    const auto begin = reinterpret_cast<std::uintptr_t>(data);
    guardAt(file.m_guard).set(begin, begin + size);
    return file;
}

MappedFile::MappedFile(MappedFile &&other) noexcept { *this = std::move(other); }

MappedFile &MappedFile::operator=(MappedFile &&other) noexcept
{
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_guard, other.m_guard);
    return *this;
}

MappedFile::~MappedFile()
{
    if (m_guard < 0)
        return;
    const int error = errno;
    guardAt(m_guard).set(0, 0);
    if (m_data)
        munmap(const_cast<std::uint8_t *>(m_data), m_size);
    guardAt(m_guard).isTaken = false;
    errno = error;
}

bool MappedFile::hasShrunk() const { return m_guard >= 0 && guardAt(m_guard).hasFaulted; }

namespace {

/// The whole pages within or, if outwards, around these bytes; null if none.
std::span<std::uint8_t> pages(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t size,
                              bool isOutwards)
{
    if (bytes.empty() || offset >= bytes.size())
        return {};
    const std::size_t page = pageSize();
    const std::size_t end = offset + std::min(size, bytes.size() - offset);
    // The last page of a mapping is all its own, though the file ends within.
    const bool isLast = end == bytes.size();
    const std::size_t first = (isOutwards ? offset : offset + page - 1) / page * page;
    const std::size_t last = (isOutwards || isLast ? end + page - 1 : end) / page * page;
    if (first >= last)
        return {};
    return {const_cast<std::uint8_t *>(bytes.data()) + first, last - first};
}

} // namespace

void MappedFile::populate(std::size_t offset, std::size_t size) const
{
    const auto range = pages(bytes(), offset, size, true);
    if (range.empty())
        return;
#ifdef MADV_POPULATE_READ
    if (madvise(range.data(), range.size(), MADV_POPULATE_READ) == 0 || errno != EINVAL)
        return;
#endif
    (void)madvise(range.data(), range.size(), MADV_WILLNEED); // kernels before 5.14
}

void MappedFile::release(std::size_t offset, std::size_t size) const
{
    const auto range = pages(bytes(), offset, size, false);
    if (!range.empty())
        (void)madvise(range.data(), range.size(), MADV_DONTNEED);
}
