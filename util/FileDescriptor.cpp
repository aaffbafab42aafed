#include "util/FileDescriptor.h"

#include <cerrno>

namespace zel {

FileDescriptor FileDescriptor::openForReading(char const* path, int directory) noexcept {
    constexpr int flags = O_RDONLY | O_CLOEXEC;
    FileDescriptor file(openat(directory, path, flags | O_NONBLOCK));
    if (file.valid() || errno != EWOULDBLOCK)
        return file;
    do { // waits for the lease, and a signal may come meanwhile
        file = FileDescriptor(openat(directory, path, flags));
    } while (!file.valid() && errno == EINTR);
    return file;
}

} // namespace zel
