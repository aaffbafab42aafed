#include "bench/Programs.h"
#include "bench/Stick.h"
#include "bench/Suite.h"

#include "store/CalibrationStore.h"
#include "tests/support/Camera.h"
#include "tests/support/Command.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace bench {

namespace {

namespace fs = std::filesystem;
using zel::store::CalibrationStore;

constexpr unsigned long serial = 7;

void addInstall(Suite& suite) {
    auto const directory = suite.directory() + "/store";
    int const others = suite.quick() ? 20 : 2000;
    suite.addRace(
        "store/install", 21,
        [directory, others] {
            auto const stick = std::make_shared<Stick const>(directory, others);
            auto const clear = [stick] {
                stick->clear();
            };
            return Race{{{"zentho-cali install", [stick] { return stick->installSafely(); }, clear},
                         {"printed command", [stick] { return stick->runPrintedCommand(); }, clear},
                         {"rsync", [stick] { return stick->copyWithRsync(); }, clear}},
                        1,
                        true};
        },
        [&suite](Timings const& timings) {
            suite.results().add("durable, hashed install of 60 files of 300 KB among 2,000 others "
                                "÷ the command that the installer prints, by the clock",
                                Goal{0.8, 0.5}, timings.ratioTo(1));
            suite.results().add("the same ÷ `rsync -a --fsync` of the whole stick",
                                Goal{0.15, 0.08}, timings.ratioTo(2));
        });
    suite.addRace(
        "store/again", 21,
        [directory] {
            auto const again = std::make_shared<Stick const>(directory + "-again", 0);
            auto const first = std::make_shared<Stick const>(directory + "-first", 0);
            again->installSafely();
            return Race{{{"second run",
                          [again] {
                              return again->installSafely();
                          }},
                         {"first run", [first] { return first->installSafely(); },
                          [first] {
                              first->clear();
                          }}},
                        1,
                        true};
        },
        [&suite](Timings const& timings) {
            suite.results().add("second run with nothing to do ÷ first", Goal{0.3, 0.15},
                                timings.ratioTo(1));
        });
    suite.addOther("store/memory", [&suite, directory] {
        double most = 0;
        for (std::size_t const size : {std::size_t{300} * 1000, std::size_t{20} * 1000 * 1000}) {
            Stick const stick(directory + "-memory", 0, suite.quick() ? 1000 : size);
            most = std::max(most, static_cast<double>(peakMemory(stick.companion())) / 1e6);
            fs::remove_all(directory + "-memory");
        }
        suite.results().add("peak memory of `install`, files of 300 KB and of 20 MB, in MB",
                            Goal{12, 8}, most);
    });
}

/// An installed set of eight data sets an optic, with a record, and a stick that holds the same.
struct InstalledSet {
    InstalledSet(std::string const& where, int optics)
        : stick(where + "/stick"), target(where + "/target"), names(cameraOf(optics).fileNames()) {
        cameraOf(optics).writeInto(stick);
        for (auto name = names.begin() + 1; name != names.end(); ++name)
            fs::resize_file(stick + "/" + *name, fileSize);
        auto const source = zel::store::Source::open(stick, {});
        if (!CalibrationStore(target).install(serial, *source.source, {}, {}).complete)
            throw std::runtime_error("the set was not installed");
    }

    static support::Camera cameraOf(int optics) {
        support::Camera camera(static_cast<int>(serial));
        for (int optic = 1; optic <= optics; ++optic) {
            camera.optic(optic);
            for (int range = 0; range < 4; ++range)
                camera.range(range, range + 100).frameRate(27).frameRate(80);
        }
        return camera;
    }

    std::vector<std::string> companion(std::vector<std::string> const& question) const {
        std::vector<std::string> command{ZENTHO_BENCH_COMPANION};
        command.insert(command.end(), question.begin(), question.end());
        command.insert(command.end(), {"-t", target});
        return command;
    }

    // A twentieth of the usual size, so that the bytes count as well as the files.
    static constexpr std::uintmax_t fileSize = std::uintmax_t{16} * 1024;

    std::string stick;
    std::string target;
    std::vector<std::string> names;
};

/// @return 1 if a program says yes, so that the sums of the subjects agree.
std::uint64_t saysYes(std::vector<std::string> const& command) {
    int const status = runQuietly(command);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 1 : 0;
}

std::uint64_t countMissing(InstalledSet const& set, int folder) {
    return static_cast<std::uint64_t>(
        std::count_if(set.names.begin(), set.names.end(), [&](std::string const& name) {
            struct stat status {};
            return fstatat(folder, name.c_str(), &status, 0) != 0;
        }));
}

void addQuestions(Suite& suite) {
    auto const set = std::make_shared<std::unique_ptr<InstalledSet const>>();
    auto const provide = [&suite, set] {
        if (*set == nullptr)
            *set = std::make_unique<InstalledSet const>(suite.directory() + "/asked",
                                                        suite.quick() ? 50 : 1000);
        return set->get();
    };
    suite.addRace(
        "store/verify", 11,
        [provide] {
            auto const* const asked = provide();
            std::string const sums = ".zentho-cali/" + std::to_string(serial) + ".sha256";
            return Race{{{"zentho-cali verify",
                          [asked] {
                              return saysYes(asked->companion({"verify", "7"}));
                          }},
                         {"sha256sum",
                          [asked, sums] {
                              return saysYes(
                                  {"env", "-C", asked->target, "sha256sum", "-c", "--quiet", sums});
                          }}},
                        1};
        },
        [&suite](Timings const& timings) {
            suite.results().add(
                "`verify` against the record, 16,000 files of 16 KB ÷ `sha256sum -c`",
                Goal{0.6, 0.35}, timings.ratioTo(1));
        });
    suite.addRace(
        "store/verify-source", 11,
        [provide] {
            auto const* const asked = provide();
            return Race{{{"zentho-cali verify -s",
                          [asked] {
                              return saysYes(asked->companion({"verify", "7", "-s", asked->stick}));
                          }},
                         {"diff",
                          [asked] {
                              return saysYes({"diff", "-rq", "-x", ".zentho-cali", asked->stick,
                                              asked->target});
                          }}},
                        1};
        },
        [&suite](Timings const& timings) {
            suite.results().add("`verify -s`, 16,000 files of 16 KB ÷ `diff -rq`", Goal{1.1, 0.9},
                                timings.ratioTo(1));
        });
    suite.addRace(
        "store/check", 25,
        [provide] {
            auto const* const asked = provide();
            int const folder = open(asked->target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            return Race{{{"check",
                          [asked] {
                              return CalibrationStore(asked->target).check(serial).problems.size();
                          }},
                         {"plain loop",
                          [asked, folder] {
                              return countMissing(*asked, folder);
                          }}},
                        1};
        },
        [&suite](Timings const& timings) {
            suite.results().add("`check` of 1,000 optics, 16,000 files ÷ a loop with one `fstatat` "
                                "each",
                                Goal{1.4, 1.15}, timings.ratioTo(1));
        });
}

/// Sets on a stick, of which one changes, a mirror of them, and a copy.
class MirroredSets {
public:
    MirroredSets(std::string const& where, int sets) : m_directory(where) {
        for (int set = 0; set < sets; ++set) {
            support::Camera camera(firstSerial + set);
            for (int optic = 1; optic <= 8; ++optic)
                camera.optic(optic).range(-20, 100);
            auto const folder = stick() + "/" + std::to_string(firstSerial + set);
            camera.writeInto(folder);
            auto const names = camera.fileNames();
            for (auto name = names.begin() + 1; name != names.end(); ++name)
                fs::resize_file(folder + "/" + *name, InstalledSet::fileSize);
            m_changing = folder + "/" + names.back();
        }
        mirror();
        copy();
    }

    void change() const {
        static int version = 0;
        support::writeFile(m_changing, "version " + std::to_string(++version));
    }
    std::uint64_t mirror() const {
        return saysYes({ZENTHO_BENCH_COMPANION, "mirror", "-s", stick(), "--all", "-o",
                        m_directory + "/mirror"});
    }
    std::uint64_t copy() const {
        return saysYes({"rsync", "-a", stick() + "/", m_directory + "/copy"});
    }

private:
    static constexpr int firstSerial = 14080001;

    std::string stick() const { return m_directory + "/stick"; }

    std::string m_directory;
    std::string m_changing;
};

void addMirror(Suite& suite) {
    suite.addRace(
        "store/mirror", 21,
        [&suite] {
            auto const sets = std::make_shared<MirroredSets const>(suite.directory() + "/mirrored",
                                                                   suite.quick() ? 5 : 500);
            auto const change = [sets] {
                sets->change();
            };
            return Race{{{"mirror", [sets] { return sets->mirror(); }, change},
                         {"rsync", [sets] { return sets->copy(); }, change}},
                        1,
                        true};
        },
        [&suite](Timings const& timings) {
            suite.results().add("`mirror` of 500 sets of 17 files, one changed ÷ `rsync -a` of the "
                                "same tree, by the clock",
                                Goal{1.2, 0.8}, timings.ratioTo(1));
        });
}

void addList(Suite& suite) {
    auto const seconds = std::make_shared<std::map<int, double>>();
    for (int const count : {250, 2000}) {
        suite.addRace(
            "store/list " + std::to_string(count), 11,
            [&suite, count] {
                auto const directory = suite.directory() + "/list" + std::to_string(count);
                int const cameras = suite.quick() ? count / 100 : count;
                for (int camera = 1; camera <= cameras; ++camera)
                    support::Camera(camera).optic(23).range(-20, 100).writeInto(directory);
                return Race{{{"list",
                              [directory] {
                                  return CalibrationStore(directory).list().cameras.size();
                              }}},
                            1};
            },
            [&suite, seconds, count](Timings const& timings) {
                (*seconds)[count] = timings.medianSeconds(0);
                if (seconds->size() < 2)
                    return;
                suite.results().add("growth exponent of `list`, 250 to 2,000 cameras",
                                    Goal{1.1, 1.05},
                                    growthExponent(250, seconds->at(250), 2000, seconds->at(2000)));
            });
    }
}

void addStartUp(Suite& suite) {
    suite.addRace(
        "store/start-up", 31,
        [] {
            return Race{{{"zentho-cali",
                          [] {
                              return saysYes({ZENTHO_BENCH_COMPANION, "--version"});
                          }},
                         {"hello world",
                          [] {
                              return saysYes({ZENTHO_BENCH_HELLO});
                          }}},
                        20};
        },
        [&suite](Timings const& timings) {
            suite.results().add("start-up of the companion ÷ hello world on iostreams",
                                Goal{1.4, 1.25}, timings.ratioTo(1));
        });
}

} // namespace

void addStoreRows(Suite& suite) {
    addInstall(suite);
    addQuestions(suite);
    addMirror(suite);
    addList(suite);
    addStartUp(suite);
}

} // namespace bench
