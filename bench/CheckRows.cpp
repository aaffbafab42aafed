#include "bench/Descriptions.h"
#include "bench/Readers.h"
#include "bench/Suite.h"

#include "sdk/IRCalibrationManager.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

/// Eight combinations of range and frame rate per optic.
constexpr Shape shape{4, 2, true, false};

/// A directory with a description, and the files that belong to it.
struct Set {
    std::string directory;
    int serial;
    std::vector<std::string> paths;
};

Set makeSet(Suite const& suite, std::string const& name, int optics) {
    Set set{suite.directory() + "/" + name, optics, {}};
    support::writeFile(descriptionPath(set.directory, set.serial), describeOptics(shape, optics));
    Records const records = readers()[0].load(set.directory, set.serial);
    for (auto const& optic : records.optics) {
        for (auto const& range : optic.tempRanges) {
            for (auto const framerate : *range.framerates) {
                std::array<char, 260> stem{};
                ConfigCali::caliFilenameString(set.serial, optic.FOV, optic.Text.get(),
                                               &range.range, framerate, stem.data(),
                                               static_cast<int>(stem.size()));
                set.paths.push_back(set.directory + "/Cali-" + stem.data() + ".dat");
                set.paths.push_back(set.directory + "/Kennlinie-" + stem.data() + ".prn");
            }
        }
    }
    return set;
}

void writeFiles(Set const& set) {
    for (std::string const& path : set.paths)
        close(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
}

std::uint64_t checkWithProduct(Set const& set) {
    auto* const manager = zel::IRCalibrationManager::getInstance();
    manager->setCalibrationDir(set.directory.c_str());
    std::unique_ptr<char[]> const missing(
        manager->checkCalibration(static_cast<unsigned long>(set.serial)));
    if (missing == nullptr)
        return 0;
    auto const length = std::strlen(missing.get());
    return static_cast<std::uint64_t>(std::count(missing.get(), missing.get() + length, ';'));
}

std::uint64_t countMissing(Set const& set) {
    std::uint64_t missing = 0;
    for (std::string const& path : set.paths) {
        mkdir(set.directory.c_str(), 0777);
        int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file >= 0) {
            close(file);
        } else {
            ++missing;
        }
    }
    return missing;
}

/// The plain loop: the same calls, with the names prepared. What is missing is looked up twice,
/// once to measure the list and once to write it.
std::uint64_t checkPlainly(Set const& set) {
    return countMissing(set) > 0 ? countMissing(set) : 0;
}

Race makeRace(Set set) {
    checkWithProduct(set); // leaves the description loaded
    auto const shared = std::make_shared<Set const>(std::move(set));
    return {{{"zentho-cali",
              [shared] {
                  return checkWithProduct(*shared);
              }},
             {"plain loop",
              [shared] {
                  return checkPlainly(*shared);
              }}},
            1};
}

std::string optics(int count) {
    return std::to_string(count) + " optics";
}

} // namespace

void addCheckRows(Suite& suite) {
    static constexpr Goal goal{1.4, 1.15};
    constexpr int rounds = 25;
    int const many = suite.quick() ? 50 : 1000;
    auto const ratio = [&suite](char const* state) {
        return [&suite, state](Timings const& timings) {
            suite.results().add(std::string("completeness check of 1,000 optics, ") + state +
                                    " ÷ plain loop",
                                goal, timings.ratioTo(1));
        };
    };
    suite.addRace(
        "check/all there", rounds,
        [&suite, many] {
            Set set = makeSet(suite, "all", many);
            writeFiles(set);
            return makeRace(std::move(set));
        },
        ratio("all there"));
    suite.addRace(
        "check/one missing", rounds,
        [&suite, many] {
            Set set = makeSet(suite, "but-one", many);
            writeFiles(set);
            std::filesystem::remove(set.paths[set.paths.size() / 2]);
            return makeRace(std::move(set));
        },
        ratio("one missing"));
    suite.addRace(
        "check/all missing", rounds,
        [&suite, many] { return makeRace(makeSet(suite, "none", many)); }, ratio("all missing"));

    auto const seconds = std::make_shared<std::map<int, double>>();
    int const factor = suite.quick() ? 100 : 1;
    for (int const count : {250, 4000}) {
        suite.addRace(
            "check/" + optics(count), 11,
            [&suite, count, factor] {
                Set set = makeSet(suite, "growth", count / factor);
                writeFiles(set);
                return makeRace(std::move(set));
            },
            [&suite, seconds, count](Timings const& timings) {
                (*seconds)[count] = timings.medianSeconds(0);
                std::filesystem::remove_all(suite.directory() + "/growth");
                if (seconds->size() < 2)
                    return;
                suite.results().add(
                    "growth exponent of the completeness check, 250 to 4,000 optics",
                    Goal{1.1, 1.05},
                    growthExponent(250, seconds->at(250), 4000, seconds->at(4000)));
            });
    }
}

} // namespace bench
