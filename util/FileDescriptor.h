/// @file
/// An open file that closes itself.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace zel {

/// Owns a POSIX file descriptor.
class FileDescriptor {
public:
    /// Opens a file for reading.
    /// @param path The file. A pipe without a writer opens at once, so that one in place of a file
    ///             cannot stop the caller for good.
    /// @return The descriptor; not valid(), with `errno` set as by `open(2)`, on failure.
    static FileDescriptor openForReading(char const* path) noexcept {
        return FileDescriptor(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    }

    FileDescriptor(FileDescriptor const&) = delete;
    FileDescriptor& operator=(FileDescriptor const&) = delete;
    ~FileDescriptor() {
        if (valid())
            close(m_descriptor);
    }

    /// @return Whether a file is open.
    bool valid() const noexcept { return m_descriptor >= 0; }
    /// @return The descriptor, which stays owned by this object.
    int get() const noexcept { return m_descriptor; }

private:
    explicit FileDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}

    int m_descriptor;
};

} // namespace zel
