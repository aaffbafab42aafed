/// @file
/// Files and folders, relative to open folders.
#pragma once

#include "util/FileDescriptor.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>

namespace zel::store {

/// An open folder, with its path for messages.
struct Folder {
    FileDescriptor descriptor; ///< the open folder
    std::string path;          ///< its path

    /// @return Path of an entry.
    std::string pathOf(std::string_view name) const;
    /// @return The descriptor's number.
    int get() const noexcept { return descriptor.get(); }
};

/// What tells one folder from another, whatever path leads to it: device and inode.
using FolderId = std::pair<dev_t, ino_t>;

/// @return The folder that a path leads to; nothing when none can be told.
std::optional<FolderId> folderAt(std::string const& path) noexcept;

/// @return The path with all links resolved; empty, with `errno` set, if it does not exist or is
///         too long for the system. @throws std::bad_alloc
std::string resolved(std::string const& path);

/// Opens a folder for reading.
/// @return The folder, not valid with `errno` set on failure. @throws std::bad_alloc
Folder openFolder(std::string const& path);

/// Visits the entries of a folder in its order, without "." and "..", with their names and types (a
/// `DT_` constant of `readdir(3)`).
/// @return 0, or the error number of a folder that cannot be listed to its end.
/// @throws std::bad_alloc, and what @p visit throws.
int forEachEntry(int folder,
                 std::function<void(char const* name, unsigned char type)> const& visit);

/// What a look at a file shows.
struct Look {
    bool there = false;     ///< something has that name; a link must lead somewhere
    int error = ENOENT;     ///< why it cannot be opened for reading; 0 when it can
    bool regular = false;   ///< it is a regular file
    std::uint64_t size = 0; ///< its size in bytes
    timespec modified{};    ///< its modification time
};

/// Looks at a file without opening it, in one system call where its mode gives the answer. Links
/// are followed.
/// @param folder An open folder, from which a relative path starts.
/// @param path   The file.
Look lookAt(int folder, char const* path) noexcept;

/// A file that is read from its start.
struct OpenedFile {
    FileDescriptor file;   ///< not valid when it cannot be opened
    struct stat status {}; ///< its status; zero when it cannot be opened
    int error = 0; ///< why it cannot be opened; EISDIR or EINVAL for what is no regular file

    /// @return Its size in bytes.
    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(status.st_size); }
};

/// Opens a regular file for reading, following links.
OpenedFile openRegular(int folder, char const* path) noexcept;

/// Reads a file piece by piece into a buffer of its own.
class Pieces {
public:
    /// @param file An open file.
    /// @param size Its size. Bytes that are appended later are not read. 0 means that the size is
    ///             not known, as for the kernel's own files.
    /// @throws std::bad_alloc
    Pieces(int file, std::uint64_t size);

    /// @return The next piece; empty at the end; nothing, with `errno` set, when it cannot be read.
    std::optional<std::string_view> next() noexcept;

private:
    static constexpr std::uint64_t smallestPiece = 4096;
    static constexpr std::uint64_t largestPiece = 262144;

    bool isWhole() const noexcept { return m_size != 0 && m_offset >= m_size; }

    int m_file;
    off_t m_size;
    std::size_t m_room;
    std::unique_ptr<char[]> m_buffer;
    off_t m_offset = 0;
};

/// Reads a whole small file.
/// @param largest The largest size accepted; a larger file gives EFBIG.
/// @return The text; nothing, with `errno` set, on failure. @throws std::bad_alloc
std::optional<std::string> readWhole(int folder, char const* path, std::size_t largest);

/// Does the same for a file that is open. @throws std::bad_alloc
std::optional<std::string> readWhole(OpenedFile const& opened, std::size_t largest);

/// Writes all of a text. @return Whether that succeeded; otherwise `errno` says why not.
bool writeAll(int file, std::string_view text) noexcept;

/// Repeats a system call that a signal interrupted.
/// @param call Returns -1 and sets `errno` on failure.
template <class Call>
auto retried(Call const& call) noexcept {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// @return Whether a name is that of a folder. A symbolic link to a folder does not count.
bool isFolder(Folder const& folder, char const* name) noexcept;

/// Writes a folder's entries through to the medium. @throws Stop
void flush(Folder const& folder);

/// Writes a file through to the medium. @throws Stop
void flushFile(int file, std::string const& path);

/// Removes a file from a folder. A file that does not exist is no error.
/// @return Whether there was one. @throws Stop
bool removeFile(Folder const& folder, char const* name);

/// Moves a file, in one step, over whatever file is there. @throws Stop
void moveFile(Folder const& from, std::string const& oldName, Folder const& to,
              std::string const& newName);

/// The mode of files that everybody may read, and of folders that everybody may search.
constexpr mode_t publicFile = 0644;
constexpr mode_t publicFolder = 0755;

/// Sets the mode of a file or folder, regardless of the umask. File systems without modes are left
/// as they are.
/// @param path Its path, for messages. @throws Stop
void giveMode(int file, mode_t mode, std::string const& path);

/// Makes a new file of mode 0644, whatever the umask. @throws Stop, also when there is one.
FileDescriptor createFile(Folder const& folder, std::string const& name);

/// @return Name of the temporary file that is going to replace a file. @throws std::bad_alloc
std::string besideName(std::string const& name);

/// @return The name that was given to besideName(), or nothing if this is not a name made by it.
std::optional<std::string_view> besideWhat(std::string_view name) noexcept;

/// Writes a small temporary file of mode 0644, next to the file that it is going to replace, and
/// flushes it to disk.
/// @param name Name of the file that is to be replaced.
/// @throws Stop; the temporary file is removed then, if possible.
void writeBeside(Folder const& folder, std::string const& name, std::string_view text);

} // namespace zel::store
