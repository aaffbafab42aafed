#include "tool/companion/Answers.h"
#include "tool/companion/Choices.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/ProgressLine.h"

#include "store/CalibrationStore.h"

#include <optional>
#include <utility>

namespace companion {

namespace {

using zel::store::CalibrationStore;
using zel::store::Source;
using zel::store::VerifyOutcome;

Json sourceMember(Options const& options) {
    return options.source.empty() ? Json(nullptr) : Json(options.source);
}

std::optional<Source> openSource(Options const& options, ProgressLine& progress) {
    if (options.source.empty())
        return std::nullopt;
    auto opened = Source::open(options.source, progress.callback(), options.directory);
    requireSuccess(opened.failure, options);
    return std::move(opened.source);
}

std::string closingSentence(unsigned long serial, VerifyOutcome const& outcome) {
    std::string const text = "Camera " + std::to_string(serial) + ": " + countsOf(outcome.files);
    return text + (outcome.complete ? "; complete." : "; not complete.");
}

VerifyOutcome compare(unsigned long serial, std::optional<Source> const& source,
                      Options const& options, ProgressLine& progress) {
    CalibrationStore const store(options.directory, programsFor(options));
    if (source)
        return store.verify(serial, *source, progress.callback());
    return store.verify(serial, progress.callback());
}

void tell(unsigned long serial, VerifyOutcome const& outcome, Options const& options,
          Terminal const& terminal, Json& members, Result& result) {
    members["complete"] = outcome.complete;
    if (options.json) // there may be thousands of files
        members["files"] = fileMembers(outcome.files);
    else
        result.text += stateLines(outcome.files, terminal);
    members["problems"] = problemMembers(outcome.files, options.directory);
    addNotes(outcome.files, result);
    addRemarks(outcome.remarks, members["problems"], result);
    if (!outcome.same || !outcome.complete)
        answerNo(result);
    result.closing.push_back(closingSentence(serial, outcome));
}

Result verifyOne(Options const& options, Terminal const& terminal) {
    ProgressLine progress(options.directory);
    auto const source = openSource(options, progress);
    auto const outcome = compare(options.serial, source, options, progress);
    requireSuccess(outcome.failure, options);
    Result result = answerAbout(options.serial, options.directory);
    result.members["source"] = sourceMember(options);
    tell(options.serial, outcome, options, terminal, result.members, result);
    return result;
}

Result verifyAll(Options const& options, Terminal const& terminal) {
    auto const installed = CalibrationStore(options.directory).list();
    requireSuccess(installed.failure, options);
    ProgressLine progress(options.directory);
    auto const source = openSource(options, progress);
    Result result;
    result.members["directory"] = options.directory;
    result.members["source"] = sourceMember(options);
    Json& cameras = result.members["cameras"] = Json::array();
    for (auto const& camera : installed.cameras) {
        auto const outcome = compare(camera.serial, source, options, progress);
        Json members;
        members["serial"] = camera.serial;
        if (outcome.failure) {
            auto failure = failureOf(*outcome.failure, options);
            members["error"] = failureMembers(failure);
            addFailure(result, std::move(failure));
        } else {
            tell(camera.serial, outcome, options, terminal, members, result);
        }
        cameras.push_back(std::move(members));
        if (outcome.failure && outcome.failure->kind == zel::store::FailureKind::cancelled)
            break;
    }
    if (installed.cameras.empty())
        result.closing.push_back("No camera's set is installed in " + options.directory + ".");
    return result;
}

void addVerifyOptions(CLI::App& parser, Options& options) {
    addOptionalSerial(parser, options);
    addSourceOrArchive(parser, options, "; without it, the record of the installation counts");
    addDirectory(parser, options);
}

Result runVerify(Options const& options, Terminal const& terminal) {
    return options.serial != 0 ? verifyOne(options, terminal) : verifyAll(options, terminal);
}

} // namespace

Command const verify{
    "verify",
    "Compare every byte of installed sets with their record, or with a stick",
    "0 all the same and complete, 1 otherwise",
    "zentho-cali verify 14080045 -s /media/usbstick",
    addVerifyOptions,
    runVerify,
};

} // namespace companion
