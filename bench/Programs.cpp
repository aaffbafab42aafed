#include "bench/Programs.h"

#include "tests/support/Command.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

std::vector<char*> pointersTo(std::vector<std::string> const& arguments) {
    std::vector<char*> pointers;
    for (std::string const& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

/// The file actions that discard the output.
class Silence {
public:
    Silence() {
        posix_spawn_file_actions_init(&m_actions);
        for (int const stream : {STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(&m_actions, stream, "/dev/null", O_WRONLY, 0);
    }
    ~Silence() { posix_spawn_file_actions_destroy(&m_actions); }
    Silence(Silence const&) = delete;
    Silence& operator=(Silence const&) = delete;

    posix_spawn_file_actions_t const* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "waitpid");
    }
    return status;
}

[[noreturn]] void becomeTraced(std::vector<char*> const& arguments) {
    int const nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execv(arguments.front(), arguments.data());
    _exit(127);
}

bool isAboutToEnd(int status) {
    return status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8);
}

std::size_t highWaterMark(pid_t process) {
    std::string const status = support::readFile("/proc/" + std::to_string(process) + "/status");
    auto const at = status.find("VmHWM:");
    if (at == std::string::npos)
        throw std::runtime_error("the kernel keeps no high water mark");
    return std::stoul(status.substr(at + 6)) * 1024;
}

std::uint64_t withoutCommas(std::string const& text) {
    std::uint64_t value = 0;
    for (char const c : text) {
        if (c >= '0' && c <= '9')
            value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return value;
}

} // namespace

int runQuietly(std::vector<std::string> const& arguments) {
    Silence const silence;
    auto const pointers = pointersTo(arguments);
    pid_t child = 0;
    int const error =
        posix_spawnp(&child, pointers.front(), silence.get(), nullptr, pointers.data(), environ);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), arguments.front());
    return waitFor(child);
}

// The figures of wait4(2) would include the children, and this process from before the exec.
std::size_t peakMemory(std::vector<std::string> const& arguments) {
    auto const pointers = pointersTo(arguments);
    pid_t const child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0)
        becomeTraced(pointers);

    if (!WIFSTOPPED(waitFor(child)))
        throw std::runtime_error("cannot trace " + arguments.front());
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    std::size_t peak = 0;
    int signal = 0;
    for (;;) {
        ptrace(PTRACE_CONT, child, nullptr, signal);
        int const status = waitFor(child);
        if (!WIFSTOPPED(status))
            return peak;
        signal = WSTOPSIG(status);
        if (isAboutToEnd(status)) {
            peak = highWaterMark(child);
            signal = 0;
        }
    }
}

std::uint64_t countInstructions(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {"valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"});
    auto const outcome = support::run(arguments);
    auto const at = outcome.standardError.find("Collected : ");
    if (outcome.exitStatus != 0 || at == std::string::npos)
        throw std::runtime_error("callgrind: " + outcome.standardError);
    auto const end = outcome.standardError.find('\n', at);
    return withoutCommas(outcome.standardError.substr(at, end - at));
}

} // namespace bench
