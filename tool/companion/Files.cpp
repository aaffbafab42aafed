#include "tool/companion/Files.h"

#include "tool/companion/Result.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace companion {

namespace {

using zel::FileDescriptor;

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

bool isDotEntry(std::string_view name) {
    return name == "." || name == "..";
}

/// @return 0 for a directory with these rights; otherwise the error number that says what is wrong.
int whyNotUsable(std::string const& path, int rights) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return errno;
    if (!S_ISDIR(status.st_mode))
        return ENOTDIR;
    return faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) == 0 ? 0 : errno;
}

/// @return 0 for a regular file, and when nothing is there; otherwise the error number that says
///         why not.
int whyNotReplaceable(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode))
        return 0;
    return S_ISDIR(status.st_mode) ? EISDIR : EPERM;
}

bool isEmptyRegular(struct stat const& status) {
    return S_ISREG(status.st_mode) && status.st_size == 0;
}

/// Saves a second system call for nearly every file. An access control list that shuts out one
/// person from a file that everybody may read goes unnoticed.
bool isSurelyReadable(struct stat const& status) {
    static uid_t const user = geteuid();
    constexpr mode_t everybody = S_IRUSR | S_IRGRP | S_IROTH;
    bool const byOwner = status.st_uid == user && (status.st_mode & S_IRUSR) != 0;
    return byOwner || (status.st_mode & everybody) == everybody;
}

/// @return 0 when a file that exists can be opened for reading, otherwise why not.
int whyNotReadable(int directory, std::string const& path, struct stat const& status) {
    bool const rightsDecide =
        S_ISREG(status.st_mode) || S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode);
    if (!rightsDecide)
        return FileDescriptor::openForReading(path.c_str(), directory).valid() ? 0 : errno;
    if (isSurelyReadable(status))
        return 0;
    return faccessat(directory, path.c_str(), R_OK, AT_EACCESS) == 0 ? 0 : errno;
}

/// Reads a file piece by piece. All but the last piece fill the buffer.
class Pieces {
public:
    explicit Pieces(OpenedFile const& opened)
        : m_opened(opened), m_size(opened.status.st_size),
          m_room(static_cast<std::size_t>(std::clamp(m_size, smallestBuffer, largestBuffer))),
          m_buffer(new char[m_room]) {}

    /// @return The next piece; empty at the end of the file.
    std::string_view next() {
        std::size_t filled = 0;
        while (filled < m_room) {
            ssize_t const count =
                pread(m_opened.file.get(), m_buffer.get() + filled, m_room - filled, m_offset);
            if (count < 0)
                throw systemFailure("Cannot read", m_opened.path, errno);
            if (count == 0)
                break;
            filled += static_cast<std::size_t>(count);
            m_offset += count;
            if (wasReadWhole())
                break;
        }
        return {m_buffer.get(), filled};
    }

    /// @return Whether the whole size was read. A size of 0 says nothing: the kernel's own files
    ///         have it, too.
    bool wasReadWhole() const { return m_size != 0 && m_offset >= m_size; }

private:
    static constexpr off_t smallestBuffer = 4096;
    static constexpr off_t largestBuffer = 65536;

    OpenedFile const& m_opened;
    off_t m_size;
    std::size_t m_room;
    off_t m_offset = 0;
    std::unique_ptr<char[]> m_buffer;
};

/// A new file beside the one that is to be written. It is removed on destruction, unless it was
/// moved.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string const& path)
        : m_name(path + ".XXXXXX"), m_file(mkostemp(m_name.data(), O_CLOEXEC)) {
        if (!m_file.valid())
            throw systemFailure("Cannot write", path, errno);
    }
    ~TemporaryFile() { unlink(m_name.c_str()); }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    /// Writes the content to the disk, with the rights that any new file gets.
    bool fill(std::string const& content) const {
        mode_t const mask = umask(0);
        umask(mask);
        return writeAll(m_file.get(), content) && fchmod(m_file.get(), 0666 & ~mask) == 0 &&
               fsync(m_file.get()) == 0;
    }

    /// Moves it to its place. A file there is replaced, but never a device.
    bool replace(std::string const& path) const {
        errno = whyNotReplaceable(path);
        return errno == 0 && std::rename(m_name.c_str(), path.c_str()) == 0;
    }

    /// Moves it to its place in one step that fails when a file is there. A file system without
    /// such a move may have hard links instead.
    bool place(std::string const& path) const {
        return renameat2(AT_FDCWD, m_name.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0 ||
               (errno == EINVAL && link(m_name.c_str(), path.c_str()) == 0);
    }

private:
    std::string m_name;
    FileDescriptor m_file;
};

} // namespace

void requireDirectory(std::string const& path, int rights, std::string const& what,
                      std::string const& hint) {
    int const error = whyNotUsable(path, rights);
    if (error != 0)
        throw systemFailure("Cannot use the " + what, path, error, error == ENOENT ? hint : "");
}

int forEachEntry(std::string const& directory, EntryVisitor const& visit) {
    Directory const entries(opendir(directory.c_str()));
    if (entries == nullptr)
        return errno;
    for (;;) {
        errno = 0;
        dirent const* const entry = readdir(entries.get());
        if (entry == nullptr)
            return errno;
        if (!isDotEntry(entry->d_name))
            visit(entry->d_name, entry->d_type);
    }
}

std::string pathIn(std::string const& directory, std::string const& name) {
    std::string path = directory;
    if (path.back() != '/')
        path += '/';
    return path + name;
}

std::set<std::string> namesIn(std::string const& directory) {
    std::set<std::string> names;
    int const error = forEachEntry(
        directory, [&](std::string const& name, unsigned char /*type*/) { names.insert(name); });
    if (error != 0) // only when the directory vanished after it was checked
        throw systemFailure("Cannot list", directory, error); // GCOVR_EXCL_LINE
    return names;
}

Look lookAt(int directory, std::string const& path) {
    struct stat status {};
    if (fstatat(directory, path.c_str(), &status, 0) != 0)
        return {false, errno, false};
    return {true, whyNotReadable(directory, path, status), isEmptyRegular(status)};
}

OpenedFile openFile(std::string const& path) {
    return openFile(AT_FDCWD, path, path);
}

OpenedFile openFile(int directory, std::string const& name, std::string const& path) {
    OpenedFile opened{path, FileDescriptor::openForReading(name.c_str(), directory), {}, {}};
    if (!opened.file.valid()) {
        int const error = errno;
        bool const there = error != ENOENT && lookAt(directory, name).there;
        opened.look = {there, error, false};
        return opened;
    }
    fstat(opened.file.get(), &opened.status); // an open descriptor always has one
    opened.look = {true, 0, isEmptyRegular(opened.status)};
    return opened;
}

bool sameBytes(OpenedFile const& left, OpenedFile const& right) {
    if (!S_ISREG(left.status.st_mode) || !S_ISREG(right.status.st_mode) ||
        left.status.st_size != right.status.st_size)
        return false;
    Pieces leftPieces(left);
    Pieces rightPieces(right);
    for (;;) {
        std::string_view const piece = leftPieces.next();
        if (piece != rightPieces.next())
            return false;
        if (piece.empty() || leftPieces.wasReadWhole())
            return true;
    }
}

void writeAtomically(std::string const& path, std::string const& content, bool replace) {
    TemporaryFile const file(path);
    if (!file.fill(content))
        throw systemFailure("Cannot write", path, errno);
    if (replace ? file.replace(path) : file.place(path))
        return;
    int const error = errno;
    bool const forceHelps = error == EEXIST && whyNotReplaceable(path) == 0;
    throw systemFailure("Cannot write", path, error,
                        forceHelps ? "With --force it is replaced." : "");
}

bool writeAll(int descriptor, std::string const& text) {
    for (std::size_t done = 0; done < text.size();) {
        ssize_t const count = write(descriptor, text.data() + done, text.size() - done);
        if (count < 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace companion
