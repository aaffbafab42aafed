#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"

#include "sdk/manager/Configuration.h"
#include "util/DefaultDirectories.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace companion {

namespace {

/// The configuration names the directory to programs that run elsewhere. An absolute path stays as
/// the person wrote it.
std::string absolute(std::string const& directory) {
    if (directory.front() == '/')
        return directory;
    std::error_code error;
    auto const path = std::filesystem::canonical(directory, error);
    if (error) // such as when a relative path starts in a working directory that was removed
        throw systemFailure("Cannot use the calibration directory", directory, error.value());
    return path;
}

void addOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    CLI::Option& output = addText(parser, "-o,--output", "FILE", options.output,
                                  "Write to FILE, all at once, instead of the standard output");
    parser.add_flag("--force", options.force, "Replace FILE if it exists")->needs(&output);
    addDirectory(parser, options);
}

Result run(Options const& options, Terminal const& /*terminal*/) {
    requireCalibrationDirectory(options.directory, R_OK | X_OK);
    InstalledSet set(absolute(options.directory), options.serial);
    Result result = answerAbout(options.serial, options.directory);
    result.members["configuration"] = nullptr;
    result.members["file"] = nullptr;
    if (set.description() == nullptr) {
        result.status = Status::no;
        result.notes = set.whyNoDescription(options);
        return result;
    }
    std::string const text =
        zel::configurationText(options.serial, set.directory(), zel::defaultFormatsDir,
                               zel::readSuggestion(set.document()));
    result.members["configuration"] = text;
    if (options.output.empty()) {
        result.text = text;
        return result;
    }
    writeAtomically(options.output, text, options.force);
    result.members["file"] = options.output;
    return result;
}

} // namespace

Command const config{
    "config",
    "Write a camera's configuration",
    "0 written, 1 no description",
    "zentho-cali config 14080045 -o 14080045.xml",
    addOptions,
    run,
};

} // namespace companion
