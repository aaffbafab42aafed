#include "store/Program.h"

#include "store/Files.h"
#include "store/Stop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel::store {

namespace {

constexpr char const* launcher = "zentho-cali-confine";

/// Exit statuses of the launcher.
enum LauncherStatus : int {
    wrongUsage = 120,
    notConfined = 121,
    noSandbox = 122,
    notExecuted = 123,
};

/// Fewer changes between two processes for the same bytes. An ordinary user may not have more.
constexpr int pipeSize = 1048576;

constexpr int longestPoll = 100; // milliseconds

constexpr int stillRuns = -1;

char const* wordFor(Profile profile) noexcept {
    constexpr std::array<char const*, 3> words{"unpack", "fetch", "verify"};
    return words.at(static_cast<std::size_t>(profile));
}

#ifdef ZENTHO_BUILD_DIRECTORY
/// @return Whether this program runs from the folder that it was built in.
bool runsInBuild() {
    std::array<char, PATH_MAX> path{};
    ssize_t const length = readlink("/proc/self/exe", path.data(), path.size());
    std::string_view const build = ZENTHO_BUILD_DIRECTORY "/";
    return length > 0 && std::string_view(path.data(), static_cast<std::size_t>(length))
                                 .substr(0, build.size()) == build;
}
#endif

/// File actions of a start, freed at their end.
class Actions {
public:
    Actions() : m_error(posix_spawn_file_actions_init(&m_actions)) {}
    ~Actions() { posix_spawn_file_actions_destroy(&m_actions); }
    Actions(Actions const&) = delete;
    Actions& operator=(Actions const&) = delete;

    void duplicate(int from, int to) {
        note(posix_spawn_file_actions_adddup2(&m_actions, from, to));
    }
    void openNothing(int descriptor) {
        note(posix_spawn_file_actions_addopen(&m_actions, descriptor, "/dev/null", O_RDONLY, 0));
    }
    void closeFrom(int descriptor) {
        note(posix_spawn_file_actions_addclosefrom_np(&m_actions, descriptor));
    }
    posix_spawn_file_actions_t const* get() const noexcept { return &m_actions; }
    int error() const noexcept { return m_error; }

private:
    void note(int error) noexcept { m_error = m_error != 0 ? m_error : error; }

    posix_spawn_file_actions_t m_actions{};
    int m_error;
};

/// A process that starts with default signals, and in a group of its own: what a terminal sends to
/// ours has to end us, and not what we wait for.
class Attributes {
public:
    Attributes() : m_error(posix_spawnattr_init(&m_attributes)) {
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        constexpr int flags =
            POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP;
        posix_spawnattr_setsigdefault(&m_attributes, &all);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setpgroup(&m_attributes, 0);
        posix_spawnattr_setflags(&m_attributes, static_cast<short>(flags));
    }
    ~Attributes() { posix_spawnattr_destroy(&m_attributes); }
    Attributes(Attributes const&) = delete;
    Attributes& operator=(Attributes const&) = delete;

    posix_spawnattr_t const* get() const noexcept { return &m_attributes; }
    int error() const noexcept { return m_error; }

private:
    posix_spawnattr_t m_attributes{};
    int m_error;
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Of our own environment only what the programs need: the time zone and the proxies.
std::vector<std::string> environmentFor(Profile profile) {
    std::vector<std::string> variables;
    auto const add = [&](char const* name) {
        char const* const value = std::getenv(name);
        if (value != nullptr)
            variables.push_back(std::string(name) + "=" + value);
    };
    add("TZ");
    if (profile == Profile::fetch) {
        for (char const* const name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                       "ALL_PROXY", "no_proxy", "NO_PROXY"})
            add(name);
    }
    return variables;
}

/// A descriptor above those that the program is given, so that none is in another's way.
FileDescriptor raised(int descriptor, std::size_t above) {
    FileDescriptor high(fcntl(descriptor, F_DUPFD_CLOEXEC, static_cast<int>(above)));
    if (!high.valid())
        stop("Cannot start a program", "", errno);
    return high;
}

void requireInstalled(std::string const& path) {
    if (access(path.c_str(), X_OK) == 0)
        return;
    Failure failure;
    failure.kind = FailureKind::noProgram;
    failure.message = "This takes a program that is not installed:";
    failure.path = path;
    failure.error = errno;
    throw Stop{std::move(failure)};
}

} // namespace

std::string folderOf(Programs const& programs) {
    if (!programs.folder.empty())
        return programs.folder;
#ifdef ZENTHO_BUILD_DIRECTORY
    if (runsInBuild())
        return ZENTHO_BUILD_DIRECTORY "/libexec/zentho-cali";
#endif
    return ZENTHO_PROGRAMS;
}

Program::Program(Programs const& programs, Confined const& what) : m_path(what.program) {
    start(programs, what);
}

void Program::start(Programs const& programs, Confined const& what) {
    std::string const first = folderOf(programs) + "/" + launcher;
    requireInstalled(first);
    requireInstalled(m_path);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        stop("Cannot start", m_path, errno);
    m_output = FileDescriptor(ends[0]);
    FileDescriptor const input(ends[1]);
    fcntl(ends[0], F_SETPIPE_SZ, pipeSize);

    std::size_t const count = std::max<std::size_t>(what.descriptors.size(), STDERR_FILENO + 1);
    std::vector<FileDescriptor> given;
    Actions actions;
    for (std::size_t i = 0; i < count; ++i) {
        if (i == STDERR_FILENO)
            continue;
        given.push_back(raised(i == STDOUT_FILENO ? input.get() : what.descriptors.at(i), count));
        actions.duplicate(given.back().get(), static_cast<int>(i));
    }
    actions.openNothing(STDERR_FILENO);
    actions.closeFrom(static_cast<int>(count));

    std::vector<std::string> words{first,
                                   wordFor(what.profile),
                                   std::to_string(getpid()),
                                   programs.requireSandbox ? "require" : "allow",
                                   std::to_string(count),
                                   m_path};
    words.insert(words.end(), what.arguments.begin(), what.arguments.end());
    std::vector<std::string> variables = environmentFor(what.profile);
    Attributes const attributes;
    int error = actions.error() != 0 ? actions.error() : attributes.error();
    if (error == 0)
        error = posix_spawn(&m_process, first.c_str(), actions.get(), attributes.get(),
                            pointersTo(words).data(), pointersTo(variables).data());
    if (error == ENOMEM)
        throw std::bad_alloc(); // GCOVR_EXCL_LINE: the kernel's memory, not ours
    if (error != 0)
        stop("Cannot start", first, error);
}

Program::~Program() {
    // Without its pipe it ends even where it cannot be killed.
    m_output = FileDescriptor();
    if (m_process <= 0)
        return;
    kill(m_process, SIGKILL);
    end();
}

std::size_t Program::read(char* bytes, std::size_t room, Reporter& reporter) {
    for (;;) {
        pollfd waiting{m_output.get(), POLLIN, 0};
        int const ready = poll(&waiting, 1, longestPoll);
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            reporter.askWhetherToGoOn();
            continue;
        }
        ssize_t const count = retried([&] { return ::read(m_output.get(), bytes, room); });
        if (count < 0)
            stop("Cannot read what is told by", m_path, errno); // GCOVR_EXCL_LINE: a pipe can be
        return static_cast<std::size_t>(count);
    }
}

/// @return Its exit status; 0 when that cannot be told: who ignores the ends of children gets none.
int Program::wait(int options) noexcept {
    int status = 0;
    pid_t const ended = retried([&] { return waitpid(m_process, &status, options); });
    if (ended == 0)
        return stillRuns;
    m_process = -1;
    return ended > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : 0;
}

/// One that closed its output may go on for ever all the same.
int Program::end() noexcept {
    constexpr int patience = 1000; // times a millisecond
    for (int i = 0; i < patience; ++i) {
        int const status = wait(WNOHANG);
        if (status != stillRuns)
            return status;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // Where that is not allowed, it is left to itself.
    return kill(m_process, SIGKILL) == 0 ? wait(0) : 0;
}

void Program::finish(bool wasConfined) {
    m_output = FileDescriptor();
    int const status = end();
    if (wasConfined)
        return;
    switch (status) {
    case wrongUsage:
    case notConfined:
        stop(FailureKind::noSandbox, "The program that reads it could not be confined:", m_path);
    case noSandbox:
        stop(FailureKind::noSandbox,
             "This kernel lacks Landlock or seccomp, without which this must not run:", m_path);
    case notExecuted:
        stop(FailureKind::noProgram, "This takes a program that cannot be executed:", m_path);
    default:
        return;
    }
}

} // namespace zel::store
