#include "tool/companion/Answers.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"

#include "store/CalibrationStore.h"

namespace companion {

namespace {

using zel::store::CalibrationStore;
using Files = std::vector<zel::store::File>;

/// Tells what keeps one camera's set from being complete.
void tell(unsigned long serial, bool complete, Files const& problems, Options const& options,
          Terminal const& terminal, Json& members, Result& result) {
    members["complete"] = complete;
    members["problems"] = problemMembers(problems, options.directory);
    addNotes(problems, result);
    result.text += stateLines(problems, terminal);
    std::string const camera = "Camera " + std::to_string(serial);
    if (complete && terminal.interactive)
        result.text += camera + ": " + terminal.green("complete") + "\n";
    if (complete)
        return;
    answerNo(result);
    result.closing.push_back(camera + " is not complete: " + countsOf(problems) + ".");
    addHint(result, whatHelps(serial, problems, options));
}

Result checkOne(Options const& options, Terminal const& terminal) {
    auto const outcome = CalibrationStore(options.directory).check(options.serial);
    requireSuccess(outcome.failure, options);
    Result result = answerAbout(options.serial, options.directory);
    tell(options.serial, outcome.complete, outcome.problems, options, terminal, result.members,
         result);
    addRemarks(outcome.remarks, result.members["problems"], result);
    return result;
}

Result checkAll(Options const& options, Terminal const& terminal) {
    auto const outcome = CalibrationStore(options.directory).list();
    requireSuccess(outcome.failure, options);
    Result result;
    result.members["directory"] = options.directory;
    Json& cameras = result.members["cameras"] = Json::array();
    for (auto const& camera : outcome.cameras) {
        Json members;
        members["serial"] = camera.serial;
        tell(camera.serial, camera.complete, camera.problems, options, terminal, members, result);
        cameras.push_back(std::move(members));
    }
    if (outcome.cameras.empty())
        result.closing.push_back("No camera's set is installed in " + options.directory + ".");
    return result;
}

void addCheckOptions(CLI::App& parser, Options& options) {
    addOptionalSerial(parser, options);
    addDirectory(parser, options);
}

Result runCheck(Options const& options, Terminal const& terminal) {
    return options.serial != 0 ? checkOne(options, terminal) : checkAll(options, terminal);
}

} // namespace

Command const check{
    "check",
    "List what keeps installed sets from being complete, by names and sizes",
    "0 complete, 1 not",
    "zentho-cali check 14080045",
    addCheckOptions,
    runCheck,
};

} // namespace companion
