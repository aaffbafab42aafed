#include "sdk/manager/DefaultRoute.h"

#include "util/StandardStreams.h"

#include <cstdio>
#include <memory>

namespace zel {

namespace {

struct PipeCloser {
    void operator()(std::FILE* pipe) const noexcept { pclose(pipe); }
};
using Pipe = std::unique_ptr<std::FILE, PipeCloser>;

} // namespace

bool hasOneDefaultRoute() noexcept {
    StandardStreams const streams;
    if (!streams.occupied())
        return false;
    Pipe const pipe(popen("/sbin/route -n | grep -c '^0\\.0\\.0\\.0'", "r"));
    if (pipe == nullptr)
        return false;
    unsigned int defaultRoutes = 0;
    // Several at once do not tell which way a download would take; no number at all counts as none.
    return std::fscanf(pipe.get(), "%u", &defaultRoutes) == 1 && defaultRoutes == 1;
}

} // namespace zel
