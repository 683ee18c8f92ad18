#include "confinement.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZED 1
#endif
#endif

#if defined(__x86_64__)
#define NATIVE_ARCHITECTURE AUDIT_ARCH_X86_64
#elif defined(__aarch64__)
#define NATIVE_ARCHITECTURE AUDIT_ARCH_AARCH64
#endif

namespace {

#ifndef SANITIZED // a sanitizer maps terabytes and asks the kernel for much at the end

void lower(__rlimit_resource resource, rlim_t bound)
{
    struct rlimit limit {
    };
    if (getrlimit(resource, &limit) != 0 || limit.rlim_cur <= bound)
        return;
    limit.rlim_cur = bound;
    setrlimit(resource, &limit);
}

#ifdef NATIVE_ARCHITECTURE

constexpr std::array allowedCalls{
    SYS_pread64,       SYS_pwrite64,     SYS_write,          SYS_writev,   SYS_lseek,      SYS_ftruncate,
    SYS_close,         SYS_fstat,        SYS_unlinkat,       SYS_renameat, SYS_renameat2,  SYS_utimensat,
    SYS_brk,           SYS_mmap,         SYS_munmap,         SYS_mremap,   SYS_madvise,    SYS_futex,
    SYS_clock_gettime, SYS_rt_sigreturn, SYS_rt_sigprocmask, SYS_exit,     SYS_exit_group,
#ifdef SYS_newfstatat
    SYS_newfstatat, // fstat() of newer C libraries
#endif
#ifdef SYS_time
    SYS_time,
#endif
};

std::vector<sock_filter> filterProgram()
{
    std::vector<sock_filter> program{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NATIVE_ARCHITECTURE, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const long call : allowedCalls) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM));
    return program;
}

#endif
#endif

} // namespace

void limitResources()
{
#ifndef SANITIZED
    lower(RLIMIT_AS, 256UL << 20);
    // Far more than the largest card takes; the end by SIGXCPU is caught, and removes what was begun.
    lower(RLIMIT_CPU, 600);
#endif
}

void confineSystemCalls()
{
#if !defined(SANITIZED) && defined(NATIVE_ARCHITECTURE)
    std::vector<sock_filter> program = filterProgram();
    const sock_fprog description{static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0)
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &description);
#endif
}
