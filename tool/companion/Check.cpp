#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/InstalledSet.h"

namespace companion {

namespace {

void addOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addDirectory(parser, options);
}

Result run(Options const& options, Terminal const& terminal) {
    InstalledSet const set(options.directory, options.serial);
    auto const files = set.lookAtAll();
    auto const missing = set.missing(files);
    Result result = answerAbout(options.serial, options.directory);
    result.notes = set.remarks(files);
    result.members["complete"] = missing.empty();
    result.members["missing"] = missing;
    for (std::string const& name : missing)
        result.text += terminal.sanitized(name) + "\n";
    if (!missing.empty()) {
        result.status = Status::no;
        result.notes.push_back("Not complete. " + howToFetch(options));
    }
    return result;
}

} // namespace

Command const check{
    "check",
    "List the files that are missing of an installed set",
    "0 complete, 1 files are missing",
    "zentho-cali check 14080045",
    addOptions,
    run,
};

} // namespace companion
