#include "bench/Suite.h"

#include "sdk/IRLogger.h"
#include "util/Logger.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

namespace bench {

namespace {

constexpr char const* origin = "sdk/IRCalibrationManager";
constexpr char const* directory = "/sys/bus/usb/devices";
constexpr auto warning = thalvo::LogLevel::warning;
constexpr auto debug = thalvo::LogLevel::debug;
constexpr int linesToFile = 2000;
constexpr int linesBelow = 1000 * 1000;

/// The peer's logger, set up like the product's: to a file, for one thread, with each line flushed
/// and its origin named.
std::shared_ptr<spdlog::logger> makePeer(std::string const& path) {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_st>(path);
    auto logger = std::make_shared<spdlog::logger>("bench", std::move(sink));
    logger->flush_on(spdlog::level::trace);
    return logger;
}

std::uint64_t reportLines(thalvo::LogLevel level, int lines) {
    for (int i = 0; i < lines; ++i) {
        thalvo::report(level, origin, __LINE__, "Query directory ", directory);
        benchmark::ClobberMemory();
    }
    return static_cast<std::uint64_t>(lines);
}

std::uint64_t peerLines(spdlog::logger& logger, spdlog::level::level_enum level, int lines) {
    for (int i = 0; i < lines; ++i) {
        logger.log(spdlog::source_loc{origin, __LINE__, ""}, level, "Query directory {}",
                   directory);
        benchmark::ClobberMemory();
    }
    return static_cast<std::uint64_t>(lines);
}

std::ptrdiff_t linesIn(std::string const& folder) {
    std::ptrdiff_t lines = 0;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        auto const text = support::readFile(entry.path().string());
        lines += std::count(text.begin(), text.end(), '\n');
    }
    return lines;
}

Race makeRace(std::string const& folder, thalvo::LogLevel level,
              spdlog::level::level_enum peersLevel, int lines) {
    std::filesystem::create_directories(folder + "/product");
    std::filesystem::create_directories(folder + "/spdlog");
    zel::IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_WARNING,
                                (folder + "/product/log").c_str());
    auto const peer = makePeer(folder + "/spdlog/log");
    peer->set_level(spdlog::level::warn);
    return {{{"zentho-cali",
              [=] {
                  return reportLines(level, lines);
              }},
             {"spdlog",
              [=] {
                  return peerLines(*peer, peersLevel, lines);
              }}},
            1};
}

void finish(std::string const& folder) {
    zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
    if (linesIn(folder + "/product") != linesIn(folder + "/spdlog"))
        throw std::runtime_error("the logs differ in their number of lines");
}

void addRow(Suite& suite, char const* name, char const* what, Goal goal,
            std::function<Race(std::string const&)> make) {
    auto const folder = suite.directory() + "/" + name;
    suite.addRace(
        name, 31, [make = std::move(make), folder] { return make(folder); },
        [&suite, what, goal, folder](Timings const& timings) {
            finish(folder);
            suite.results().add(what, goal, timings.ratioTo(1));
        });
}

} // namespace

void addLogRows(Suite& suite) {
    addRow(suite, "log/flushed", "a log line to a file with flush ÷ spdlog", Goal{1.15, 1.0},
           [](std::string const& folder) {
               return makeRace(folder, warning, spdlog::level::warn, linesToFile);
           });
    addRow(suite, "log/below", "a log line below the threshold ÷ spdlog", Goal{1.5, 1.0},
           [](std::string const& folder) {
               return makeRace(folder, debug, spdlog::level::debug, linesBelow);
           });
}

} // namespace bench
