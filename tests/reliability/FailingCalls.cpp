#include "tests/reliability/FailingCalls.h"

#include "tests/support/OpenDescriptors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>

namespace {

/// Instead of an error number: half of the bytes are read or written, without an error.
constexpr int halfOfIt = 0;
/// What is added to an error number when the call does its work all the same.
constexpr int doneAllTheSame = 1000;

struct State {
    bool armed = false;
    bool forever = false;
    std::string_view only; // the name of the calls that count; all of them when empty
    long failAt = 0;
    std::size_t way = 0; // which of the call's ways to fail
    long seen = 0;
    std::size_t ways = 0; // how many ways the call has; 0 until it is reached
    bool failed = false;
    int error = 0;
    std::string name;
};

State state;
bool typesAreHidden = false;
bool isImmutable = false;

/// @return Whether a call has to fail.
bool fails(char const* name, std::initializer_list<int> errors) {
    if (!state.armed)
        return false;
    if (state.failed)
        return state.forever;
    if (!state.only.empty() && state.only != name)
        return false;
    if (++state.seen != state.failAt)
        return false;
    state.ways = errors.size();
    state.failed = true;
    state.error = *(errors.begin() + state.way);
    state.name = name;
    return true;
}

/// Answers with a failure, or by the real call.
template <class Call>
auto answer(char const* name, std::initializer_list<int> errors, Call const& call) {
    using Result = decltype(call());
    if (!fails(name, errors))
        return call();
    if (state.error > doneAllTheSame) {
        call();
        state.error -= doneAllTheSame;
    }
    errno = state.error;
    if constexpr (std::is_pointer_v<Result>)
        return Result{nullptr};
    else
        return Result{-1};
}

/// Does the same for a call that can do half of its work.
template <class Call>
ssize_t answerBytes(char const* name, std::initializer_list<int> errors, std::size_t size,
                    Call const& call) {
    if (!fails(name, errors))
        return call(size);
    if (state.error == halfOfIt)
        return call(size / 2);
    errno = state.error;
    return -1;
}

void withFailingCalls(std::function<void()> const& piece) {
    state.seen = 0;
    state.armed = true;
    piece();
    state.armed = false;
}

} // namespace

// The wrapped calls, under the names that they have with 64-bit offsets.
extern "C" {

int __real_open64(char const* path, int flags, ...);
int __wrap_open64(char const* path, int flags, ...);
int __wrap_open64(char const* path, int flags, ...) {
    return answer("open", {EIO, ENOENT, EINTR}, [&] { return __real_open64(path, flags); });
}

int __real_openat64(int folder, char const* path, int flags, ...);
int __wrap_openat64(int folder, char const* path, int flags, ...);
int __wrap_openat64(int folder, char const* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
        return answer("openat", {EIO, ENOSPC, ENOENT, EEXIST, EINTR},
                      [&] { return __real_openat64(folder, path, flags, mode); });
    }
    return answer("openat", {EIO, EACCES, ENOENT, EINTR},
                  [&] { return __real_openat64(folder, path, flags); });
}

int __real_fstat64(int file, struct stat64* status);
int __wrap_fstat64(int file, struct stat64* status);
int __wrap_fstat64(int file, struct stat64* status) {
    return answer("fstat", {EIO}, [&] { return __real_fstat64(file, status); });
}

int __real_fstatat64(int folder, char const* path, struct stat64* status, int flags);
int __wrap_fstatat64(int folder, char const* path, struct stat64* status, int flags);
int __wrap_fstatat64(int folder, char const* path, struct stat64* status, int flags) {
    return answer("fstatat", {EIO}, [&] { return __real_fstatat64(folder, path, status, flags); });
}

int __real_stat64(char const* path, struct stat64* status);
int __wrap_stat64(char const* path, struct stat64* status);
int __wrap_stat64(char const* path, struct stat64* status) {
    return answer("stat", {EIO}, [&] { return __real_stat64(path, status); });
}

int __real_statvfs64(char const* path, struct statvfs64* disk);
int __wrap_statvfs64(char const* path, struct statvfs64* disk);
int __wrap_statvfs64(char const* path, struct statvfs64* disk) {
    return answer("statvfs", {EIO, ENOSYS, EINTR}, [&] { return __real_statvfs64(path, disk); });
}

int __real_faccessat(int folder, char const* path, int mode, int flags);
int __wrap_faccessat(int folder, char const* path, int mode, int flags);
int __wrap_faccessat(int folder, char const* path, int mode, int flags) {
    return answer("faccessat", {EIO, EROFS},
                  [&] { return __real_faccessat(folder, path, mode, flags); });
}

int __real_statx(int folder, char const* path, int flags, unsigned mask, struct statx* status);
int __wrap_statx(int folder, char const* path, int flags, unsigned mask, struct statx* status);
int __wrap_statx(int folder, char const* path, int flags, unsigned mask, struct statx* status) {
    int const result = __real_statx(folder, path, flags, mask, status);
    if (result == 0 && isImmutable)
        status->stx_attributes |= STATX_ATTR_IMMUTABLE;
    return result;
}

DIR* __real_fdopendir(int folder);
DIR* __wrap_fdopendir(int folder);
DIR* __wrap_fdopendir(int folder) {
    return answer("fdopendir", {EIO, ENOMEM}, [&] { return __real_fdopendir(folder); });
}

struct dirent64* __real_readdir64(DIR* folder);
struct dirent64* __wrap_readdir64(DIR* folder);
struct dirent64* __wrap_readdir64(DIR* folder) {
    auto* const entry = answer("readdir", {EIO, EINTR}, [&] { return __real_readdir64(folder); });
    if (entry != nullptr && typesAreHidden)
        entry->d_type = DT_UNKNOWN;
    return entry;
}

char* __real_realpath(char const* path, char* resolved);
char* __wrap_realpath(char const* path, char* resolved);
char* __wrap_realpath(char const* path, char* resolved) {
    return answer("realpath", {EIO, ENOMEM}, [&] { return __real_realpath(path, resolved); });
}

ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __wrap_read(int file, void* bytes, std::size_t size);
ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    return answerBytes("read", {EIO, EINTR, halfOfIt}, size,
                       [&](std::size_t room) { return __real_read(file, bytes, room); });
}

ssize_t __real_pread64(int file, void* bytes, std::size_t size, off64_t offset);
ssize_t __wrap_pread64(int file, void* bytes, std::size_t size, off64_t offset);
ssize_t __wrap_pread64(int file, void* bytes, std::size_t size, off64_t offset) {
    return answerBytes("pread", {EIO, EINTR, halfOfIt}, size,
                       [&](std::size_t room) { return __real_pread64(file, bytes, room, offset); });
}

ssize_t __real_write(int file, void const* bytes, std::size_t size);
ssize_t __wrap_write(int file, void const* bytes, std::size_t size);
ssize_t __wrap_write(int file, void const* bytes, std::size_t size) {
    return answerBytes("write", {EIO, ENOSPC, EDQUOT, EINTR, halfOfIt}, size,
                       [&](std::size_t room) { return __real_write(file, bytes, room); });
}

ssize_t __real_pwrite64(int file, void const* bytes, std::size_t size, off64_t offset);
ssize_t __wrap_pwrite64(int file, void const* bytes, std::size_t size, off64_t offset);
ssize_t __wrap_pwrite64(int file, void const* bytes, std::size_t size, off64_t offset) {
    return answer("pwrite", {EIO, ENOSPC},
                  [&] { return __real_pwrite64(file, bytes, size, offset); });
}

int __real_ftruncate64(int file, off64_t size);
int __wrap_ftruncate64(int file, off64_t size);
int __wrap_ftruncate64(int file, off64_t size) {
    return answer("ftruncate", {EIO, EINTR}, [&] { return __real_ftruncate64(file, size); });
}

int __real_fcntl64(int file, int command, ...);
int __wrap_fcntl64(int file, int command, ...);
int __wrap_fcntl64(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const lock = va_arg(arguments, void*);
    va_end(arguments);
    return answer("fcntl", {EIO, ENOLCK, EINTR},
                  [&] { return __real_fcntl64(file, command, lock); });
}

int __real_fsync(int file);
int __wrap_fsync(int file);
int __wrap_fsync(int file) {
    return answer("fsync", {EIO, EINVAL, EINTR}, [&] { return __real_fsync(file); });
}

int __real_syncfs(int file);
int __wrap_syncfs(int file);
int __wrap_syncfs(int file) {
    return answer("syncfs", {EIO, EINTR}, [&] { return __real_syncfs(file); });
}

int __real_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode) {
    return answer("fchmod", {EIO, EPERM, EINTR}, [&] { return __real_fchmod(file, mode); });
}

int __real_futimens(int file, struct timespec const* times);
int __wrap_futimens(int file, struct timespec const* times);
int __wrap_futimens(int file, struct timespec const* times) {
    return answer("futimens", {EIO, EINTR}, [&] { return __real_futimens(file, times); });
}

int __real_renameat(int from, char const* oldName, int to, char const* newName);
int __wrap_renameat(int from, char const* oldName, int to, char const* newName);
int __wrap_renameat(int from, char const* oldName, int to, char const* newName) {
    return answer("renameat", {EIO, ENOSPC, EINTR, EIO + doneAllTheSame},
                  [&] { return __real_renameat(from, oldName, to, newName); });
}

int __real_renameat2(int from, char const* oldName, int to, char const* newName, unsigned flags);
int __wrap_renameat2(int from, char const* oldName, int to, char const* newName, unsigned flags);
int __wrap_renameat2(int from, char const* oldName, int to, char const* newName, unsigned flags) {
    return answer("renameat2", {EIO, EINVAL, EINTR, EIO + doneAllTheSame},
                  [&] { return __real_renameat2(from, oldName, to, newName, flags); });
}

int __real_utimensat(int folder, char const* path, struct timespec const* times, int flags);
int __wrap_utimensat(int folder, char const* path, struct timespec const* times, int flags);
int __wrap_utimensat(int folder, char const* path, struct timespec const* times, int flags) {
    return answer("utimensat", {EIO, EINTR},
                  [&] { return __real_utimensat(folder, path, times, flags); });
}

int __real_memfd_create(char const* name, unsigned flags);
int __wrap_memfd_create(char const* name, unsigned flags);
int __wrap_memfd_create(char const* name, unsigned flags) {
    return answer("memfd_create", {EMFILE}, [&] { return __real_memfd_create(name, flags); });
}

int __real_posix_spawnp(pid_t* process, char const* program,
                        posix_spawn_file_actions_t const* actions,
                        posix_spawnattr_t const* attributes, char* const arguments[],
                        char* const environment[]);
int __wrap_posix_spawnp(pid_t* process, char const* program,
                        posix_spawn_file_actions_t const* actions,
                        posix_spawnattr_t const* attributes, char* const arguments[],
                        char* const environment[]);
int __wrap_posix_spawnp(pid_t* process, char const* program,
                        posix_spawn_file_actions_t const* actions,
                        posix_spawnattr_t const* attributes, char* const arguments[],
                        char* const environment[]) {
    // It returns the error number instead.
    int const failed = answer("posix_spawnp", {EAGAIN, ENOENT}, [] { return 0; });
    return failed != 0
               ? errno
               : __real_posix_spawnp(process, program, actions, attributes, arguments, environment);
}

int __real_unlinkat(int folder, char const* path, int flags);
int __wrap_unlinkat(int folder, char const* path, int flags);
int __wrap_unlinkat(int folder, char const* path, int flags) {
    return answer("unlinkat", {EIO, EINTR}, [&] { return __real_unlinkat(folder, path, flags); });
}

int __real_mkdir(char const* path, mode_t mode);
int __wrap_mkdir(char const* path, mode_t mode);
int __wrap_mkdir(char const* path, mode_t mode) {
    return answer("mkdir", {EIO, ENOSPC, EINTR}, [&] { return __real_mkdir(path, mode); });
}

int __real_mkdirat(int folder, char const* path, mode_t mode);
int __wrap_mkdirat(int folder, char const* path, mode_t mode);
int __wrap_mkdirat(int folder, char const* path, mode_t mode) {
    return answer("mkdirat", {EIO, EEXIST, EINTR},
                  [&] { return __real_mkdirat(folder, path, mode); });
}
}

namespace reliability {

void makeImmutable() noexcept {
    isImmutable = true;
}

void hideTypes() noexcept {
    typesAreHidden = true;
}

int errorGiven() noexcept {
    return state.failed ? state.error : 0;
}

bool failFrom(char const* name, long at, std::function<void()> const& piece) {
    State const before = std::exchange(state, State());
    state.only = name;
    state.failAt = at;
    state.forever = true;
    withFailingCalls(piece);
    bool const failed = state.failed;
    state = before;
    return failed;
}

long failEachCall(std::function<void(WithFailingCalls const&)> const& attempt) {
    long failures = 0;
    for (bool const forever : {false, true}) {
        long at = 1;
        std::size_t way = 0;
        for (;;) {
            state = State();
            state.failAt = at;
            state.way = way;
            state.forever = forever;
            auto const descriptors = support::openDescriptors();
            attempt(withFailingCalls);
            EXPECT_EQ(support::openDescriptors(), descriptors) << "descriptor leaked";
            if (testing::Test::HasFailure()) {
                ADD_FAILURE() << "call " << at << ", " << state.name << ": " << state.error
                              << (forever ? ", and all later ones" : "");
                return failures;
            }
            if (!state.failed)
                break;
            ++failures;
            // Only the first error lasts. What is interrupted forever would be tried forever.
            if (++way == state.ways || forever) {
                way = 0;
                ++at;
            }
        }
    }
    std::cout << "calls failed: " << failures << '\n';
    return failures;
}

} // namespace reliability
