#include "store/Lock.h"

#include "store/Layout.h"
#include "store/Stop.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace zel::store {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds patience(60);
constexpr std::chrono::milliseconds pause(100);
constexpr std::chrono::milliseconds shortPause(1);
// A user who can open it for writing can lock it, and so block every installation.
constexpr mode_t lockMode = 0600;

/// @return The process id in the lock file, or 0 if the file has none.
long holderIn(int file) noexcept {
    std::array<char, 24> text{};
    ssize_t const count = pread(file, text.data(), text.size(), 0);
    long holder = 0;
    if (count > 0)
        std::from_chars(text.data(), text.data() + count, holder);
    return holder;
}

/// On a full disk this fails; a waiting process then cannot name the holder.
void writeHolder(int file) {
    std::string const text = std::to_string(getpid()) + "\n";
    if (ftruncate(file, 0) != 0 || pwrite(file, text.data(), text.size(), 0) < 0)
        return;
}

/// The previous holder may have removed the file before it released the lock.
bool isStillThere(int file, Folder const& hidden) noexcept {
    struct stat opened {};
    struct stat named {};
    return fstat(file, &opened) == 0 &&
           fstatat(hidden.get(), lockName, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

bool tryToLock(int file) noexcept {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return retried([&] { return fcntl(file, F_OFD_SETLK, &whole); }) == 0;
}

[[noreturn]] void stopForHolder(std::string path, long holder) {
    Failure failure;
    failure.kind = FailureKind::locked;
    failure.message = "Another process changes";
    failure.path = std::move(path);
    failure.holder = holder;
    throw Stop{std::move(failure)};
}

/// @return The open lock file, or nothing if its holder has just removed the folder. @throws Stop
std::optional<FileDescriptor> openLockFile(Target& target) {
    try {
        target.make();
    } catch (Stop const& stopped) {
        if (stopped.failure.error != ENOENT)
            throw;
        return std::nullopt;
    }
    FileDescriptor file(retried([&] {
        return openat(target.hidden().get(), lockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                      lockMode);
    }));
    if (!file.valid() && errno == ENOENT)
        return std::nullopt;
    if (!file.valid())
        stop("Cannot lock", target.hidden().pathOf(lockName), errno);
    return file;
}

} // namespace

FileDescriptor takeLock(Target& target, bool wait, Reporter& reporter) {
    auto const deadline = steady_clock::now() + patience;
    for (;;) {
        auto file = openLockFile(target);
        bool isHeld = false;
        long holder = 0;
        if (file && tryToLock(file->get())) {
            if (isStillThere(file->get(), target.hidden())) {
                writeHolder(file->get());
                return std::move(*file);
            }
        } else if (file) {
            if (errno != EAGAIN && errno != EACCES)
                stop("Cannot lock", target.hidden().pathOf(lockName), errno);
            isHeld = true;
            holder = holderIn(file->get());
            if (!wait)
                stopForHolder(target.folder().path, holder);
        }
        if (steady_clock::now() >= deadline)
            stopForHolder(target.folder().path, holder);
        if (isHeld)
            reporter.waitFor(holder);
        // Otherwise the holder has just removed the file and is about to release the lock.
        std::this_thread::sleep_for(isHeld ? pause : shortPause);
    }
}

} // namespace zel::store
