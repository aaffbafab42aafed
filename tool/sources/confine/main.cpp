// Executes a program that reads what strangers wrote, after it has taken from it what it could do
// harm with:
//
//   zentho-cali-confine {unpack|fetch|verify} PARENT {require|allow} DESCRIPTORS PROGRAM
//   [ARGUMENT...]
//
// PARENT is the process that waits for it: with that one it ends. DESCRIPTORS is how many open
// files the program is given, from 0 on; the others are closed. The program writes to its standard
// output. What it starts with on that pipe is a frame that says how it is confined.

#include "tool/sources/confine/Restrictions.h"

#include "util/Frames.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace confine;

/// Exit statuses, which the store knows as well.
enum Status : int {
    wrongUsage = 120,  ///< this program was not started by the store
    notConfined = 121, ///< a restriction that every kernel has could not be set
    noSandbox = 122,   ///< the kernel lacks Landlock or seccomp, and both are required
    notExecuted = 123, ///< the program cannot be executed
};

std::optional<Profile> profileFrom(std::string_view word) {
    if (word == "unpack")
        return Profile::unpack;
    if (word == "fetch")
        return Profile::fetch;
    if (word == "verify")
        return Profile::verify;
    return std::nullopt;
}

std::optional<int> numberFrom(std::string_view digits) {
    int number = 0;
    char const* const end = digits.data() + digits.size();
    auto const [rest, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || rest != end || number < 0)
        return std::nullopt;
    return number;
}

/// @return The opened program, as the descriptor after those that the program is given, since all
///         others are closed.
int openProgram(char const* path, int descriptors) {
    int const opened = open(path, O_PATH | O_CLOEXEC);
    if (opened < 0)
        return -1;
    int const program = opened == descriptors ? opened : dup3(opened, descriptors, O_CLOEXEC);
    constexpr unsigned int last = ~0U;
    if (program < 0 ||
        syscall(SYS_close_range, static_cast<unsigned int>(descriptors) + 1, last, 0) != 0)
        return -1;
    return program;
}

/// A change of user makes the kernel forget the first, so this comes after it.
bool endsWith(int parent) {
    return prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0 && getppid() == parent;
}

/// Puts the arguments where the program cannot know: at a page that is chosen at random here, also
/// where the system does not do that.
bool hideArguments(Program& program, std::vector<char*> const& arguments,
                   std::vector<char*> const& environment) {
    std::uintptr_t place = 0;
    if (getrandom(&place, sizeof place, 0) != static_cast<ssize_t>(sizeof place))
        return false;
    constexpr std::uintptr_t pages = sizeof place > 4 ? 0x3FFFFFFFF000 : 0x7FFFF000;
    std::size_t const count = arguments.size() + environment.size() + 1;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is what it is for
    void* const page = mmap(reinterpret_cast<void*>(place & pages), count * sizeof(char*),
                            PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return false;
    program.arguments = static_cast<char**>(page);
    program.environment = std::copy(arguments.begin(), arguments.end(), program.arguments);
    char** const end = std::copy(environment.begin(), environment.end(), program.environment);
    program.emptyPath = reinterpret_cast<char const*>(end); // zeros follow
    return true;
}

Status confineAndExecute(Profile profile, int parent, bool required, Program const& program) {
    Outcome rights = Outcome::failed;
    if (limitResources(profile))
        rights = dropRights();
    if (rights == Outcome::failed || !endsWith(parent) ||
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return notConfined;
    Landlock const landlock = confineFiles(profile, program.file);
    Outcome const calls = confineCalls(profile, program);
    bool const hasLandlock = landlock.outcome == Outcome::applied;
    bool const hasSeccomp = calls == Outcome::applied;
    // Who stays root must at least not reach root's files.
    if (landlock.outcome == Outcome::failed || calls == Outcome::failed ||
        (rights != Outcome::applied && !hasLandlock))
        return notConfined;
    if (required && (!hasLandlock || !hasSeccomp))
        return noSandbox;
    zel::frames::Header header;
    header.type = zel::frames::Frame::sandbox;
    header.kind = static_cast<std::uint8_t>((hasLandlock ? zel::frames::byLandlock : 0) |
                                            (hasSeccomp ? zel::frames::bySeccomp : 0));
    header.number = static_cast<std::uint64_t>(landlock.version);
    if (profile != Profile::verify && !zel::frames::FrameWriter(STDOUT_FILENO).write(header))
        return notConfined;
    executeOnce(program);
    return notExecuted;
}

} // namespace

int main(int argc, char* argv[]) {
    constexpr int programAt = 5;
    if (argc <= programAt)
        return wrongUsage;
    auto const profile = profileFrom(argv[1]);
    auto const parent = numberFrom(argv[2]);
    auto const descriptors = numberFrom(argv[4]);
    if (!profile || !parent || !descriptors)
        return wrongUsage;
    Program program;
    program.file = openProgram(argv[programAt], *descriptors);
    if (program.file < 0)
        return notExecuted;
    std::vector<char*> const arguments(argv + programAt, argv + argc + 1);
    std::vector<char*> environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
        environment.push_back(*variable);
    environment.push_back(nullptr);
    if (!hideArguments(program, arguments, environment))
        return notConfined;
    _exit(confineAndExecute(*profile, *parent, std::string_view(argv[3]) == "require", program));
}
