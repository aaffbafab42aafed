#include "tool/companion/Answers.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Hints.h"
#include "tool/companion/ProgressLine.h"

#include "store/CalibrationStore.h"

namespace companion {

namespace {

void addRemoveOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addDirectory(parser, options);
    addDryRun(parser, options);
    addNoWait(parser, options);
}

Result runRemove(Options const& options, Terminal const& terminal) {
    zel::store::InstallOptions asked;
    asked.dryRun = options.dryRun;
    asked.wait = !options.noWait;
    zel::store::CalibrationStore store(options.directory);
    ProgressLine progress(options.directory);
    auto const outcome = store.remove(options.serial, asked, progress.callback());

    Result result = answerAbout(options.serial, options.directory);
    result.members["changed"] = outcome.changed;
    if (outcome.failure) { // what was planned by then became of no file
        result.members["files"] = Json::array();
        addRemarks(outcome.remarks, result.members["problems"] = Json::array(), result);
        addFailure(result, failureOfChange(options.serial, outcome, options));
        return result;
    }
    result.members["files"] = fileMembers(outcome.files);
    Json& problems = result.members["problems"] = problemMembers(outcome.files, options.directory);
    addNotes(outcome.files, result);
    addRemarks(outcome.remarks, problems, result);
    result.text = stateLines(outcome.files, terminal);
    if (outcome.cancelledTooLate)
        addProblem("It was too late to stop: the removal was finished.", options.directory,
                   problems, result);
    std::string const camera = "camera " + std::to_string(options.serial);
    if (outcome.changed) {
        result.closing.push_back("C" + camera.substr(1) +
                                 (options.dryRun ? " would be removed: " : " is removed: ") +
                                 countsOf(outcome.files) + ".");
        return result;
    }
    answerNo(result);
    addProblem("There is nothing of " + camera + " in " + options.directory + ".",
               options.directory, problems, result);
    return result;
}

} // namespace

Command const remove{
    "remove",
    "Remove a camera's files",
    "0 removed, 1 there was nothing",
    "zentho-cali remove 14080045",
    addRemoveOptions,
    runRemove,
};

} // namespace companion
