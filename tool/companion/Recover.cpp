#include "tool/companion/Answers.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Hints.h"
#include "tool/companion/ProgressLine.h"

#include "store/CalibrationStore.h"

#include <utility>

namespace companion {

namespace {

using Camera = zel::store::RecoverOutcome::Camera;

Json tell(Camera const& camera, Options const& options, Terminal const& terminal, Result& result) {
    Json members;
    members["serial"] = camera.serial;
    members["complete"] = camera.complete;
    members["files"] = fileMembers(camera.files);
    members["problems"] = problemMembers(camera.files, options.directory);
    addNotes(camera.files, result);
    addRemarks(camera.remarks, members["problems"], result);
    result.text += stateLines(camera.files, terminal);
    std::string const serial = std::to_string(camera.serial);
    if (camera.complete) {
        result.closing.push_back("What was interrupted for camera " + serial + " is completed.");
        return members;
    }
    answerNo(result);
    addProblem("What was interrupted for camera " + serial +
                   " cannot be completed: staged files are gone or damaged.",
               options.directory, members["problems"], result);
    addHint(result, howToFetch(camera.serial, options.directory));
    return members;
}

void addRecoverOptions(CLI::App& parser, Options& options) {
    addDirectory(parser, options);
    addNoWait(parser, options);
}

Result runRecover(Options const& options, Terminal const& terminal) {
    zel::store::CalibrationStore store(options.directory);
    ProgressLine progress(options.directory);
    auto const outcome = store.recover(!options.noWait, progress.callback());

    Result result;
    result.members["directory"] = options.directory;
    result.members["changed"] = outcome.changed;
    Json problems = Json::array();
    Json cameras = Json::array();
    for (Camera const& camera : outcome.cameras)
        cameras.push_back(tell(camera, options, terminal, result));
    if (outcome.failure)
        addFailure(result, failureBeforeChange(*outcome.failure, options));
    else if (!outcome.changed)
        result.closing.emplace_back("Nothing was interrupted.");
    else if (outcome.cameras.empty())
        addProblem("What a process that ended had staged is removed.", options.directory, problems,
                   result);
    result.members["problems"] = std::move(problems);
    result.members["cameras"] = std::move(cameras);
    return result;
}

} // namespace

Command const recover{
    "recover",
    "Complete what was interrupted, without the stick",
    "0 done, also when there was nothing, 1 files are lost",
    "zentho-cali recover",
    addRecoverOptions,
    runRecover,
};

} // namespace companion
