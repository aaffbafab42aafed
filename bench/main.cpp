#include "bench/Suite.h"

#include "sdk/IRLogger.h"
#include "tests/support/Namespace.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string_view>

namespace {

struct Options {
    bool quick = false;
    std::string output = ".";
};

/// Removes this program's own options from the arguments.
Options takeOptions(int& argc, char* argv[]) {
    Options options;
    int kept = 0;
    for (int i = 0; i < argc; ++i) {
        std::string_view const argument = argv[i];
        constexpr std::string_view output = "--output=";
        if (argument == "--quick") {
            options.quick = true;
        } else if (argument.substr(0, output.size()) == output) {
            options.output = std::filesystem::absolute(argument.substr(output.size()));
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    return options;
}

void writeResults(bench::Results const& results, std::string const& output) {
    std::filesystem::create_directories(output);
    std::ofstream csv(output + "/results.csv");
    results.printCsv(csv);
    std::ofstream markdown(output + "/results.md");
    results.printMarkdown(markdown);
    std::ofstream points(output + "/time-over-size.csv");
    results.printPoints(points);
}

/// @return The exit status. The quick form counts instead of timing, so a goal missed is an error.
int runSuite(Options const& options) {
    zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
    bench::Suite suite(options.quick);
    bench::addLoadRows(suite);
    bench::addCheckRows(suite);
    bench::addDiscoveryRows(suite);
    bench::addRunRows(suite);
    bench::addLogRows(suite);
    bench::addStoreRows(suite);

    benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_None);
    std::ostringstream unheard;
    if (options.quick) {
        reporter.SetOutputStream(&unheard);
        reporter.SetErrorStream(&unheard);
    }
    auto const run = benchmark::RunSpecifiedBenchmarks(&reporter);

    std::cout << "\n";
    suite.results().printTable(std::cout);
    std::cout << "\n" << run << " measurements, " << suite.results().missed() << " goals missed\n";
    if (!options.quick)
        writeResults(suite.results(), options.output);
    if (suite.failed() || run == 0)
        return EXIT_FAILURE;
    return options.quick && suite.results().missed() > 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

// In a mount table of its own, since discovery needs a USB tree of its own.
int main(int argc, char* argv[]) {
    Options const options = takeOptions(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    support::TemporaryDirectory const exchange;
    auto const passed = exchange.path() + "/passed";
    support::inPrivateNamespaces([&] {
        if (runSuite(options) == EXIT_SUCCESS)
            support::writeFile(passed, "");
    });
    return std::filesystem::exists(passed) ? EXIT_SUCCESS : EXIT_FAILURE;
}
