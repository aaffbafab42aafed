#pragma once

#include <vector>

namespace support {

/// Closes standard streams of this process until it is destroyed. Make no
/// expectations meanwhile: their messages may have nowhere to go.
class ClosedStreams {
public:
    explicit ClosedStreams(std::vector<int> const& streams);
    ~ClosedStreams();
    ClosedStreams(ClosedStreams const&) = delete;
    ClosedStreams& operator=(ClosedStreams const&) = delete;

private:
    struct Saved {
        int stream;
        int copy;
    };

    std::vector<Saved> m_saved;
};

/// Every selection of the three standard streams but the empty one.
std::vector<std::vector<int>> selectionsOfStreams();

} // namespace support
