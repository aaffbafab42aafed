#include "bench/Descriptions.h"
#include "bench/Programs.h"
#include "bench/Readers.h"
#include "bench/Suite.h"

#include "tests/support/Command.h"

#include <csignal>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <sys/wait.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr int serial = 14080045;

/// A stick with a camera's set: a description, and a data and a curve file for each of its 30
/// combinations of optic, range and frame rate, among others.
class Stick {
public:
    Stick(std::string const& where, int others)
        : m_source(where + "/stick"), m_target(where + "/target") {
        fs::create_directories(m_target);
        makeSet();
        for (int i = 0; i < others; ++i) {
            support::writeFile(m_source + "/folder" + std::to_string(i / 100) + "/picture" +
                                   std::to_string(i) + ".tif",
                               "picture");
        }
        m_printed = support::run(installer()).standardOutput;
        m_printed.erase(m_printed.find('\n'));
        if (m_printed.rfind("find ", 0) != 0)
            throw std::runtime_error("the installer prints no command");
    }

    /// @return The sum of the sizes of the files that were installed.
    std::uint64_t install() const {
        int const status = runQuietly(installer());
        if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGSEGV)
            throw std::runtime_error("the installer did not find the set complete");
        return installed();
    }

    std::uint64_t runPrintedCommand() const {
        runQuietly({"/bin/sh", "-c", m_printed});
        return installed();
    }

    /// Empties the target.
    void clear() const {
        for (auto const& entry : fs::directory_iterator(m_target))
            fs::remove(entry);
    }

    std::vector<std::string> installer() const {
        return {
            ZENTHO_BENCH_INSTALLER, "-d" + std::to_string(serial), "-s", m_source, "-t", m_target};
    }

private:
    void makeSet() const {
        support::writeFile(descriptionPath(m_source, serial), describeOptics({}, 5));
        std::string const content(300 * 1000, 'x');
        Records const records = readers()[0].load(m_source, serial);
        for (auto const& optic : records.optics) {
            for (auto const& range : optic.tempRanges) {
                for (auto const framerate : *range.framerates)
                    writePair(optic, range, framerate, content);
            }
        }
    }

    void writePair(OpticsDefinition const& optic, TempRangeDefinition const& range,
                   std::uint16_t framerate, std::string const& content) const {
        std::array<char, 260> stem{};
        ConfigCali::caliFilenameString(serial, optic.FOV, optic.Text.get(), &range.range, framerate,
                                       stem.data(), static_cast<int>(stem.size()));
        support::writeFile(m_source + "/camera/Cali-" + stem.data() + ".dat", content);
        support::writeFile(m_source + "/camera/Kennlinie-" + stem.data() + ".prn", content);
    }

    std::uint64_t installed() const {
        std::uint64_t bytes = 0;
        for (auto const& entry : fs::directory_iterator(m_target))
            bytes += entry.file_size();
        return bytes;
    }

    std::string m_source;
    std::string m_target;
    std::string m_printed;
};

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
