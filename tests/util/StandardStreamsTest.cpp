#include "util/StandardStreams.h"

#include "sdk/manager/DefaultRoute.h"

#include "tests/support/ClosedStreams.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using support::ClosedStreams;
using support::selectionsOfStreams;
using zel::StandardStreams;

/// What the three streams are to a child: 'n' the null device, 'c' nothing, 'o' another file.
using Seen = std::array<char, 4>;

char seenByChild(int stream) {
    int const flags = fcntl(stream, F_GETFD);
    if (flags == -1 || (flags & FD_CLOEXEC) != 0)
        return 'c';
    struct stat status {};
    struct stat null {};
    fstat(stream, &status);
    stat("/dev/null", &null);
    return status.st_rdev == null.st_rdev ? 'n' : 'o';
}

Seen seen() {
    return {seenByChild(0), seenByChild(1), seenByChild(2), '\0'};
}

/// A pipe in place of the standard streams, so that none of them is the null device.
class Pipes {
public:
    Pipes() {
        for (int stream = 0; stream < 3; ++stream) {
            m_saved[stream] = fcntl(stream, F_DUPFD_CLOEXEC, 3);
            int ends[2];
            EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
            dup2(ends[1], stream);
            m_ends.insert(m_ends.end(), {ends[0], ends[1]});
        }
    }
    ~Pipes() {
        for (int stream = 0; stream < 3; ++stream) {
            dup2(m_saved[stream], stream);
            close(m_saved[stream]);
        }
        for (int const end : m_ends)
            close(end);
    }
    Pipes(Pipes const&) = delete;
    Pipes& operator=(Pipes const&) = delete;

private:
    int m_saved[3];
    std::vector<int> m_ends;
};

Seen expected(std::vector<int> const& streams, char standIn) {
    Seen all{'o', 'o', 'o', '\0'};
    for (int const stream : streams)
        all[static_cast<std::size_t>(stream)] = standIn;
    return all;
}

} // namespace

TEST(StandardStreams, AreTheNullDeviceWhereTheyAreClosedAndClosedAgainAfterwards) {
    for (auto const& streams : selectionsOfStreams()) {
        Seen during{};
        Seen after{};
        bool occupied = false;
        {
            Pipes const pipes;
            ClosedStreams const closed(streams);
            {
                StandardStreams const guard;
                occupied = guard.occupied();
                during = seen();
            }
            after = seen();
        }
        EXPECT_TRUE(occupied);
        EXPECT_STREQ(during.data(), expected(streams, 'n').data());
        EXPECT_STREQ(after.data(), expected(streams, 'c').data());
    }
}

TEST(StandardStreams, StayAsTheyAreWhenAllAreOpen) {
    Seen during{};
    {
        Pipes const pipes;
        StandardStreams const guard;
        during = seen();
    }
    EXPECT_STREQ(during.data(), "ooo");
}

TEST(StandardStreams, ThatChildrenDoNotInheritAreTheNullDeviceForThem) {
    Seen during{};
    Seen after{};
    struct stat before {};
    struct stat restored {};
    {
        Pipes const pipes;
        fcntl(STDERR_FILENO, F_SETFD, FD_CLOEXEC);
        fstat(STDERR_FILENO, &before);
        {
            StandardStreams const guard;
            during = seen();
        }
        after = seen();
        fstat(STDERR_FILENO, &restored);
    }
    EXPECT_STREQ(during.data(), "oon");
    EXPECT_STREQ(after.data(), "ooc");
    EXPECT_EQ(restored.st_ino, before.st_ino);
}

TEST(StandardStreams, AreNotOccupiedWithoutADescriptor) {
    bool occupied = true;
    Seen after{};
    rlimit previous{};
    getrlimit(RLIMIT_NOFILE, &previous);
    {
        Pipes const pipes;
        ClosedStreams const closed({STDOUT_FILENO});
        rlimit const none{0, previous.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        {
            StandardStreams const guard;
            occupied = guard.occupied();
        }
        after = seen();
        setrlimit(RLIMIT_NOFILE, &previous);
    }
    EXPECT_FALSE(occupied);
    EXPECT_STREQ(after.data(), "oco");
}

TEST(StandardStreams, AreNotOccupiedWithoutADescriptorToKeepOneThatChildrenDoNotInherit) {
    bool occupied = true;
    bool defaultRoute = true;
    rlimit previous{};
    getrlimit(RLIMIT_NOFILE, &previous);
    {
        Pipes const pipes;
        fcntl(STDOUT_FILENO, F_SETFD, FD_CLOEXEC);
        rlimit const few{STDERR_FILENO + 1, previous.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        occupied = StandardStreams().occupied();
        defaultRoute = zel::hasOneDefaultRoute();
        setrlimit(RLIMIT_NOFILE, &previous);
    }
    EXPECT_FALSE(occupied);
    EXPECT_FALSE(defaultRoute);
}
