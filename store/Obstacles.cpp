#include "store/Obstacles.h"

#include "store/Layout.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace zel::store {

namespace {

constexpr char const* cannotReplace = "Cannot replace";

/// For folders, the journal and the record.
constexpr std::uint64_t roomBesideFiles = 65536;

/// @return The path itself if it exists, otherwise its nearest parent that does.
std::string nearestFolder(std::string path) {
    struct stat status {};
    while (stat(path.c_str(), &status) != 0 && errno == ENOENT && parentOf(path) != path)
        path = parentOf(path);
    return path;
}

/// Adds without overflow: a hostile source has files of any size.
std::uint64_t sum(std::uint64_t a, std::uint64_t b) noexcept {
    return a + std::min(b, UINT64_MAX - a);
}

std::uint64_t roundedUp(std::uint64_t bytes, std::uint64_t block) noexcept {
    return sum(bytes, block - 1) / block * block;
}

std::uint64_t roomFor(InstallPlan const& plan, std::uint64_t block) noexcept {
    std::uint64_t room = roomBesideFiles;
    for (FileToStage const& file : plan.data) {
        bool const isStaged = file.held && file.held->staged;
        room = isStaged ? room : sum(room, roundedUp(file.size, block));
    }
    return plan.description ? sum(room, roundedUp(plan.description->size, block)) : room;
}

/// How much is free where a directory is, or would be made.
struct Disk {
    std::uint64_t block;
    std::uint64_t available;
};

/// @return Nothing when the file system does not report its size.
std::optional<Disk> diskOf(std::string const& directory) {
    std::string const folder = nearestFolder(directory);
    struct statvfs disk {};
    if (retried([&] { return statvfs(folder.c_str(), &disk); }) != 0 || disk.f_blocks == 0)
        return std::nullopt;
    std::uint64_t const block = std::max<std::uint64_t>(disk.f_frsize, 1);
    return Disk{block, disk.f_bavail * block};
}

struct statx statusOf(int folder, char const* name) noexcept {
    struct statx status {};
    // Fields that the kernel does not fill in stay zero, which means no obstacle.
    statx(folder, name, AT_SYMLINK_NOFOLLOW | (*name == '\0' ? AT_EMPTY_PATH : 0),
          STATX_BASIC_STATS | STATX_MNT_ID, &status);
    return status;
}

bool isFixed(struct statx const& status) noexcept {
    return (status.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

/// In a folder with the sticky bit only the owner of a file, or of the folder, may replace it.
bool isSomebodyElses(struct statx const& folder, struct statx const& file) noexcept {
    uid_t const user = geteuid();
    return (folder.stx_mode & S_ISVTX) != 0 && user != 0 && user != folder.stx_uid &&
           user != file.stx_uid;
}

} // namespace

std::uint64_t roomIn(std::string const& directory) {
    auto const disk = diskOf(directory);
    if (!disk)
        return UINT64_MAX;
    return disk->available - std::min(disk->available, roomBesideFiles);
}

void requireRoom(std::string const& directory, InstallPlan const& plan) {
    auto const disk = diskOf(directory);
    if (!disk)
        return;
    std::uint64_t const needed = roomFor(plan, disk->block);
    if (needed <= disk->available)
        return;
    Failure failure;
    failure.kind = FailureKind::noRoom;
    failure.message = "There is not enough room in";
    failure.path = directory;
    failure.error = ENOSPC;
    failure.needed = needed;
    failure.available = disk->available;
    throw Stop{std::move(failure)};
}

bool areOnOneDisk(Folder const& left, Folder const& right) noexcept {
    struct statx const one = statusOf(left.get(), "");
    struct statx const other = statusOf(right.get(), "");
    bool const areKnown = one.stx_mask != 0 && other.stx_mask != 0;
    return !areKnown ||
           (one.stx_mnt_id == other.stx_mnt_id && one.stx_dev_major == other.stx_dev_major &&
            one.stx_dev_minor == other.stx_dev_minor);
}

void requireMovable(Target const& target, std::vector<std::string> const& names,
                    unsigned long serial) {
    for (std::string const& name :
         {recordName(serial), journalName(serial), besideName(journalName(serial))}) {
        if (isFolder(target.hidden(), name.c_str()))
            stop(FailureKind::inTheWay,
                 "A folder stands in a file's place:", target.hidden().pathOf(name));
    }
    struct statx const folder = statusOf(target.folder().get(), "");
    struct statx const hidden = statusOf(target.hidden().get(), "");
    bool const areKnown = folder.stx_mask != 0 && hidden.stx_mask != 0;
    if (areKnown && folder.stx_mnt_id != hidden.stx_mnt_id)
        stop(FailureKind::inTheWay, "Another file system must not be mounted at",
             target.hidden().path);
    if (isFixed(folder))
        stop(cannotReplace, target.folder().path, EPERM);
    for (std::string const& name : names) {
        struct statx const file = statusOf(target.folder().get(), name.c_str());
        bool const isThere = (file.stx_mask & STATX_MODE) != 0;
        if (isThere && (isFixed(file) || isSomebodyElses(folder, file)))
            stop(cannotReplace, target.folder().pathOf(name), EPERM);
    }
}

} // namespace zel::store
