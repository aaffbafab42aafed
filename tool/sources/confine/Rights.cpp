#include "tool/sources/confine/Restrictions.h"

#include <cerrno>

#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace confine {

namespace {

// The numbers of "nobody" and "nogroup". To look them up would take files and libraries.
constexpr uid_t nobody = 65534;
constexpr gid_t noGroup = 65534;

bool limit(__rlimit_resource_t resource, rlim_t most) noexcept {
    rlimit limits{};
    if (getrlimit(resource, &limits) != 0)
        return false;
    if (limits.rlim_max != RLIM_INFINITY && limits.rlim_max < most)
        return true;
    limits.rlim_cur = most;
    limits.rlim_max = most;
    return setrlimit(resource, &limits) == 0;
}

bool dropCapabilities() noexcept {
    __user_cap_header_struct header{};
    header.version = _LINUX_CAPABILITY_VERSION_3;
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
    prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0); // an old kernel has none
    return syscall(SYS_capset, &header, none) == 0;
}

} // namespace

bool limitResources(Profile profile) noexcept {
    constexpr rlim_t fewFiles = 64;
    constexpr rlim_t moreFiles = 256;
    bool done = limit(RLIMIT_CORE, 0) && limit(RLIMIT_FSIZE, 0) &&
                limit(RLIMIT_NOFILE, profile == Profile::fetch ? moreFiles : fewFiles);
    // Enough for the dictionaries of the strongest settings of the usual packers.
    constexpr rlim_t mostMemory = rlim_t{768} * 1024 * 1024;
    done = done && limit(RLIMIT_AS, mostMemory);
    return done;
}

Outcome dropRights() noexcept {
    auto outcome = Outcome::applied;
    if (geteuid() == 0) {
        bool const isNobody = setgroups(0, nullptr) == 0 &&
                              setresgid(noGroup, noGroup, noGroup) == 0 &&
                              setresuid(nobody, nobody, nobody) == 0;
        // A namespace may have no such user, or forbid to give up groups.
        if (!isNobody)
            outcome = errno == EINVAL || errno == EPERM ? Outcome::notKnown : Outcome::failed;
    }
    return dropCapabilities() ? outcome : Outcome::failed;
}

} // namespace confine
