// What stands in the place of a program that reads foreign formats, after its author took it over:
// it tries everything that it must not be able to do, and tells in members what came of it.
//
//   HostileProgram <folder with a file "victim"> <process id of the store> {all | by path | again}

#include "util/Frames.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include <asm/ioctls.h>
#include <asm/sockios.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using namespace zel::frames;

std::uint32_t told = 0;

void tell(std::string const& attempt, std::string const& outcome) {
    FrameWriter const out(STDOUT_FILENO);
    MemberNames names;
    names.path = attempt;
    Header header;
    header.type = Frame::member;
    header.member = told++;
    header.number = unknownSize;
    out.write(header, payloadOf(names));
    header.type = Frame::data;
    header.number = 0;
    out.write(header, outcome);
    header.type = Frame::end;
    header.number = outcome.size();
    out.write(header);
}

/// @param attempt Returns -1 when it was refused.
void attempt(std::string const& name, std::function<long()> const& attempt) {
    errno = 0;
    tell(name, attempt() == -1 ? "refused" : "DONE");
}

void tryFiles(std::string const& folder) {
    std::string const victim = folder + "/victim";
    std::string const other = folder + "/other";
    char const* const path = victim.c_str();
    char const* const beside = other.c_str();
    attempt("open for writing", [&] { return open(path, O_WRONLY); });
    attempt("open for both", [&] { return open(path, O_RDWR); });
    attempt("open and empty", [&] { return open(path, O_RDONLY | O_TRUNC); });
    attempt("make a file", [&] { return open(beside, O_RDONLY | O_CREAT, 0600); });
    attempt("make a nameless file", [&] { return open(folder.c_str(), O_TMPFILE | O_RDWR, 0600); });
    attempt("open by another call", [&] {
        struct {
            std::uint64_t flags = O_WRONLY, mode = 0, resolve = 0;
        } how;
        return syscall(SYS_openat2, AT_FDCWD, path, &how, sizeof how);
    });
    attempt("truncate", [&] { return truncate(path, 0); });
    attempt("rename", [&] { return rename(path, beside); });
    attempt("link", [&] { return link(path, beside); });
    attempt("make a link", [&] { return symlink(path, beside); });
    attempt("unlink", [&] { return unlink(path); });
    attempt("make a folder", [&] { return mkdir(beside, 0700); });
    attempt("change a mode", [&] { return chmod(path, 0777); });
    attempt("change an owner", [&] { return chown(path, getuid(), getgid()); });
    attempt("change times", [&] { return utimensat(AT_FDCWD, path, nullptr, 0); });
    attempt("mount", [&] { return mount("none", folder.c_str(), "tmpfs", 0, ""); });
    attempt("write to the archive", [] { return write(STDIN_FILENO, "x", 1); });
    attempt("truncate the archive", [] { return ftruncate(STDIN_FILENO, 0); });
    attempt("write to standard error", [] { return write(STDERR_FILENO, "x", 1); });
    attempt("make memory that can be executed", [] { return syscall(SYS_memfd_create, "x", 0); });
}

void tryReading(std::string const& folder) {
    std::string const victim = folder + "/victim";
    attempt("read a person's file", [&] { return open(victim.c_str(), O_RDONLY); });
    attempt("list a person's folder", [&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY); });
    attempt("read the users", [] { return open("/etc/passwd", O_RDONLY); });
    attempt("read the passwords", [] { return open("/etc/shadow", O_RDONLY); });
}

void tryPrograms() {
    char const* const words[]{"true", nullptr};
    auto* const arguments = const_cast<char* const*>(words);
    attempt("execute", [&] { return execve("/bin/true", arguments, environ); });
    attempt("fork", [] {
        long const child = syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, 0);
        if (child == 0)
            _exit(0);
        return child;
    });
}

/// Whoever tries this is ended.
void tryPrograms(std::string const& how) {
    char const* const words[]{"true", nullptr};
    auto* const arguments = const_cast<char* const*>(words);
    tell("before", "DONE");
    if (how == "by path")
        syscall(SYS_execveat, AT_FDCWD, "/bin/true", arguments, environ, 0);
    else
        syscall(SYS_execveat, dup2(open("/usr/lib/os-release", O_RDONLY), 3), "", arguments,
                environ, AT_EMPTY_PATH);
    tell("after", "DONE");
}

void tryProcesses(pid_t store) {
    attempt("limit the store", [&] {
        rlimit const none{0, 0};
        return prlimit(store, RLIMIT_CPU, &none, nullptr);
    });
    attempt("limit itself", [&] {
        rlimit const none{0, 0};
        return setrlimit(RLIMIT_CPU, &none);
    });
    attempt("have signals sent", [&] { return fcntl(STDOUT_FILENO, F_SETOWN, store); });
    attempt("choose the signal", [&] { return fcntl(STDOUT_FILENO, F_SETSIG, SIGKILL); });
    attempt("have data announced", [&] { return fcntl(STDOUT_FILENO, F_SETFL, O_ASYNC); });
    attempt("have signals sent otherwise", [&] { return ioctl(STDOUT_FILENO, FIOSETOWN, &store); });
    attempt("lease a file", [] { return fcntl(STDIN_FILENO, F_SETLEASE, F_WRLCK); });
    attempt("signal the store", [&] { return kill(store, 0); });
    attempt("signal everybody", [] { return kill(-1, 0); });
    attempt("trace the store", [&] { return ptrace(PTRACE_ATTACH, store, nullptr, nullptr); });
    attempt("read the store's memory", [&] {
        char byte = 0;
        iovec here{&byte, 1};
        iovec there{&byte, 1};
        return process_vm_readv(store, &here, 1, &there, 1, 0);
    });
    attempt("become root", [] { return setuid(0); });
    attempt("stay when the store ends", [] { return prctl(PR_SET_PDEATHSIG, 0); });
    attempt("get a new namespace", [] { return unshare(CLONE_NEWUSER); });
    tell("is root", getuid() == 0 || geteuid() == 0 || getgid() == 0 ? "DONE" : "refused");
}

void trySockets() {
    attempt("internet socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
    attempt("internet socket, new", [] { return socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0); });
    attempt("routes", [] { return socket(AF_NETLINK, SOCK_RAW, 0); });
    attempt("raw socket", [] { return socket(AF_INET, SOCK_RAW, 1); });
    attempt("packets", [] { return socket(AF_PACKET, SOCK_RAW, 0); });
    attempt("local socket", [] { return socket(AF_UNIX, SOCK_STREAM, 0); });
    attempt("pair of packets", [] {
        int ends[2];
        return socketpair(AF_UNIX, SOCK_DGRAM, 0, ends);
    });
    attempt("kernel's keys", [] { return socket(AF_ALG, SOCK_SEQPACKET, 0); });
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 4)
        return 1;
    std::string const how = argv[3];
    if (how != "all") {
        tryPrograms(how);
        return 0;
    }
    tell("has a further descriptor", [] {
        for (int i = 3; i < 1024; ++i) {
            if (fcntl(i, F_GETFD) != -1)
                return "DONE";
        }
        return "refused";
    }());
    trySockets();
    tryReading(argv[1]);
    tryFiles(argv[1]);
    tryProcesses(std::atoi(argv[2]));
    tryPrograms();
    Header header;
    header.type = Frame::done;
    header.number = told;
    FrameWriter(STDOUT_FILENO).write(header);
    // Nobody may have to wait for it.
    close(STDOUT_FILENO);
    for (;;)
        pause();
}
