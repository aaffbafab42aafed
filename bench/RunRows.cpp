#include "bench/Programs.h"
#include "bench/Stick.h"
#include "bench/Suite.h"

#include <memory>

#include <sys/wait.h>

namespace bench {

namespace {

/// @return 1 if the program exits as it should, so that the sums of the subjects agree.
std::uint64_t start(char const* program, int exitStatus) {
    int const status = runQuietly({program});
    return WIFEXITED(status) && WEXITSTATUS(status) == exitStatus ? 1 : 0;
}

void addWholeRun(Suite& suite) {
    auto const directory = suite.directory() + "/run";
    int const others = suite.quick() ? 20 : 2000;
    suite.addRace(
        "run/stick", 31,
        [directory, others] {
            auto const stick = std::make_shared<Stick const>(directory, others);
            auto const clear = [stick] {
                stick->clear();
            };
            auto const install = [stick] {
                return stick->install();
            };
            auto const runCommand = [stick] {
                return stick->runPrintedCommand();
            };
            return Race{
                {{"zentho-cali-install", install, clear}, {"printed command", runCommand, clear}},
                1};
        },
        [&suite](Timings const& timings) {
            suite.results().add("whole run, 60 files of 300 KB among 2,000 others ÷ the command "
                                "it prints",
                                Goal{1.05, 1.02}, timings.ratioTo(1));
        });
    suite.addOther("run/memory", [&suite, directory] {
        Stick const stick(directory + "-memory", 20);
        std::vector<double> megabytes;
        for (int round = 0; round < (suite.quick() ? 1 : 11); ++round)
            megabytes.push_back(static_cast<double>(peakMemory(stick.installer())) / 1e6);
        suite.results().add("peak memory of a realistic run, in MB", Goal{4.0, 2.5},
                            spreadOf(megabytes));
    });
}

} // namespace

void addRunRows(Suite& suite) {
    addWholeRun(suite);
    suite.addRace(
        "run/start-up", 31,
        [] {
            return Race{{{"zentho-cali-install",
                          [] {
                              return start(ZENTHO_BENCH_INSTALLER, 255);
                          }},
                         {"hello world",
                          [] {
                              return start(ZENTHO_BENCH_HELLO, 0);
                          }},
                         {"static hello world",
                          [] {
                              return start(ZENTHO_BENCH_STATIC_HELLO, 0);
                          }}},
                        20};
        },
        [&suite](Timings const& timings) {
            suite.results().add("start-up with an option error ÷ hello world on iostreams",
                                Goal{1.0, 0.6}, timings.ratioTo(1));
            suite.results().add("start-up ÷ the same with the C++ library linked in", std::nullopt,
                                timings.ratioTo(2));
        });
}

} // namespace bench
