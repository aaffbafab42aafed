#include "bench/Descriptions.h"
#include "bench/Programs.h"
#include "bench/Readers.h"
#include "bench/Suite.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t kilobyte = 1000;
constexpr std::size_t megabyte = 1000 * kilobyte;

constexpr Shape plain{};
constexpr Shape withoutOptional{3, 2, false, false};
constexpr Shape withComments{3, 2, true, true};

constexpr Goal otherPeers{0.45, 0.3};
constexpr Goal instructions{1.1, 0.9};

struct Case {
    char const* name;
    Shape shape;
    std::size_t bytes;
    Goal pugixml;
    int rounds;
};

constexpr std::array<Case, 9> cases{{
    {"8 KB", plain, 8 * kilobyte, {1.15, 0.95}, 25},
    {"500 KB", plain, 500 * kilobyte, {1.0, 0.95}, 25},
    {"2 MB", plain, 2 * megabyte, {1.0, 0.95}, 25},
    {"10 MB", plain, 10 * megabyte, {1.0, 0.95}, 15},
    {"100 MB", plain, 100 * megabyte, {1.2, 1.1}, 7},
    {"500 KB without optional elements", withoutOptional, 500 * kilobyte, {1.3, 0.95}, 25},
    {"10 MB without optional elements", withoutOptional, 10 * megabyte, {1.3, 0.95}, 15},
    {"500 KB with many comments", withComments, 500 * kilobyte, {1.3, 0.95}, 25},
    {"10 MB with many comments", withComments, 10 * megabyte, {1.3, 0.95}, 15},
}};

int serialOf(Case const& which) {
    return 1 + static_cast<int>(&which - cases.data());
}

/// @return The size of the case's file, which is made if it does not exist.
std::uint64_t provideFile(Suite const& suite, Case const& which) {
    std::string const path = descriptionPath(suite.directory(), serialOf(which));
    if (!std::filesystem::exists(path))
        support::writeFile(path, describeBytes(which.shape, which.bytes));
    return std::filesystem::file_size(path);
}

void compareRecords(std::string const& directory, int serial) {
    std::uint64_t const expected = digest(readers()[0].load(directory, serial));
    for (Reader const& reader : readers()) {
        if (digest(reader.load(directory, serial)) != expected)
            throw std::runtime_error(std::string(reader.name) + " reads other records");
    }
}

Race makeRace(Suite const& suite, Case const& which) {
    auto const bytes = provideFile(suite, which);
    int const serial = serialOf(which);
    compareRecords(suite.directory(), serial);
    Race race;
    for (Reader const& reader : readers()) {
        race.subjects.push_back({reader.name, [&suite, &reader, serial] {
                                     return reader.loadAndWalk(suite.directory(), serial);
                                 }});
    }
    race.repetitions = static_cast<int>(std::max<std::uint64_t>(1, 4 * megabyte / bytes));
    return race;
}

void reportTimings(Suite& suite, Case const& which, Timings const& timings) {
    std::string const what = std::string("load and walk ") + which.name + " ÷ ";
    suite.results().add(what + readers()[1].name, which.pugixml, timings.ratioTo(1));
    for (std::size_t peer = 2; peer < timings.subjects(); ++peer)
        suite.results().add(what + readers()[peer].name, otherPeers, timings.ratioTo(peer));

    if (which.shape.comments || !which.shape.optionalElements)
        return;
    Point point{provideFile(suite, which), {}};
    for (std::size_t subject = 0; subject < timings.subjects(); ++subject)
        point.seconds.push_back(timings.medianSeconds(subject));
    suite.results().addPoint(std::move(point));
}

/// The growth from 500 KB, the second point, to the largest file.
void reportGrowth(Suite& suite) {
    auto const& points = suite.results().points();
    if (points.size() < 3)
        return; // not all sizes were asked for
    Point const small = points[1];
    Point const large = points.back();
    for (std::size_t r = 0; r < 2; ++r) {
        double const exponent = growthExponent(static_cast<double>(small.bytes), small.seconds[r],
                                               static_cast<double>(large.bytes), large.seconds[r]);
        std::optional<Goal> const goal = r == 0 ? std::optional<Goal>({1.15, 1.05}) : std::nullopt;
        suite.results().add("growth exponent of load and walk, 500 KB to 100 MB, " +
                                std::string(readers()[r].name),
                            goal, exponent);
    }
}

std::vector<std::string> subjectCommand(Suite const& suite, Reader const& reader, Case const& which,
                                        int times) {
    return {ZENTHO_BENCH_SUBJECT, reader.name, suite.directory(), std::to_string(serialOf(which)),
            std::to_string(times)};
}

/// The instructions of one load and walk: those of a process that does it twice minus those of one
/// that does it once, so that start-up and the dynamic linker do not count.
double instructionsOf(Suite const& suite, Reader const& reader, Case const& which) {
    auto const once = countInstructions(subjectCommand(suite, reader, which, 1));
    auto const twice = countInstructions(subjectCommand(suite, reader, which, 2));
    return static_cast<double>(twice - once);
}

void reportInstructions(Suite& suite, Case const& which, std::optional<Goal> goal) {
    provideFile(suite, which);
    double const ours = instructionsOf(suite, readers()[0], which);
    double const peers = instructionsOf(suite, readers()[1], which);
    suite.results().add(std::string("instructions of load and walk ") + which.name + " ÷ pugixml",
                        goal, ours / peers);
}

void reportInstructionGrowth(Suite& suite, Case const& small, Case const& large) {
    auto const smallBytes = static_cast<double>(provideFile(suite, small));
    auto const largeBytes = static_cast<double>(provideFile(suite, large));
    double const exponent = growthExponent(smallBytes, instructionsOf(suite, readers()[0], small),
                                           largeBytes, instructionsOf(suite, readers()[0], large));
    suite.results().add(std::string("growth exponent of its instructions, ") + small.name + " to " +
                            large.name,
                        Goal{1.15, 1.05}, exponent);
}

/// The peak memory minus that of the same program when it reads nothing: its code and libraries.
void reportMemory(Suite& suite, Case const& which) {
    auto const bytes = static_cast<double>(provideFile(suite, which));
    for (std::size_t r = 0; r < 2; ++r) {
        Reader const& reader = readers()[r];
        std::vector<double> ratios;
        for (int round = 0; round < (suite.quick() ? 1 : 5); ++round) {
            auto const idle = peakMemory(subjectCommand(suite, reader, which, 0));
            auto const peak = peakMemory(subjectCommand(suite, reader, which, 1));
            ratios.push_back(static_cast<double>(peak - idle) / bytes);
        }
        std::optional<Goal> const goal = r == 0 ? std::optional<Goal>({2.2, 1.6}) : std::nullopt;
        suite.results().add(std::string("peak memory ÷ file size, ") + which.name + ", " +
                                reader.name,
                            goal, spreadOf(ratios));
    }
}

} // namespace

void addLoadRows(Suite& suite) {
    Case const& small = cases[0];
    Case const& medium = cases[1];
    for (Case const& which : cases) {
        if (suite.quick() && which.bytes > medium.bytes)
            continue;
        suite.addRace(
            std::string("load/") + which.name, which.rounds,
            [&suite, &which] { return makeRace(suite, which); },
            [&suite, &which](Timings const& timings) { reportTimings(suite, which, timings); });
    }
    if (!suite.quick())
        suite.addOther("load/growth", [&suite] { reportGrowth(suite); });

    suite.addOther("instructions", [&suite] { reportInstructions(suite, medium, instructions); });
    if (suite.quick()) {
        suite.addOther("instructions/more", [&suite] {
            reportInstructions(suite, cases[5], Goal{1.3, 0.95});
            reportInstructions(suite, cases[7], Goal{1.3, 0.95});
            reportInstructionGrowth(suite, small, medium);
        });
    }
    for (Case const& which : cases) {
        bool const tooLong = suite.quick() && which.bytes > 2 * megabyte;
        if (which.bytes < 2 * megabyte || serialOf(which) > 5 || tooLong)
            continue;
        suite.addOther(std::string("memory/") + which.name,
                       [&suite, &which] { reportMemory(suite, which); });
    }
}

} // namespace bench
