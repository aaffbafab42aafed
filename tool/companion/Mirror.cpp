#include "tool/companion/Answers.h"
#include "tool/companion/Choices.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Hints.h"
#include "tool/companion/ProgressLine.h"

#include "store/CalibrationStore.h"
#include "store/LinksFile.h"
#include "store/Mirror.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

namespace companion {

namespace {

using zel::store::FailureKind;
using zel::store::File;
using zel::store::FileState;
using zel::store::MirroredCamera;
using zel::store::MirrorOutcome;
using zel::store::Remark;
using zel::store::Source;

Json blankMirrorMembers(Options const& options) {
    Json members;
    members["source"] = options.source;
    members["directory"] = options.directory;
    members["changed"] = false;
    members["complete"] = false;
    members["cameras"] = Json::array();
    members["files"] = Json::array();
    members["problems"] = Json::array();
    return members;
}

/// @return What to do about what stood in the way; nothing when nothing is known to help.
Hint hintForMirror(zel::store::Failure const& store, Options const& options) {
    if (store.kind != FailureKind::system)
        return {};
    if (store.error == EOPNOTSUPP)
        return {"File systems such as ext4, xfs and btrfs can do that."};
    if (store.path == "gpg" && store.error == ENOENT)
        return {"--sign-with needs the package gpg."};
    bool const isOfSource = store.path.compare(0, options.source.size(), options.source) == 0;
    bool const rightsAreMissing = store.error == EACCES || store.error == EPERM;
    return rightsAreMissing && !isOfSource ? asRoot(options) : Hint();
}

Failure failureOfMirror(zel::store::Failure const& store, bool changed, Options const& options) {
    Failure failure = failureOf(store, options);
    if (failure.hint.empty())
        failure.hint = hintForMirror(store, options);
    if (store.kind == FailureKind::cancelled)
        failure.message += changed ? "; some sets were changed" : "; nothing was changed";
    return failure;
}

/// @return Such as ": 2 changed, 1 not written"; empty without cameras.
std::string counted(std::vector<MirroredCamera> const& cameras) {
    constexpr std::array<char const*, 3> words{" changed", " unchanged", " not written"};
    std::array<std::size_t, words.size()> numbers{};
    for (MirroredCamera const& camera : cameras)
        ++numbers.at(camera.changed ? 0 : 1 + static_cast<std::size_t>(!camera.complete));
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (numbers.at(i) != 0)
            text.append(text.empty() ? ": " : ", ")
                .append(std::to_string(numbers.at(i)))
                .append(words.at(i));
    }
    return text;
}

std::string closingSentenceOfMirror(MirrorOutcome const& outcome, Options const& options) {
    if (!outcome.changed && outcome.complete)
        return "The mirror is unchanged and complete.";
    std::string text = options.dryRun ? "The mirror would " : "The mirror is ";
    text += outcome.complete ? "" : "not ";
    text += options.dryRun ? "be complete" : "complete";
    return text + counted(outcome.cameras) + ".";
}

/// There may be a million files, so nothing is made that is not shown.
void addMirroredFiles(std::vector<File> const& files, Options const& options,
                      Terminal const& terminal, Result& result) {
    addNotes(files, result);
    if (options.json) {
        for (Json& member : fileMembers(files))
            result.members["files"].push_back(std::move(member));
        for (Json& member : problemMembers(files, options.source))
            result.members["problems"].push_back(std::move(member));
        return;
    }
    for (File const& file : files) {
        if (file.state != FileState::unchanged)
            result.text += stateLine(file.name, file.state, terminal);
    }
}

void tellMirroredCamera(MirroredCamera const& camera, Options const& options,
                        Terminal const& terminal, Result& result) {
    Json members{
        {"serial", camera.serial}, {"changed", camera.changed}, {"complete", camera.complete}};
    addMirroredFiles(camera.files, options, terminal, result);
    addRemarks(camera.remarks, result.members["problems"], result);
    if (camera.failure) {
        Failure failure = failureOfMirror(*camera.failure, camera.changed, options);
        members["error"] = failureMembers(failure);
        if (result.failure)
            addProblem("Camera " + std::to_string(camera.serial) + ": " + sentence(failure),
                       camera.failure->path, result.members["problems"], result);
        addFailure(result, std::move(failure));
    }
    result.members["cameras"].push_back(std::move(members));
}

bool lacksFiles(MirrorOutcome const& outcome) {
    return std::any_of(outcome.cameras.begin(), outcome.cameras.end(), [](auto const& camera) {
        return std::any_of(camera.files.begin(), camera.files.end(),
                           [](File const& file) { return file.state == FileState::missing; });
    });
}

void tellMirror(MirrorOutcome const& outcome, Source const& source, Options const& options,
                Terminal const& terminal, Result& result) {
    result.members["changed"] = outcome.changed;
    result.members["complete"] = outcome.complete;
    for (MirroredCamera const& camera : outcome.cameras)
        tellMirroredCamera(camera, options, terminal, result);
    if (outcome.links)
        addMirroredFiles({*outcome.links}, options, terminal, result);
    if (outcome.failure)
        return addFailure(result, failureOfMirror(*outcome.failure, outcome.changed, options));
    result.closing.push_back(closingSentenceOfMirror(outcome, options));
    if (!options.all && !source.cameras().empty() && lacksFiles(outcome))
        addHeldCameras(source.cameras(), source.path(), result.members["problems"], result);
    if (!outcome.complete)
        answerNo(result);
}

void mirrorFrom(Source const& source, Options const& options, ProgressLine& progress,
                Terminal const& terminal, Result& result) {
    if (options.all && source.archive() == nullptr && source.cameras().empty()) {
        requireSuccess(zel::store::listSource(source, {}).failure, options);
        addProblem(source.path() + " holds no camera's description.", source.path(),
                   result.members["problems"], result);
        return answerNo(result);
    }
    zel::store::MirrorOptions asked;
    asked.url = options.url;
    asked.signKey = options.signKey;
    asked.dryRun = options.dryRun;
    asked.wait = !options.noWait;
    auto const outcome =
        zel::store::mirror(options.directory, options.all ? source.cameras() : options.serials,
                           source, asked, progress.callback());
    tellMirror(outcome, source, options, terminal, result);
}

void addMirrorOptions(CLI::App& parser, Options& options) {
    addSerialsOrAll(parser, options, "Every camera whose description the stick holds");
    require(addSource(parser, options, ""));
    require(addText(parser, "-o,--output", "DIR", options.directory,
                    "The mirror: the directory that a web server serves"));
    addText(parser, "--url", "URL", options.url,
            "Write downloadlinks.xml, for a mirror that is served at this address",
            zel::store::whyNotLinked);
    addText(parser, "--sign-with", "KEY", options.signKey,
            "Have gpg sign the index of each set with this key");
    addDryRun(parser, options);
    addNoWait(parser, options);
}

Result runMirror(Options const& options, Terminal const& terminal) {
    if (!options.all && options.serials.empty())
        throw Failure{"Which sets? Name serial numbers, or --all",
                      "",
                      "",
                      {"This tells what fits:", {"zentho-cali mirror --help"}},
                      Status::wrongUsage};
    Result result;
    result.members = blankMirrorMembers(options);
    ProgressLine progress(options.directory);
    try {
        std::vector<Remark> remarks;
        Source const source = chosenSource(0, options, progress, remarks);
        mirrorFrom(source, options, progress, terminal, result);
    } catch (Failure& failure) {
        addFailure(result, std::move(failure));
    }
    return result;
}

} // namespace

Command const mirror{
    "mirror",
    "Make or update a mirror that any web server can serve",
    "0 complete now, 1 not: files are missing or damaged there",
    "zentho-cali mirror -s /media/usbstick --all -o /srv/www/cali",
    addMirrorOptions,
    runMirror,
};

} // namespace companion
