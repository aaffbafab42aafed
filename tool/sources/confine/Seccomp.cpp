#include "tool/sources/confine/Restrictions.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>

#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace confine {

namespace {

/// What any program needs: memory, time, reading what is open or may be opened, an end.
constexpr std::array needed{
    "read",
    "pread64",
    "readv",
    "preadv",
    "write",
    "writev",
    "close",
    "close_range",
    "lseek",
    "_llseek",
    "fstat",
    "fstat64",
    "newfstatat",
    "fstatat64",
    "stat",
    "stat64",
    "lstat",
    "lstat64",
    "statx",
    "access",
    "faccessat",
    "faccessat2",
    "readlink",
    "readlinkat",
    "getdents",
    "getdents64",
    "getcwd",

    "dup",
    "poll",
    "ppoll",
    "ppoll_time64",
    "select",
    "_newselect",
    "pselect6",
    "pselect6_time64",
    "mmap",
    "mmap2",
    "munmap",
    "mremap",
    "mprotect",
    "madvise",
    "brk",
    "futex",
    "futex_time64",
    "set_tid_address",
    "set_robust_list",
    "rseq",
    "arch_prctl",
    "set_thread_area",
    "set_tls",
    "cacheflush",

    "getrlimit",
    "ugetrlimit",
    "getrandom",
    "rt_sigaction",
    "rt_sigprocmask",
    "rt_sigreturn",
    "sigreturn",
    "sigaltstack",
    "restart_syscall",
    "exit",
    "exit_group",
    "clock_gettime",
    "clock_gettime64",
    "clock_getres",
    "clock_getres_time64",
    "gettimeofday",
    "time",
    "nanosleep",
    "clock_nanosleep",
    "clock_nanosleep_time64",
    "times",
    "getrusage",
    "uname",
    "sysinfo",
    "sched_getaffinity",
    "sched_yield",
    "getpid",
    "gettid",
    "getppid",
    "getuid",
    "geteuid",
    "getgid",
    "getegid",
    "getuid32",
    "geteuid32",
    "getgid32",
    "getegid32",
    "membarrier",
};

/// What speaking to servers takes besides.
constexpr std::array networking{
    "connect", "bind",     "getsockname",   "getpeername",     "getsockopt",      "setsockopt",
    "sendto",  "send",     "sendmsg",       "sendmmsg",        "sendmmsg_time64", "recvfrom",
    "recv",    "recvmsg",  "recvmmsg",      "recvmmsg_time64", "shutdown",        "pipe",
    "pipe2",   "eventfd2", "epoll_create1", "epoll_ctl",       "epoll_wait",      "epoll_pwait",
};

/// What is refused as something that is not allowed. Everything else is refused as something that
/// this kernel does not have, and the C library goes back to what older kernels have.
constexpr std::array refused{
    "truncate",
    "truncate64",
    "ftruncate",
    "ftruncate64",
    "fallocate",
    "creat",
    "openat2",
    "execve",
    "fork",
    "vfork",
    "socketcall",
    "ptrace",
    "process_vm_readv",
    "process_vm_writev",
    "kill",
    "tkill",
    "rt_sigqueueinfo",
    "rt_tgsigqueueinfo",
    "pidfd_open",
    "pidfd_send_signal",
    "pidfd_getfd",
    "rename",
    "renameat",
    "renameat2",
    "link",
    "linkat",
    "symlink",
    "symlinkat",
    "unlink",
    "unlinkat",
    "rmdir",
    "mkdir",
    "mkdirat",
    "mknod",
    "mknodat",
    "chmod",
    "fchmod",
    "fchmodat",
    "chown",
    "fchown",
    "lchown",
    "fchownat",
    "utime",
    "utimes",
    "utimensat",
    "utimensat_time64",
    "futimesat",
    "setxattr",
    "lsetxattr",
    "fsetxattr",
    "removexattr",
    "lremovexattr",
    "fremovexattr",
    "mount",
    "umount2",
    "chroot",
    "pivot_root",
    "unshare",
    "setns",
    "bpf",
    "perf_event_open",
    "io_uring_setup",
    "userfaultfd",
    "memfd_create",
    "memfd_secret",
    "keyctl",
    "add_key",
    "request_key",
    "shmget",
    "msgget",
    "semget",
    "mq_open",
    "open_by_handle_at",
    "copy_file_range",
    "sendfile",
    "sendfile64",
    "splice",
    "pwrite64",
    "pwritev",
    "pwritev2",
};

struct FilterFreer {
    void operator()(void* filter) const noexcept { seccomp_release(filter); }
};

/// A filter that is being made.
class Filter {
public:
    Filter() : m_filter(seccomp_init(SCMP_ACT_ERRNO(ENOSYS))) {
        m_isGood = m_filter != nullptr &&
                   // A privileged process could load it without, and we never gain rights again.
                   seccomp_attr_set(m_filter.get(), SCMP_FLTATR_CTL_NNP, 1) == 0;
    }

    template <class Names>
    void add(std::uint32_t action, Names const& names) {
        for (char const* const name : names)
            add(action, seccomp_syscall_resolve_name(name), {});
    }

    /// A call that this processor's kernel lacks needs no rule.
    template <std::size_t count>
    void addIf(std::uint32_t action, int call, std::array<scmp_arg_cmp, count> const& conditions) {
        if (call == __NR_SCMP_ERROR || !m_isGood)
            return;
        m_isGood =
            seccomp_rule_add_array(m_filter.get(), action, call, count, conditions.data()) == 0;
    }

    void add(std::uint32_t action, int call, std::array<scmp_arg_cmp, 0> const& none) {
        addIf(action, call, none);
    }

    bool load() { return m_isGood && seccomp_load(m_filter.get()) == 0; }

private:
    std::unique_ptr<void, FilterFreer> m_filter;
    bool m_isGood;
};

constexpr std::uint32_t notPermitted = SCMP_ACT_ERRNO(EPERM);

scmp_arg_cmp has(unsigned int argument, scmp_datum_t value) {
    return {argument, SCMP_CMP_EQ, value, 0};
}

scmp_arg_cmp hasBits(unsigned int argument, scmp_datum_t mask, scmp_datum_t bits) {
    return {argument, SCMP_CMP_MASKED_EQ, mask, bits};
}

scmp_datum_t address(void const* pointer) {
    return static_cast<scmp_datum_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

/// Opening for reading only: with no flag that writes, makes or empties.
void allowReading(Filter& filter) {
    constexpr scmp_datum_t changing = O_ACCMODE | O_CREAT | O_TRUNC | (O_TMPFILE & ~O_DIRECTORY);
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(open), std::array{hasBits(1, changing, 0)});
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(openat), std::array{hasBits(2, changing, 0)});
    for (int const bit : {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
        auto const flag = static_cast<scmp_datum_t>(bit);
        filter.addIf(notPermitted, SCMP_SYS(open), std::array{hasBits(1, flag, flag)});
        filter.addIf(notPermitted, SCMP_SYS(openat), std::array{hasBits(2, flag, flag)});
    }
}

/// A process may end itself by a signal, as abort(3) does.
void allowAbort(Filter& filter) {
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(tgkill),
                 std::array{has(0, static_cast<scmp_datum_t>(getpid()))});
}

/// Sockets of the internet, and the one by which the C library asks for this machine's addresses.
void allowSockets(Filter& filter) {
    constexpr scmp_datum_t typeMask = 0xFF;
    for (int const family : {AF_INET, AF_INET6}) {
        for (int const type : {SOCK_STREAM, SOCK_DGRAM})
            filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(socket),
                         std::array{has(0, static_cast<scmp_datum_t>(family)),
                                    hasBits(1, typeMask, static_cast<scmp_datum_t>(type))});
    }
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(socket),
                 std::array{has(0, AF_NETLINK), has(2, NETLINK_ROUTE)});
    filter.addIf(notPermitted, SCMP_SYS(socket), std::array{has(0, AF_UNIX)});
}

/// Names of servers are looked up in threads of their own.
void allowThreads(Filter& filter) {
    constexpr scmp_datum_t thread = CLONE_VM | CLONE_SIGHAND | CLONE_THREAD;
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(clone), std::array{hasBits(0, thread, thread)});
}

/// Of what can be set for a descriptor only what has no effect elsewhere: a signal that announces
/// data may be any signal, to any process.
void allowDescriptorFlags(Filter& filter) {
    for (int const call : {SCMP_SYS(fcntl), SCMP_SYS(fcntl64)}) {
        for (int const command : {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL})
            filter.addIf(SCMP_ACT_ALLOW, call,
                         std::array{has(1, static_cast<scmp_datum_t>(command))});
        filter.addIf(SCMP_ACT_ALLOW, call, std::array{has(1, F_SETFL), hasBits(2, O_ASYNC, 0)});
    }
}

/// Limits may be asked for, and not be set, least of all for other processes.
void allowAskingForLimits(Filter& filter) {
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(prlimit64), std::array{has(0, 0), has(2, 0)});
}

/// A pair that is connected from the start, and can send nothing to others.
void allowPairs(Filter& filter) {
    constexpr scmp_datum_t typeMask = 0xFF;
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(socketpair),
                 std::array{has(0, AF_UNIX), hasBits(1, typeMask, SOCK_STREAM)});
    for (scmp_datum_t const command : {scmp_datum_t{FIONBIO}, scmp_datum_t{FIONREAD}})
        filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(ioctl), std::array{has(1, command)});
}

/// Allows the execution of the program. Its arguments are where the program cannot know, and who
/// tries another place is ended, so nobody can do the same again.
void allowExecution(Filter& filter, Program const& program) {
    std::array const right{has(0, static_cast<scmp_datum_t>(program.file)),
                           has(1, address(program.emptyPath)), has(2, address(program.arguments)),
                           has(3, address(program.environment)), has(4, AT_EMPTY_PATH)};
    filter.addIf(SCMP_ACT_ALLOW, SCMP_SYS(execveat), right);
    for (scmp_arg_cmp other : right) {
        other.op = SCMP_CMP_NE;
        filter.addIf(SCMP_ACT_KILL_PROCESS, SCMP_SYS(execveat), std::array{other});
    }
}

/// @return Whether the kernel knows filters: then it finds fault with where this one is.
bool knowsFilters() {
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr, 0, 0) != 0 && errno == EFAULT;
}

} // namespace

Outcome confineCalls(Profile profile, Program const& program) noexcept try {
    if (!knowsFilters())
        return Outcome::notKnown;
    Filter filter;
    filter.add(SCMP_ACT_ALLOW, needed);
    filter.add(notPermitted, refused);
    allowReading(filter);
    allowDescriptorFlags(filter);
    allowAskingForLimits(filter);
    allowAbort(filter);
    allowExecution(filter, program);
    if (profile == Profile::fetch) {
        filter.add(SCMP_ACT_ALLOW, networking);
        allowSockets(filter);
        allowPairs(filter);
        allowThreads(filter);
    } else {
        filter.add(notPermitted, std::array{"socket", "socketpair", "clone"});
    }
    return filter.load() ? Outcome::applied : Outcome::failed;
} catch (...) {
    return Outcome::failed;
}

void executeOnce(Program const& program) noexcept {
    syscall(SYS_execveat, program.file, program.emptyPath, program.arguments, program.environment,
            AT_EMPTY_PATH);
}

} // namespace confine
