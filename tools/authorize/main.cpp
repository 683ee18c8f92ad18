// vornex-authorize FOLDER: run by pkexec, once per installed version and user.
//
// Puts a copy of the "ext4util" that lies beside this program into FOLDER, as a set-user-ID program of root.
// FOLDER must belong to the user who asked. Nothing else is taken from that user: the bytes come from the
// package, and the file is written new, so that nothing can be slipped in between the consent and the bit.
//
// Exit status: 0 done, 1 refused or failed (one line on standard error), 2 wrong use.

#include "trustedcopy.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <optional>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

constexpr const char *toolName = "ext4util";

std::optional<uid_t> callerFromEnvironment()
{
    const char *text = std::getenv("PKEXEC_UID");
    if (!text)
        return std::nullopt;
    const char *end = text + std::strlen(text);
    uid_t caller = 0;
    const auto [rest, error] = std::from_chars(text, end, caller);
    if (error != std::errc() || rest != end || caller == static_cast<uid_t>(-1))
        return std::nullopt;
    return caller;
}

// Leaves nothing of what the caller can set up: environment, descriptors, signals, masks, core dumps.
bool dropInheritedState()
{
    if (clearenv() != 0)
        return false;
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        if (fcntl(standard, F_GETFD) < 0 && open("/dev/null", O_RDWR) != standard)
            return false;
    }
    if (close_range(STDERR_FILENO + 1, ~0U, 0) != 0)
        return false;
    for (int signal = 1; signal < NSIG; ++signal) {
        if (signal != SIGKILL && signal != SIGSTOP)
            std::signal(signal, SIG_DFL);
    }
    std::signal(SIGXFSZ, SIG_IGN); // an error of write(), after which nothing is left behind
    sigset_t none;
    sigemptyset(&none);
    const rlimit noCore{0, 0};
    umask(077);
    return sigprocmask(SIG_SETMASK, &none, nullptr) == 0 && setrlimit(RLIMIT_CORE, &noCore) == 0
        && chdir("/") == 0;
}

std::string ownFolder()
{
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0 || static_cast<size_t>(length) == path.size())
        return {};
    const std::string program(path.data(), static_cast<size_t>(length));
    return program.substr(0, program.rfind('/'));
}

Failure authorize(const char *path, uid_t caller)
try {
    UniqueFd source;
    if (Failure error = openTrustedFile(ownFolder(), toolName, source); !error.empty())
        return error;
    UniqueFd folder;
    if (Failure error = openFolderOfCaller(path, caller, folder); !error.empty())
        return error;
    return writeSetUserIdCopy(source, folder, toolName);
} catch (const std::bad_alloc &) {
    return "no memory";
}

} // namespace

int main(int argc, char **argv)
{
    const std::optional<uid_t> caller = callerFromEnvironment();
    if (!dropInheritedState())
        return 1;
    if (argc != 2) {
        std::fputs("usage: vornex-authorize FOLDER (run by pkexec)\n", stderr);
        return 2;
    }
    if (getuid() != 0 || geteuid() != 0 || !caller) {
        std::fputs("vornex-authorize: must be run by pkexec\n", stderr);
        return 1;
    }
    const Failure error = authorize(argv[1], *caller);
    if (!error.empty()) {
        std::fprintf(stderr, "vornex-authorize: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
