#include "sdk/IRCalibrationManager.h"

#include "tests/support/ClosedStreams.h"
#include "tests/support/Log.h"
#include "tests/support/Namespace.h"
#include "tests/support/Route.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using support::installRoute;
using support::removeRoute;
using support::tellRoutes;

constexpr char const* header =
    "Kernel IP routing table\n"
    "Destination     Gateway         Genmask         Flags Metric Ref    Use Iface\n";
constexpr char const* wiredDefault =
    "0.0.0.0         192.168.1.1     0.0.0.0         UG    100    0        0 eth0\n";
constexpr char const* wirelessDefault =
    "0.0.0.0         192.168.2.1     0.0.0.0         UG    600    0        0 wlan0\n";
constexpr char const* localNetwork =
    "192.168.1.0     0.0.0.0         255.255.255.0   U     100    0        0 eth0\n";

bool accessible() {
    return zel::IRCalibrationManager::getInstance()->isOnlineCalibrationRepoAccessible();
}

/// Lets no further descriptor be opened.
class NoMoreDescriptors {
public:
    NoMoreDescriptors() {
        getrlimit(RLIMIT_NOFILE, &m_previous);
        int const next = dup(STDERR_FILENO);
        close(next);
        rlimit const limit{static_cast<rlim_t>(next), m_previous.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &m_previous); }
    NoMoreDescriptors(NoMoreDescriptors const&) = delete;
    NoMoreDescriptors& operator=(NoMoreDescriptors const&) = delete;

private:
    rlimit m_previous{};
};

} // namespace

TEST(RouteTable, WithOneDefaultRouteMeansAccessible) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault + localNetwork);
        EXPECT_TRUE(accessible());
    });
}

TEST(RouteTable, WithoutADefaultRouteMeansInaccessible) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + "10.0.0.0  10.0.0.1  255.0.0.0  UG 0 0 0 eth0\n");
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, WithTwoDefaultRoutesMeansInaccessible) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault + wirelessDefault);
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, WithElevenDefaultRoutesMeansInaccessible) {
    support::inPrivateNamespaces([] {
        std::string table = header;
        for (int i = 0; i < 11; ++i) {
            table += wiredDefault;
        }
        tellRoutes(table);
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, DoesNotCountZeroesInALaterColumn) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + localNetwork);
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, DoesNotCountALineThatIsIndented) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + " " + wiredDefault);
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, TakesTheDotsOfTheDestinationLiterally) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + "0a0b0c0  192.168.1.1  0.0.0.0  UG 0 0 0 eth0\n");
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, IsAskedForNumbersInsteadOfNames) {
    support::inPrivateNamespaces([] {
        installRoute("test \"$*\" = -n && echo '0.0.0.0 only with the right arguments'\n");
        EXPECT_TRUE(accessible());
    });
}

TEST(RouteTable, CountsAlsoWhenTheRouteProgramEndsWithAnError) {
    support::inPrivateNamespaces([] {
        installRoute("echo '0.0.0.0 192.168.1.1'\nexit 3\n");
        EXPECT_TRUE(accessible());
    });
}

TEST(RouteTable, WithoutTheRouteProgramMeansInaccessible) {
    support::inPrivateNamespaces([] {
        removeRoute();
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, LetsTheShellReportThatTheRouteProgramIsMissing) {
    support::inPrivateNamespaces([] {
        removeRoute();
        auto const text = support::standardErrorOf([] { accessible(); });
        EXPECT_NE(text.find("/sbin/route: not found"), std::string::npos) << text;
    });
}

TEST(RouteTable, MeansInaccessibleWhenThePipelinePrintsNoNumber) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault);
        setenv("PATH", "/sbin/nowhere", 1); // so that there is no grep
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, MeansInaccessibleWhenThePipelineCannotBeStarted) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault);
        NoMoreDescriptors const limit;
        EXPECT_FALSE(accessible());
    });
}

TEST(RouteTable, IsReadAlsoWhenStandardStreamsAreClosed) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault);
        for (auto const& streams : support::selectionsOfStreams()) {
            bool found = false;
            {
                support::ClosedStreams const closed(streams);
                found = accessible();
            }
            EXPECT_TRUE(found);
        }
    });
}

TEST(RouteTable, IsReadWithoutAWordOnTheStandardErrorStream) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault + wirelessDefault);
        EXPECT_EQ(support::standardErrorOf([] { accessible(); }), "");
    });
}

TEST(RouteTable, IsReadWithoutAWordOnTheStandardOutput) {
    support::inPrivateNamespaces([] {
        tellRoutes(std::string(header) + wiredDefault);
        testing::internal::CaptureStdout();
        accessible();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    });
}
