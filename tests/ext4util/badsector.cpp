// Preloaded before ext4util: reads that touch the byte BADSECTOR of a file fail as those of a bad sector do,
// or, with BADSECTOR_HANGS set, never come back, as those of a dying reader do.

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <sched.h>
#include <sys/types.h>

namespace {

// Read before main() clears the environment.
const char *const byteText = std::getenv("BADSECTOR");
const off_t badByte = byteText != nullptr ? std::atoll(byteText) : -1;
const bool hangs = std::getenv("BADSECTOR_HANGS") != nullptr;

} // namespace

extern "C" ssize_t pread64(int fd, void *buffer, size_t size, off_t position)
{
    using Read = ssize_t (*)(int, void *, size_t, off_t);
    static const auto real = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "pread64"));
    if (badByte >= position && badByte < position + static_cast<off_t>(size)) {
        while (hangs)
            sched_yield();
        errno = EIO;
        return -1;
    }
    return real(fd, buffer, size, position);
}

extern "C" ssize_t pread(int fd, void *buffer, size_t size, off_t position)
{
    return pread64(fd, buffer, size, position);
}
extern "C" ssize_t __pread_chk(int fd, void *buffer, size_t size, off_t position, size_t)
{
    return pread64(fd, buffer, size, position);
}
extern "C" ssize_t __pread64_chk(int fd, void *buffer, size_t size, off_t position, size_t)
{
    return pread64(fd, buffer, size, position);
}
