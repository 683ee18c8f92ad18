#include "channels/apart.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Reads all bytes, waiting no longer than that.
bool readAll(int from, std::span<std::byte> result, double seconds)
{
    pollfd waiting{from, POLLIN, 0};
    while (!result.empty()) {
        const int ready = poll(&waiting, 1, static_cast<int>(std::clamp(seconds, 0.1, 60.0) * 1000));
        const ssize_t count = ready > 0 ? read(from, result.data(), result.size()) : -1;
        if (count <= 0)
            return false;
        result = result.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

bool runApart(const std::function<void()> &work, std::span<std::byte> result, double seconds)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        return false;
    const pid_t child = fork();
    if (child == 0) {
        // Unfinished files are the parent's.
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGSEGV, SIGABRT})
            std::signal(signal, SIG_DFL);
        try {
            work();
        } catch (...) {
            _exit(1);
        }
        const bool isWhole =
            write(ends[1], result.data(), result.size()) == static_cast<ssize_t>(result.size());
        _exit(isWhole ? 0 : 1);
    }
    close(ends[1]);
    const bool isGood = child > 0 && readAll(ends[0], result, seconds);
    close(ends[0]);
    if (child > 0) {
        if (!isGood)
            kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    return isGood;
}
