#include "tool/companion/Answers.h"
#include "tool/companion/Choices.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Hints.h"
#include "tool/companion/ProgressLine.h"
#include "tool/companion/Signals.h"

#include "store/CalibrationStore.h"

#include <algorithm>
#include <utility>

namespace companion {

namespace {

using zel::store::CalibrationStore;
using zel::store::File;
using zel::store::FileState;
using zel::store::InstallOutcome;
using zel::store::Remark;
using zel::store::Source;

Json textOrNull(std::string const& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

/// What is known of a camera before anything was done.
Json blankMembers(Options const& options) {
    Json members;
    members["serial"] = options.serial != 0 ? Json(options.serial) : Json(nullptr);
    members["directory"] = options.directory;
    members["source"] = textOrNull(options.source);
    members["changed"] = false;
    members["complete"] = false;
    members["bytes"] = 0;
    members["files"] = Json::array();
    members["problems"] = Json::array();
    return members;
}

/// @return Whether the set is complete now, and as the source has it.
bool isWhole(InstallOutcome const& outcome) {
    return outcome.complete && std::none_of(outcome.files.begin(), outcome.files.end(),
                                            [](File const& file) { return isProblem(file.state); });
}

std::string closingSentence(unsigned long serial, InstallOutcome const& outcome,
                            Options const& options) {
    std::string text = "Camera " + std::to_string(serial);
    std::string const counts = countsOf(outcome.files);
    if (!outcome.changed && isWhole(outcome))
        return text + " is unchanged and complete.";
    if (!outcome.changed) // what is installed may be complete all the same
        return text + (options.dryRun ? " would not be changed: " : " was not changed: ") + counts +
               ".";
    text += options.dryRun ? " would be" : " is";
    return text + (outcome.complete ? " complete: " : " not complete: ") + counts + ".";
}

/// @return Whether nothing but missing data keeps the set from being installed.
bool partialHelps(InstallOutcome const& outcome, std::string const& description) {
    auto const& files = outcome.files;
    return !outcome.changed && std::all_of(files.begin(), files.end(), [&](File const& file) {
        return !isProblem(file.state) ||
               (file.state == FileState::missing && file.name != description);
    });
}

void tellShortcomings(unsigned long serial, InstallOutcome const& outcome, Options const& options,
                      Result& result) {
    answerNo(result);
    std::string const description = "Cali-" + std::to_string(serial) + ".xml";
    if (!options.partial && partialHelps(outcome, description))
        addHint(result, {"This installs what there is:", {again(options, {"--partial"})}});
}

/// Tells what stood in the way. What the store had planned by then became of no file.
void tellFailure(unsigned long serial, InstallOutcome const& outcome, Options const& options,
                 Json& members, Result& result) {
    addRemarks(outcome.remarks, members["problems"], result);
    Failure failure = failureOfChange(serial, outcome, options);
    if (options.all)
        members["error"] = failureMembers(failure);
    addFailure(result, std::move(failure));
}

void tell(unsigned long serial, Source const& source, InstallOutcome const& outcome,
          Options const& options, Json& members, Terminal const& terminal, Result& result) {
    members["changed"] = outcome.changed;
    if (outcome.failure)
        return tellFailure(serial, outcome, options, members, result);
    members["complete"] = outcome.complete;
    members["bytes"] = newBytes(outcome.files);
    if (options.json) // there may be thousands of files
        members["files"] = fileMembers(outcome.files);
    else
        result.text += stateLines(outcome.files, terminal);
    Json& problems = members["problems"] = problemMembers(outcome.files, source.path());
    addNotes(outcome.files, result);
    addRemarks(outcome.remarks, problems, result);
    if (outcome.cancelledTooLate)
        addProblem("It was too late to stop: the installation was finished.", options.directory,
                   problems, result);
    result.closing.push_back(closingSentence(serial, outcome, options));
    if (!options.all && !outcome.cameras.empty())
        addHeldCameras(outcome.cameras, source.path(), problems, result);
    if (!isWhole(outcome))
        tellShortcomings(serial, outcome, options, result);
}

/// Installs a camera's set and tells what became of it.
/// @return What stood in the way; nothing when it ran to its end.
std::optional<zel::store::Failure> installOne(unsigned long serial, Source const& source,
                                              Options const& options, ProgressLine& progress,
                                              Json& members, Terminal const& terminal,
                                              Result& result) {
    zel::store::InstallOptions asked;
    asked.partial = options.partial;
    asked.prune = options.prune;
    asked.dryRun = options.dryRun;
    asked.wait = !options.noWait;
    CalibrationStore store(options.directory, programsFor(options));
    auto const outcome = store.install(serial, source, asked, progress.callback());
    members["serial"] = serial;
    members["source"] = source.path();
    tell(serial, source, outcome, options, members, terminal, result);
    return outcome.failure;
}

void installChosen(Options const& options, ProgressLine& progress, Terminal const& terminal,
                   Result& result) {
    unsigned long const serial = chosenCamera(options, progress);
    result.members["serial"] = serial;
    std::vector<Remark> remarks;
    try {
        Source const source = chosenSource(serial, options, progress, remarks);
        installOne(serial, source, options, progress, result.members, terminal, result);
    } catch (Failure& failure) {
        addFailure(result, std::move(failure));
    }
    addRemarks(remarks, result.members["problems"], result);
}

/// @return Whether the next camera would meet the same.
bool concernsAll(zel::store::Failure const& failure) {
    using zel::store::FailureKind;
    return failure.kind == FailureKind::cancelled || failure.kind == FailureKind::locked ||
           failure.kind == FailureKind::noMemory;
}

/// Tells that a source holds no camera, or that it may hold some where it cannot be searched.
void tellNoCamera(Source const& source, Options const& options, Result& result) {
    requireSuccess(zel::store::listSource(source, {}, programsFor(options)).failure, options);
    addProblem(source.path() + " holds no camera's description.", source.path(),
               result.members["problems"], result);
}

void installEach(Source const& source, Options const& options, ProgressLine& progress,
                 Terminal const& terminal, Result& result) {
    auto const held = zel::store::camerasOf(source, progress.callback(), programsFor(options));
    if (held.failure)
        throw failureBeforeChange(*held.failure, options);
    addRemarks(held.remarks, result.members["problems"], result);
    auto const& serials = held.cameras;
    bool changed = false;
    bool complete = !serials.empty();
    for (unsigned long const serial : serials) {
        progress.setSourceNeeded(serial != serials.back());
        Json members = blankMembers(options);
        auto const failure =
            installOne(serial, source, options, progress, members, terminal, result);
        changed = changed || members["changed"];
        complete = complete && members["complete"] && !failure;
        result.members["cameras"].push_back(std::move(members));
        if ((failure && concernsAll(*failure)) || (shouldStop() && serial != serials.back())) {
            complete = false;
            break;
        }
    }
    result.members["changed"] = changed;
    result.members["complete"] = complete;
    if (!complete)
        answerNo(result);
    if (serials.empty())
        tellNoCamera(source, options, result);
}

void installAll(Options const& options, ProgressLine& progress, Terminal const& terminal,
                Result& result) {
    std::vector<Remark> remarks;
    result.members["cameras"] = Json::array();
    try {
        Source const source = chosenSource(0, options, progress, remarks);
        result.members["source"] = source.path();
        installEach(source, options, progress, terminal, result);
    } catch (Failure& failure) {
        addFailure(result, std::move(failure));
    }
    addRemarks(remarks, result.members["problems"], result);
}

void addInstallOptions(CLI::App& parser, Options& options) {
    addSerialOrAll(parser, options, "Every camera whose description the stick holds");
    addSourceOrArchive(parser, options,
                       "; without it, the mounted medium that holds the description");
    addDirectory(parser, options);
    addFlag(parser, "--partial", options.partial,
            "Install what there is although files are missing");
    addFlag(parser, "--prune", options.prune,
            "Remove files of the camera that neither stick nor description names");
    addDryRun(parser, options);
    addNoWait(parser, options);
}

Result runInstall(Options const& options, Terminal const& terminal) {
    Result result;
    ProgressLine progress(options.directory);
    result.members = blankMembers(options);
    if (options.all) {
        for (char const* const member : {"serial", "bytes", "files"})
            result.members.erase(member);
        installAll(options, progress, terminal, result);
        return result;
    }
    try {
        installChosen(options, progress, terminal, result);
    } catch (Failure& failure) {
        addFailure(result, std::move(failure));
    }
    return result;
}

} // namespace

Command const install{
    "install",
    "Install a camera's whole set from a stick, or nothing at all",
    "0 complete, 1 not: files are missing or damaged there",
    "zentho-cali install 14080045 -s /media/usbstick",
    addInstallOptions,
    runInstall,
};

} // namespace companion
