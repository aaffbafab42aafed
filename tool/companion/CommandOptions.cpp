#include "tool/companion/CommandOptions.h"

#include "sdk/set/FileKinds.h"
#include "util/DefaultDirectories.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <system_error>

namespace companion {

namespace {

/// @return Whether the text is a serial number: decimal, without sign or blank, and not 0.
bool readSerial(std::string const& text, unsigned long& serial) {
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, serial);
    return error == std::errc() && rest == end && zel::set::isSerial(serial);
}

unsigned long serialOf(std::string const& text) {
    unsigned long serial = 0;
    if (readSerial(text, serial))
        return serial;
    std::string const range = "1 to " + std::to_string(zel::set::largestSerial);
    std::string const mistake = "'" + text + "' is no serial number: decimal digits, " + range;
    throw CLI::ValidationError("SERIAL", mistake);
}

CLI::Option& addSerialOption(CLI::App& parser, Options& options) {
    auto const set = [&options](std::string const& text) {
        options.serial = serialOf(text);
    };
    return *parser
                .add_option_function<std::string>("SERIAL", set,
                                                  "Serial number of the camera, in decimal")
                ->type_name("");
}

} // namespace

std::string whyNotEmpty(std::string const& text) {
    return text.empty() ? "must not be empty" : "";
}

CLI::Option& addText(CLI::App& parser, char const* name, char const* type, std::string& value,
                     std::string const& help, std::string (*whyNot)(std::string const& text)) {
    return *parser.add_option(name, value, help)
                ->type_name(type)
                ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
                ->check(whyNot);
}

CLI::Option& addFlag(CLI::App& parser, char const* name, bool& value, std::string const& help) {
    return *parser.add_flag(name, value, help);
}

void require(CLI::Option& option) {
    option.required();
}

void needs(CLI::Option& option, CLI::Option& other) {
    option.needs(&other);
}

void addOptionalSerial(CLI::App& parser, Options& options) {
    addSerialOption(parser, options);
}

void addSerial(CLI::App& parser, Options& options) {
    addSerialOption(parser, options).required();
}

void addSerialOrAll(CLI::App& parser, Options& options, std::string const& help) {
    CLI::Option& serial = addSerialOption(parser, options);
    addFlag(parser, "--all", options.all, help).excludes(&serial);
}

void addSerialsOrAll(CLI::App& parser, Options& options, std::string const& help) {
    auto const set = [&options](std::vector<std::string> const& texts) {
        for (std::string const& text : texts)
            options.serials.push_back(serialOf(text));
    };
    CLI::Option& serials = *parser
                                .add_option_function<std::vector<std::string>>(
                                    "SERIAL", set, "Serial numbers of the cameras, in decimal")
                                ->type_name("");
    addFlag(parser, "--all", options.all, help).excludes(&serials);
}

CLI::Option& addSource(CLI::App& parser, Options& options, std::string const& help) {
    return addText(parser, "-s,--source", "DIR", options.source,
                   "The stick: searched with all directories below" + help);
}

void addSourceOrArchive(CLI::App& parser, Options& options, std::string const& help) {
    addText(parser, "-s,--source", "SOURCE", options.source,
            "The stick: a directory, searched with all below, or an archive" + help);
    addFlag(parser, "--require-sandbox", options.requireSandbox,
            "Refuse archives where the kernel cannot confine what reads them");
}

void addDirectory(CLI::App& parser, Options& options) {
    std::string const help =
        std::string("Calibration directory, instead of ") + zel::defaultCalibrationDir;
    addText(parser, "-t,--target", "DIR", options.directory, help);
}

void addDryRun(CLI::App& parser, Options& options) {
    addFlag(parser, "--dry-run", options.dryRun, "Only say what would be done");
}

void addNoWait(CLI::App& parser, Options& options) {
    addFlag(parser, "--no-wait", options.noWait, "Do not wait for another process");
}

void addCommonOptions(CLI::App& parser, Options& options) {
    addFlag(parser, "--json", options.json, "Answer with one JSON object, also on failure");
    parser.add_flag("-v,--verbose", options.verbosity,
                    "Show the library's log: errors and warnings; -vv information, -vvv debug");
    addText(parser, "--log", "FILE", options.logFile,
            "Write the library's whole log to FILE_<date>_<time>.log");
}

} // namespace companion
