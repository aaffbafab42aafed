#include "tool/companion/Answers.h"
#include "tool/companion/Choices.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/ProgressLine.h"
#include "tool/companion/Table.h"

#include "store/CalibrationStore.h"

#include <algorithm>

namespace companion {

namespace {

using zel::store::CalibrationStore;
using zel::store::ListedCamera;
using zel::store::ListOutcome;
using zel::store::Optic;
using zel::store::Source;

std::string opticsText(std::vector<Optic> const& optics) {
    std::string text;
    for (Optic const& optic : optics) {
        text += (text.empty() ? "" : ", ") + std::to_string(optic.fieldOfView);
        if (!optic.text.empty())
            text += " " + optic.text;
    }
    return text;
}

Json opticMembers(std::vector<Optic> const& optics) {
    Json members = Json::array();
    for (Optic const& optic : optics)
        members.push_back({{"fieldOfView", optic.fieldOfView}, {"text", optic.text}});
    return members;
}

/// Whether a camera is attached; nothing when that is not known.
std::optional<bool> isAttached(unsigned long serial,
                               std::optional<std::set<unsigned long>> const& attached) {
    if (!attached)
        return std::nullopt;
    return attached->count(serial) != 0;
}

std::string attachedText(std::optional<bool> attached) {
    if (!attached)
        return "?";
    return *attached ? "yes" : "no";
}

Json membersOf(ListedCamera const& camera, std::optional<bool> attached, std::string const& place) {
    Json members;
    members["serial"] = camera.serial;
    members["complete"] = camera.complete;
    members["problems"] = problemMembers(camera.problems, place);
    members["optics"] = opticMembers(camera.optics);
    members["files"] = camera.files;
    members["bytes"] = camera.bytes;
    members["date"] = camera.date ? Json(*camera.date) : Json(nullptr);
    members["attached"] = attached ? Json(*attached) : Json(nullptr);
    return members;
}

Table::Cells rowOf(ListedCamera const& camera, std::optional<bool> attached) {
    std::string complete = "yes";
    if (!camera.complete)
        complete = "no: " + countsOf(camera.problems);
    return {std::to_string(camera.serial), complete,
            std::to_string(camera.files),  std::to_string(camera.bytes),
            camera.date.value_or("-"),     attachedText(attached),
            opticsText(camera.optics)};
}

ListOutcome listOf(Options const& options) {
    if (options.source.empty())
        return CalibrationStore(options.directory).list();
    ProgressLine progress(options.directory);
    auto opened = Source::open(options.source, progress.callback());
    requireSuccess(opened.failure, options);
    return zel::store::listSource(*opened.source, progress.callback(), programsFor(options));
}

void addListOptions(CLI::App& parser, Options& options) {
    addSourceOrArchive(parser, options, "; without it, what is installed is listed");
    addDirectory(parser, options);
}

Result runList(Options const& options, Terminal const& terminal) {
    auto const outcome = listOf(options);
    requireSuccess(outcome.failure, options);
    bool const ofSource = !options.source.empty();
    std::string const& place = ofSource ? options.source : options.directory;
    auto const attached = attachedCameras();

    Result result;
    result.members["directory"] = ofSource ? Json(nullptr) : Json(options.directory);
    result.members["source"] = ofSource ? Json(options.source) : Json(nullptr);
    addRemarks(outcome.remarks, result.members["problems"] = Json::array(), result);
    Json& cameras = result.members["cameras"] = Json::array();
    constexpr Span noBars{1, 0};
    Table table({"SERIAL", "COMPLETE", "FILES", "BYTES", "DATE", "ATTACHED", "OPTICS"}, noBars);
    for (ListedCamera const& camera : outcome.cameras) {
        auto const isHere = isAttached(camera.serial, attached);
        cameras.push_back(membersOf(camera, isHere, place));
        addNotes(camera.problems, result);
        table.add(rowOf(camera, isHere), noBars);
    }
    if (!outcome.cameras.empty())
        result.text = table.render(terminal);
    else if (ofSource)
        result.closing.push_back(place + " holds no camera's description.");
    else
        result.closing.push_back("No camera's set is installed in " + place + ".");
    return result;
}

} // namespace

Command const list{
    "list",         "List the cameras whose sets are installed, or are on a stick",
    "0 listed",     "zentho-cali list",
    addListOptions, runList,
};

} // namespace companion
