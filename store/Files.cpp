#include "store/Files.h"

#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace zel::store {

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};
using Entries = std::unique_ptr<DIR, DirectoryCloser>;

constexpr char const* besideSuffix = ".new";

bool isDotEntry(std::string_view name) noexcept {
    return name == "." || name == "..";
}

struct CharactersFreer {
    void operator()(char* characters) const noexcept { std::free(characters); }
};

/// Saves a second system call for nearly every file. It does not see an access control list that
/// denies one user a file that its mode lets everybody read.
bool isSurelyReadable(struct stat const& status) noexcept {
    constexpr mode_t everybody = S_IRUSR | S_IRGRP | S_IROTH;
    return (status.st_mode & everybody) == everybody ||
           (status.st_uid == geteuid() && (status.st_mode & S_IRUSR) != 0);
}

/// @return 0 when a file that exists can be opened for reading, otherwise why not.
int whyNotReadable(int folder, char const* path, struct stat const& status) noexcept {
    bool const rightsDecide =
        S_ISREG(status.st_mode) || S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode);
    if (!rightsDecide)
        return FileDescriptor::openForReading(path, folder).valid() ? 0 : errno;
    if (isSurelyReadable(status))
        return 0;
    return faccessat(folder, path, R_OK, AT_EACCESS) == 0 ? 0 : errno;
}

} // namespace

std::string Folder::pathOf(std::string_view name) const {
    std::string full = path;
    if (full.empty() || full.back() != '/')
        full += '/';
    return full.append(name);
}

std::optional<FolderId> folderAt(std::string const& path) noexcept {
    struct stat status {};
    if (retried([&] { return stat(path.c_str(), &status); }) != 0)
        return std::nullopt;
    return FolderId(status.st_dev, status.st_ino);
}

std::string resolved(std::string const& path) {
    std::unique_ptr<char, CharactersFreer> const real(realpath(path.c_str(), nullptr));
    if (real == nullptr && errno == ENOMEM)
        throw std::bad_alloc();
    return real != nullptr ? real.get() : "";
}

Folder openFolder(std::string const& path) {
    return {FileDescriptor(
                retried([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); })),
            path};
}

int forEachEntry(int folder,
                 std::function<void(char const* name, unsigned char type)> const& visit) {
    // fdopendir() takes over the descriptor and its offset, so it gets one of its own.
    FileDescriptor own(
        retried([&] { return openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!own.valid())
        return errno;
    Entries const entries(fdopendir(own.get()));
    if (entries == nullptr && errno == ENOMEM)
        throw std::bad_alloc(); // the folder itself may be fine
    if (entries == nullptr)
        return errno;
    own.release();
    for (;;) {
        errno = 0;
        dirent const* const entry = readdir(entries.get());
        if (entry == nullptr && errno == EINTR)
            continue;
        if (entry == nullptr)
            return errno;
        if (!isDotEntry(entry->d_name))
            visit(entry->d_name, entry->d_type);
    }
}

Look lookAt(int folder, char const* path) noexcept {
    struct stat status {};
    if (retried([&] { return fstatat(folder, path, &status, 0); }) != 0)
        return {false, errno, false, 0, {}};
    return {true, whyNotReadable(folder, path, status), S_ISREG(status.st_mode),
            static_cast<std::uint64_t>(status.st_size), status.st_mtim};
}

OpenedFile openRegular(int folder, char const* path) noexcept {
    OpenedFile opened;
    do {
        opened.file = FileDescriptor::openForReading(path, folder);
    } while (!opened.file.valid() && errno == EINTR);
    if (!opened.file.valid() ||
        retried([&] { return fstat(opened.file.get(), &opened.status); }) != 0) {
        opened.error = errno;
    } else if (!S_ISREG(opened.status.st_mode)) {
        opened.error = S_ISDIR(opened.status.st_mode) ? EISDIR : EINVAL;
    }
    if (opened.error != 0)
        opened.file = FileDescriptor();
    return opened;
}

Pieces::Pieces(int file, std::uint64_t size)
    : m_file(file), m_size(static_cast<off_t>(size)),
      m_room(
          static_cast<std::size_t>(std::clamp<std::uint64_t>(size, smallestPiece, largestPiece))),
      m_buffer(new char[m_room]) {}

std::optional<std::string_view> Pieces::next() noexcept {
    std::size_t filled = 0;
    while (filled < m_room && !isWhole()) {
        ssize_t const count = retried(
            [&] { return pread(m_file, m_buffer.get() + filled, m_room - filled, m_offset); });
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        filled += static_cast<std::size_t>(count);
        m_offset += count;
    }
    return std::string_view(m_buffer.get(), filled);
}

std::optional<std::string> readWhole(int folder, char const* path, std::size_t largest) {
    return readWhole(openRegular(folder, path), largest);
}

std::optional<std::string> readWhole(OpenedFile const& opened, std::size_t largest) {
    errno = opened.error;
    if (!opened.file.valid())
        return std::nullopt;
    std::string text;
    text.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(opened.size(), largest)));
    Pieces pieces(opened.file.get(), opened.size());
    for (;;) {
        auto const piece = pieces.next();
        if (!piece)
            return std::nullopt;
        if (piece->empty())
            return text;
        if (piece->size() > largest - text.size()) {
            errno = EFBIG;
            return std::nullopt;
        }
        text.append(*piece);
    }
}

bool writeAll(int file, std::string_view text) noexcept {
    while (!text.empty()) {
        ssize_t const count = retried([&] { return write(file, text.data(), text.size()); });
        if (count < 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool isFolder(Folder const& folder, char const* name) noexcept {
    struct stat status {};
    return retried([&] { return fstatat(folder.get(), name, &status, AT_SYMLINK_NOFOLLOW); }) ==
               0 &&
           S_ISDIR(status.st_mode);
}

void flush(Folder const& folder) {
    // EINVAL: the file system does not support this for folders.
    if (retried([&] { return fsync(folder.get()); }) != 0 && errno != EINVAL)
        stop("Cannot write through to the medium", folder.path, errno);
}

void flushFile(int file, std::string const& path) {
    if (retried([&] { return fsync(file); }) != 0)
        stop("Cannot write through to the medium", path, errno);
}

bool removeFile(Folder const& folder, char const* name) {
    if (retried([&] { return unlinkat(folder.get(), name, 0); }) == 0)
        return true;
    if (errno != ENOENT)
        stop("Cannot remove", folder.pathOf(name), errno);
    return false;
}

void moveFile(Folder const& from, std::string const& oldName, Folder const& to,
              std::string const& newName) {
    if (retried([&] { return renameat(from.get(), oldName.c_str(), to.get(), newName.c_str()); }) !=
        0)
        stop("Cannot write", to.pathOf(newName), errno);
}

std::string besideName(std::string const& name) {
    return name + besideSuffix;
}

std::optional<std::string_view> besideWhat(std::string_view name) noexcept {
    std::string_view const suffix = besideSuffix;
    if (name.size() <= suffix.size() || name.substr(name.size() - suffix.size()) != suffix)
        return std::nullopt;
    return name.substr(0, name.size() - suffix.size());
}

void writeBeside(Folder const& folder, std::string const& name, std::string_view text) {
    std::string const beside = besideName(name);
    removeFile(folder, beside.c_str());
    FileDescriptor const file = createFile(folder, beside);
    try {
        if (!writeAll(file.get(), text))
            stop("Cannot write", folder.pathOf(beside), errno);
        flushFile(file.get(), folder.pathOf(beside));
    } catch (...) {
        unlinkat(folder.get(), beside.c_str(), 0);
        throw;
    }
}

FileDescriptor createFile(Folder const& folder, std::string const& name) {
    FileDescriptor file(retried([&] {
        return openat(folder.get(), name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, publicFile);
    }));
    if (!file.valid())
        stop("Cannot write", folder.pathOf(name), errno);
    giveMode(file.get(), publicFile, folder.pathOf(name));
    return file;
}

void giveMode(int file, mode_t mode, std::string const& path) {
    struct stat status {};
    if (retried([&] { return fstat(file, &status); }) == 0 && (status.st_mode & 07777U) == mode)
        return;
    // EPERM: the file system has no modes, like that of most sticks.
    if (retried([&] { return fchmod(file, mode); }) != 0 && errno != EPERM)
        stop("Cannot give rights to", path, errno);
}

} // namespace zel::store
