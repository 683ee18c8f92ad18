#include "privileges.h"

#include "report.h"
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/auxv.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace {

[[noreturn]] void giveUp(const char *step) { throw Failure(ExitStatus::Internal, step, errno); }

/// For what is found before anything is certain to be had, memory included.
[[noreturn]] void endAtOnce(const char *word)
{
    say(word);
    std::_Exit(static_cast<int>(ExitStatus::Internal));
}

/// The effective ids become the caller's; what the set-user-ID bit lent waits in the saved ones.
void layRightsAside()
{
    if (setegid(getgid()) != 0 || seteuid(getuid()) != 0)
        endAtOnce("rights-not-changed");
}

/// With less than this, a step could fail where failing has no words.
void requireResources()
{
    constexpr struct {
        __rlimit_resource resource;
        rlim_t least;
    } needs[]{
        {RLIMIT_STACK, 1U << 20}, {RLIMIT_AS, 64U << 20}, {RLIMIT_DATA, 64U << 20}, {RLIMIT_NOFILE, 16}};
    for (const auto &[resource, least] : needs) {
        struct rlimit limit {
        };
        if (getrlimit(resource, &limit) == 0 && limit.rlim_cur >= least)
            continue;
        limit.rlim_cur = least;
        if (limit.rlim_max < least || setrlimit(resource, &limit) != 0)
            endAtOnce("limits-too-low");
    }
}

void openStandardDescriptors()
{
    for (int fd = 0; fd <= 2; ++fd) {
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd)
            std::_Exit(static_cast<int>(ExitStatus::Internal));
    }
}

void closeOtherDescriptors()
{
    if (close_range(3, ~0U, 0) == 0)
        return;
    struct rlimit limit {
    };
    getrlimit(RLIMIT_NOFILE, &limit);
    for (int fd = 3; fd < static_cast<int>(limit.rlim_cur); ++fd)
        close(fd);
}

void resetSignals()
{
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // A reader that went away, or a file beyond the caller's limit, is an error of write().
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const struct itimerval off {
    };
    for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF})
        setitimer(timer, &off, nullptr);
}

std::pair<uid_t, gid_t> savedIds()
{
    uid_t real = 0, effective = 0, savedUser = 0;
    gid_t realGroup = 0, effectiveGroup = 0, savedGroup = 0;
    if (getresuid(&real, &effective, &savedUser) != 0
        || getresgid(&realGroup, &effectiveGroup, &savedGroup) != 0)
        giveUp("rights-not-examined");
    return {savedUser, savedGroup};
}

bool hasCapabilities()
{
    struct __user_cap_header_struct header {
        _LINUX_CAPABILITY_VERSION_3, 0
    };
    struct __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, data) != 0)
        return true;
    return data[0].permitted != 0 || data[1].permitted != 0;
}

} // namespace

void prepareProcess()
{
    layRightsAside();
    requireResources();
    openStandardDescriptors();
    closeOtherDescriptors();
    clearenv();
    umask(077);
    const struct rlimit none {
        0, 0
    };
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0);
    resetSignals();
}

bool hasBorrowedRights()
{
    const auto [user, group] = savedIds();
    if (user == getuid() && group == getgid() && getauxval(AT_SECURE) == 0)
        return false;
    // File capabilities or a foreign owner: nobody installed it so on purpose.
    if (user != 0 || getuid() == 0 || group != getgid())
        throw Failure(ExitStatus::Internal, "installation-wrong");
    return true;
}

BorrowedRights::BorrowedRights()
{
    if (seteuid(0) != 0)
        giveUp("rights-not-changed");
}

BorrowedRights::~BorrowedRights()
{
    if (seteuid(getuid()) != 0)
        endAtOnce("rights-not-changed");
}

void dropPrivileges()
{
    const uid_t user = getuid();
    const gid_t group = getgid();
    // The supplementary groups are the caller's own: a set-user-ID start doesn't add any.
    if (setresgid(group, group, group) != 0 || setresuid(user, user, user) != 0)
        giveUp("rights-not-dropped");
    uid_t users[3];
    gid_t groups[3];
    if (getresuid(&users[0], &users[1], &users[2]) != 0 || getresgid(&groups[0], &groups[1], &groups[2]) != 0)
        giveUp("rights-not-dropped");
    for (int i = 0; i < 3; ++i) {
        if (users[i] != user || groups[i] != group)
            throw Failure(ExitStatus::Internal, "rights-not-dropped");
    }
    if (user != 0 && (setuid(0) == 0 || seteuid(0) == 0))
        throw Failure(ExitStatus::Internal, "rights-not-dropped");
    // A caller who isn't root may hold capabilities of his own (containers), and then there was no
    // set-user-ID change.
    if (user != 0 && getauxval(AT_SECURE) != 0 && hasCapabilities())
        throw Failure(ExitStatus::Internal, "rights-not-dropped");
    prctl(PR_SET_DUMPABLE, 0);
}
