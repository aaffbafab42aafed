// The tour of the API documentation: its program, run as the tour says, prints what the tour
// shows.
#include "tests/support/Command.h"
#include "tests/support/DownloadWorld.h"
#include "tests/support/HttpServer.h"
#include "tests/support/LogLines.h"
#include "tests/support/Route.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

namespace {

namespace fs = std::filesystem;

using support::Outcome;

std::string const sources = ZENTHO_SOURCE_DIR;
constexpr char const* route = "0.0.0.0  192.168.1.1  0.0.0.0  UG 100 0 0 eth0\n";

/// What the tour shows in its blocks of this kind, one after another.
std::string shown(std::string const& kind) {
    std::string blocks;
    bool inside = false;
    for (auto const& line : support::lines(support::readFile(sources + "/docs/tour.md"))) {
        if (line.rfind("```", 0) == 0) {
            inside = line == "```" + kind;
            continue;
        }
        if (inside)
            blocks += line + "\n";
    }
    return blocks;
}

void makeAvailable(support::DownloadWorld const& world) {
    world.serveLink();
    fs::path const served = world.served("/cali/14/1408/Califiles SN14080045");
    fs::create_directories(served);
    for (auto const& entry :
         fs::recursive_directory_iterator(sources + "/samples/stick/14080045")) {
        if (entry.is_regular_file())
            fs::copy_file(entry.path(), served / entry.path().filename());
    }
    support::tellRoutes(route);
}

std::string logBelow(fs::path const& directory) {
    for (auto const& entry : fs::directory_iterator(directory)) {
        if (entry.path().filename().string().rfind("tour_", 0) == 0)
            return support::readFile(entry.path());
    }
    return "there is no log";
}

/// Follows the tour with the maker's server at hand.
void followTheTour(std::function<void(Outcome const&, std::string const& log)> const& body) {
    support::inDownloadWorld([&](support::DownloadWorld const& world) {
        makeAvailable(world);
        support::HttpServer const web(world.served(""));
        fs::path const here = world.target();
        fs::create_symlink(sources + "/samples", here / "samples");
        support::run({"sh", "-ec", shown("sh")}, here);
        Outcome const outcome = support::run({ZENTHO_TOUR, "cali", "14080045"}, here);
        body(outcome, logBelow(here));
    });
}

TEST(Tour, PrintsWhatTheTourShows) {
    followTheTour([](Outcome const& outcome, std::string const&) {
        EXPECT_EQ(outcome.standardOutput, shown("text"));
    });
}

TEST(Tour, LogsWhatTheTourShows) {
    followTheTour([](Outcome const&, std::string const& log) {
        EXPECT_EQ(support::withoutLineAndTime(log), support::withoutLineAndTime(shown("log")));
    });
}

TEST(Tour, EndsWell) {
    followTheTour([](Outcome const& outcome, std::string const&) {
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
    });
}

} // namespace
