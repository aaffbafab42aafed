#include "tool/sources/confine/Restrictions.h"

#include <array>
#include <cstddef>

#include <fcntl.h>
#include <link.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace confine {

namespace {

// The C library's header may be older than the kernel, so everything stands here by its number.
constexpr long createRulesetCall = 444;
constexpr long addRuleCall = 445;
constexpr long restrictSelfCall = 446;
constexpr unsigned int askVersion = 1;
constexpr int rulePathBeneath = 1;

constexpr std::uint64_t execute = 1U << 0U;
constexpr std::uint64_t readFile = 1U << 2U;
constexpr std::uint64_t readFolder = 1U << 3U;

constexpr std::uint64_t bindPort = 1U << 0U;
constexpr std::uint64_t connectPort = 1U << 1U;
constexpr std::uint64_t allScopes = 3; // abstract sockets, signals

struct Ruleset {
    std::uint64_t files;
    std::uint64_t network; // from version 4 on
    std::uint64_t scopes;  // from version 6 on
};

struct __attribute__((packed)) PathRule {
    std::uint64_t allowed;
    std::int32_t folder;
};

/// @return Every right of files that a version knows: bits 0 to 12, then one each in the versions 2
///         (moving elsewhere), 3 (truncating) and 5 (commands of devices).
constexpr std::uint64_t fileRights(int version) noexcept {
    constexpr unsigned int first = 13;
    unsigned int rights = first;
    for (int const since : {2, 3, 5})
        rights += version >= since ? 1U : 0U;
    return (std::uint64_t{1} << rights) - 1;
}

/// Of an old kernel's ruleset only the part that it knows.
constexpr std::size_t rulesetSize(int version) noexcept {
    if (version >= 6)
        return sizeof(Ruleset);
    return version >= 4 ? offsetof(Ruleset, scopes) : offsetof(Ruleset, network);
}

bool allow(int ruleset, int place, std::uint64_t rights) noexcept {
    struct stat status {};
    if (fstat(place, &status) != 0)
        return false;
    if (!S_ISDIR(status.st_mode))
        rights &= ~readFolder;
    PathRule const rule{rights, place};
    return syscall(addRuleCall, ruleset, rulePathBeneath, &rule, 0) == 0;
}

/// What is not there needs no rule.
bool allowPath(int ruleset, char const* path, std::uint64_t rights) noexcept {
    int const place = open(path, O_PATH | O_CLOEXEC);
    if (place < 0)
        return true;
    bool const done = allow(ruleset, place, rights);
    close(place);
    return done;
}

/// Finds what loads programs that need shared libraries: it is executed, too.
int noteLoader(dl_phdr_info* object, std::size_t /*size*/, void* loader) {
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        if (object->dlpi_phdr[i].p_type == PT_INTERP)
            *static_cast<char const**>(loader) =
                // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader says it as a number
                reinterpret_cast<char const*>(object->dlpi_addr + object->dlpi_phdr[i].p_vaddr);
    }
    return 1; // the first object is this program
}

/// Libraries, the time zone, and how names of servers are found.
constexpr std::array everybodys{
    "/usr/lib",         "/lib",           "/lib64",
    "/lib32",           "/usr/lib32",     "/usr/lib64",
    "/etc/ld.so.cache", "/etc/localtime", "/usr/share/zoneinfo",
};
constexpr std::array networks{
    "/etc/ssl/certs",
    "/etc/ssl/openssl.cnf",
    "/etc/ca-certificates",
    "/usr/share/ca-certificates",
    "/usr/local/share/ca-certificates",
    "/etc/resolv.conf",
    "/etc/hosts",
    "/etc/nsswitch.conf",
    "/etc/gai.conf",
    "/etc/host.conf",
    "/run/systemd/resolve",
    "/etc/services",
};

bool allowNeeded(int ruleset, Profile profile, int program) noexcept {
    constexpr std::uint64_t reading = readFile | readFolder;
    bool done = allow(ruleset, program, readFile | execute);
    char const* loader = nullptr;
    dl_iterate_phdr(noteLoader, static_cast<void*>(&loader));
    if (loader != nullptr)
        done = done && allowPath(ruleset, loader, readFile | execute);
    for (char const* const path : everybodys)
        done = done && allowPath(ruleset, path, reading);
    if (profile == Profile::fetch) {
        for (char const* const path : networks)
            done = done && allowPath(ruleset, path, reading);
    }
    return done;
}

} // namespace

Landlock confineFiles(Profile profile, int program) noexcept {
    Landlock result;
    long const version = syscall(createRulesetCall, nullptr, 0, askVersion);
    if (version <= 0)
        return result;
    result.version = static_cast<int>(version);
    result.outcome = Outcome::failed;
    Ruleset rules{};
    rules.files = fileRights(result.version);
    rules.network = profile == Profile::fetch ? bindPort : bindPort | connectPort;
    rules.scopes = allScopes;
    auto const ruleset =
        static_cast<int>(syscall(createRulesetCall, &rules, rulesetSize(result.version), 0));
    if (ruleset < 0)
        return result;
    if (allowNeeded(ruleset, profile, program) && syscall(restrictSelfCall, ruleset, 0) == 0)
        result.outcome = Outcome::applied;
    close(ruleset);
    return result;
}

} // namespace confine
