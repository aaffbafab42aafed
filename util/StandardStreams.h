/// @file
/// The standard streams of a child process.
#pragma once

#include "util/FileDescriptor.h"

#include <array>

namespace zel {

/// Gives child processes that are started while it lives all three standard streams. If one were
/// closed, the next file that a child opens would take its place, and what the child writes to the
/// stream would end up in that file. "/dev/null" stands in for each of the descriptors 0 to 2 that
/// is closed or that children do not inherit; afterwards each is as it was. Not for use while
/// another thread opens files.
class StandardStreams {
public:
    /// Occupies the descriptors 0 to 2.
    StandardStreams() noexcept;
    /// Restores the descriptors.
    ~StandardStreams();

    StandardStreams(StandardStreams const&) = delete;
    StandardStreams& operator=(StandardStreams const&) = delete;

    /// @return false when a stream could not be occupied; no child should be started then.
    bool occupied() const noexcept { return m_occupied; }

private:
    /// What stands in for one stream.
    struct StandIn {
        bool used = false;
        FileDescriptor original; ///< what children do not inherit
    };

    bool occupy(int stream) noexcept;

    std::array<StandIn, 3> m_standIns;
    bool m_occupied = true;
};

} // namespace zel
