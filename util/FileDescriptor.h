/// @file
/// An open file that closes itself.
#pragma once

#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace zel {

/// Owns a POSIX file descriptor. Can be moved, not copied.
class FileDescriptor {
public:
    /// Owns nothing.
    FileDescriptor() noexcept = default;

    /// Takes over an open descriptor, whoever opened it.
    /// @param descriptor The descriptor; a negative one, as a failed call returns it, means none.
    explicit FileDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}

    /// Opens a file for reading.
    /// @param path      The file. A pipe without a writer opens at once, so that one in place of a
    ///                  file cannot block the caller forever. A file under a write lease
    ///                  (`fcntl(2)`, F_SETLEASE) opens when the holder gives the lease up or the
    ///                  system takes it away.
    /// @param directory An open directory from which a relative path starts; the working directory
    ///                  unless given.
    /// @return The descriptor; not valid(), with `errno` set as by `open(2)`, on failure.
    static FileDescriptor openForReading(char const* path, int directory = AT_FDCWD) noexcept;

    FileDescriptor(FileDescriptor const&) = delete;
    FileDescriptor& operator=(FileDescriptor const&) = delete;
    /// Takes over what @p other owns; @p other then owns nothing.
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(other.release()) {}
    /// Closes what this owns and takes over what @p other owns; @p other then owns nothing.
    /// @return This object.
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        FileDescriptor taken(std::move(other));
        std::swap(m_descriptor, taken.m_descriptor);
        return *this;
    }
    ~FileDescriptor() {
        if (valid())
            close(m_descriptor);
    }

    /// @return Whether a file is open.
    bool valid() const noexcept { return m_descriptor >= 0; }
    /// @return The descriptor, which this object still owns; negative without one.
    int get() const noexcept { return m_descriptor; }
    /// Gives up the descriptor. @return The descriptor, which the caller then has to close.
    int release() noexcept { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor = -1;
};

} // namespace zel
