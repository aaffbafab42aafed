#include "tests/support/Namespace.h"

#include "tests/support/Fail.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <system_error>

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/securebits.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

constexpr int failedStatus = 1;
constexpr int skippedStatus = 77;

void writeOnce(char const* path, std::string const& text) {
    auto const file = open(path, O_WRONLY | O_CLOEXEC);
    auto const written = file >= 0 && write(file, text.data(), text.size()) >= 0;
    auto const reason = errno;
    if (file >= 0) {
        close(file);
    }
    if (!written) {
        throw std::system_error(reason, std::generic_category(), path);
    }
}

// Root needs no user namespace, but root of a container may lack the right to do without.
void leaveNamespaces() {
    auto const uid = std::to_string(geteuid());
    auto const gid = std::to_string(getegid());
    if (unshare(CLONE_NEWNS | CLONE_NEWNET) == 0) {
        return;
    }
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) != 0) {
        fail("unshare");
    }
    writeOnce("/proc/self/setgroups", "deny");
    writeOnce("/proc/self/uid_map", "0 " + uid + " 1");
    writeOnce("/proc/self/gid_map", "0 " + gid + " 1");
}

void raiseLoopback() {
    auto const descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        fail("socket");
    }
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    auto const result = ioctl(descriptor, SIOCSIFFLAGS, &request);
    auto const reason = errno;
    close(descriptor);
    if (result != 0) {
        throw std::system_error(reason, std::generic_category(), "loopback interface");
    }
}

// The reason why not, or an empty text.
std::string enterNamespaces() {
    try {
        leaveNamespaces();
        if (mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0) {
            fail("make mounts private");
        }
        raiseLoopback();
    } catch (std::exception const& refusal) {
        return refusal.what();
    }
    return {};
}

// Ends with exit, not with _exit, so that the leak check and the coverage counters have their say.
[[noreturn]] void runBody(std::function<void()> const& body, std::string const& reasonFile) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves no child behind
    auto const refusal = enterNamespaces();
    if (!refusal.empty()) {
        writeFile(reasonFile, "no private namespaces: " + refusal);
        _exit(skippedStatus);
    }
    try {
        body();
    } catch (std::exception const& exception) {
        ADD_FAILURE() << "exception in private namespaces: " << exception.what();
    }
    if (testing::Test::HasFailure()) {
        std::exit(failedStatus);
    }
    if (testing::Test::IsSkipped()) {
        writeFile(reasonFile, "skipped in private namespaces, see above");
        std::exit(skippedStatus);
    }
    std::exit(EXIT_SUCCESS);
}

} // namespace

void inPrivateNamespaces(std::function<void()> const& body) {
    TemporaryDirectory const exchange;
    auto const reasonFile = exchange.path() + "/reason";
    std::fflush(nullptr);
    std::cout.flush();
    auto const child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        runBody(body, reasonFile);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            fail("waitpid");
        }
    }
    if (WIFSIGNALED(status)) {
        FAIL() << "signal " << WTERMSIG(status) << " ended the test in its private namespaces";
    }
    if (WEXITSTATUS(status) == skippedStatus) {
        GTEST_SKIP() << readFile(reasonFile);
    }
    ASSERT_EQ(WEXITSTATUS(status), EXIT_SUCCESS) << "failed in private namespaces, see above";
}

void mountTmpfs(std::string const& where) {
    if (mount("tmpfs", where.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
        fail("mount a tmpfs over " + where);
    }
}

void giveUpPrivileges() {
    if (prctl(PR_SET_SECUREBITS, SECBIT_NOROOT) != 0) {
        fail("securebits");
    }
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> const none{};
    if (syscall(SYS_capset, &header, none.data()) != 0) {
        fail("capset");
    }
}

} // namespace support
