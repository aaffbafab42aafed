#include "util/StandardStreams.h"

#include <cerrno>
#include <cstddef>

#include <fcntl.h>
#include <unistd.h>

namespace zel {

StandardStreams::StandardStreams() noexcept {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        m_occupied = occupy(stream) && m_occupied;
}

StandardStreams::~StandardStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        StandIn const& standIn = m_standIns[static_cast<std::size_t>(stream)];
        if (standIn.original.valid()) {
            dup3(standIn.original.get(), stream, O_CLOEXEC);
        } else if (standIn.used) {
            close(stream);
        }
    }
}

bool StandardStreams::occupy(int stream) noexcept {
    int const flags = fcntl(stream, F_GETFD);
    if (flags == -1 && errno != EBADF)
        return false; // GCOVR_EXCL_LINE: only where a sandbox forbids to ask
    bool const open = flags != -1;
    if (open && (flags & FD_CLOEXEC) == 0)
        return true;

    StandIn& standIn = m_standIns[static_cast<std::size_t>(stream)];
    if (open) {
        standIn.original = FileDescriptor(fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        if (!standIn.original.valid())
            return false;
    }
    FileDescriptor null(::open("/dev/null", O_RDWR)); // not O_CLOEXEC: it is for children
    if (null.get() == stream) {
        null.release();
        standIn.used = true;
    } else {
        standIn.used = null.valid() && dup2(null.get(), stream) != -1;
    }
    return standIn.used;
}

} // namespace zel
