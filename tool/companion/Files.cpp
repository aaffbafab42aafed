#include "tool/companion/Files.h"

#include "tool/companion/Result.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace companion {

namespace {

using zel::FileDescriptor;

struct stat statusOf(FileDescriptor const& file, std::string const& path) {
    if (!file.valid())
        throw systemFailure("Cannot read", path, errno);
    struct stat status {};
    fstat(file.get(), &status); // an open descriptor always has one
    return status;
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
/// why not.
int whyNotReplaceable(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode))
        return 0;
    return S_ISDIR(status.st_mode) ? EISDIR : EPERM;
}

/// Reads a file piece by piece. All but the last piece fill the buffer.
class Pieces {
public:
    Pieces(FileDescriptor const& file, std::string const& path) : m_file(file), m_path(path) {}

    /// @return The next piece; empty at the end of the file.
    std::string_view next() {
        std::size_t filled = 0;
        while (filled < m_buffer.size()) {
            ssize_t const count =
                read(m_file.get(), m_buffer.data() + filled, m_buffer.size() - filled);
            if (count < 0)
                throw systemFailure("Cannot read", m_path, errno);
            if (count == 0)
                break;
            filled += static_cast<std::size_t>(count);
        }
        return {m_buffer.data(), filled};
    }

private:
    FileDescriptor const& m_file;
    std::string const& m_path;
    std::array<char, 65536> m_buffer{};
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

WorkingDirectory::WorkingDirectory() : m_directory(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

WorkingDirectory::~WorkingDirectory() {
    // Fails only for a directory that may no longer be entered; no relative path means much then.
    [[maybe_unused]] int const result = fchdir(m_directory.get());
}

void requireDirectory(std::string const& path, int rights, std::string const& what,
                      std::string const& hint) {
    int const error = whyNotUsable(path, rights);
    if (error != 0)
        throw systemFailure("Cannot use the " + what, path, error, error == ENOENT ? hint : "");
}

std::set<std::string> namesIn(std::string const& directory) {
    std::error_code error;
    std::set<std::string> names;
    for (std::filesystem::directory_iterator entries(directory, error), end;
         !error && entries != end; entries.increment(error)) {
        names.insert(entries->path().filename());
    }
    if (error) // only when the directory vanished after it was checked
        throw systemFailure("Cannot list", directory, error.value()); // GCOVR_EXCL_LINE
    return names;
}

bool isEmptyFile(std::string const& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

bool sameBytes(std::string const& left, std::string const& right) {
    auto const leftFile = FileDescriptor::openForReading(left.c_str());
    auto const leftStatus = statusOf(leftFile, left);
    auto const rightFile = FileDescriptor::openForReading(right.c_str());
    auto const rightStatus = statusOf(rightFile, right);
    if (!S_ISREG(leftStatus.st_mode) || !S_ISREG(rightStatus.st_mode) ||
        leftStatus.st_size != rightStatus.st_size)
        return false;

    Pieces leftPieces(leftFile, left);
    Pieces rightPieces(rightFile, right);
    for (;;) {
        std::string_view const piece = leftPieces.next();
        if (piece != rightPieces.next())
            return false;
        if (piece.empty())
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
