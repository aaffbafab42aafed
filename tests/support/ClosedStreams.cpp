#include "tests/support/ClosedStreams.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace support {

ClosedStreams::ClosedStreams(std::vector<int> const& streams) {
    std::fflush(nullptr);
    for (int const stream : streams)
        m_saved.push_back({stream, fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)});
    for (int const stream : streams)
        close(stream);
}

ClosedStreams::~ClosedStreams() {
    for (Saved const& saved : m_saved) {
        dup2(saved.copy, saved.stream);
        close(saved.copy);
    }
}

std::vector<std::vector<int>> selectionsOfStreams() {
    std::vector<std::vector<int>> selections;
    for (int bits = 1; bits < 8; ++bits) {
        std::vector<int> streams;
        for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            if ((bits >> stream) % 2 == 1)
                streams.push_back(stream);
        }
        selections.push_back(streams);
    }
    return selections;
}

} // namespace support
