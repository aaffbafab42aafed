#include "tool/companion/Files.h"

#include "store/Files.h"
#include "util/FileDescriptor.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace companion {

namespace {

using zel::FileDescriptor;

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
        return zel::store::writeAll(m_file.get(), content) &&
               fchmod(m_file.get(), 0666 & ~mask) == 0 && fsync(m_file.get()) == 0;
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
                      Hint const& hint) {
    int const error = whyNotUsable(path, rights);
    if (error != 0)
        throw systemFailure("Cannot use the " + what, path, error, error == ENOENT ? hint : Hint());
}

std::string pathIn(std::string const& directory, std::string const& name) {
    std::string path = directory;
    if (path.back() != '/')
        path += '/';
    return path + name;
}

std::set<std::string> namesIn(std::string const& directory) {
    std::set<std::string> names;
    auto const folder = zel::store::openFolder(directory);
    int const error = zel::store::forEachEntry(
        folder.get(), [&](char const* name, unsigned char /*type*/) { names.insert(name); });
    if (error != 0) // only when the directory vanished after it was checked
        throw systemFailure("Cannot list", directory, error); // GCOVR_EXCL_LINE
    return names;
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
                        forceHelps ? Hint{"With --force it is replaced."} : Hint());
}

} // namespace companion
