#include "tool/companion/Choices.h"

#include "tool/companion/Answers.h"
#include "tool/companion/Files.h"
#include "tool/companion/Hints.h"
#include "tool/companion/Messages.h"

#include "sdk/manager/CameraSearch.h"
#include "sdk/set/FileKinds.h"
#include "store/CalibrationStore.h"

#include <utility>

namespace companion {

namespace {

using zel::store::ProgressCallback;
using zel::store::Source;

Failure severalCameras(std::set<unsigned long> const& cameras, Options const& options) {
    std::vector<std::string> commands;
    commands.reserve(cameras.size());
    for (unsigned long const camera : cameras)
        commands.push_back(again(options, {std::to_string(camera)}));
    std::string const text = listed({cameras.begin(), cameras.end()});
    return {"Several cameras are attached: " + text, "", "", {"Name one:", commands}};
}

/// A source with more cameras would fill the screen.
constexpr std::size_t mostNamed = 20;

/// @return How to choose cameras of the source, if one was given and it holds any.
Hint howToChoose(Options const& options, ProgressLine& progress) {
    std::vector<std::string> commands;
    if (!options.source.empty()) {
        auto const opened = Source::open(options.source, progress.callback(), options.directory);
        std::vector<unsigned long> cameras;
        if (opened.source)
            cameras =
                zel::store::camerasOf(*opened.source, progress.callback(), programsFor(options))
                    .cameras;
        for (unsigned long const camera : cameras) {
            if (cameras.size() <= mostNamed)
                commands.push_back(again(options, {std::to_string(camera)}));
        }
        if (!cameras.empty())
            commands.push_back(again(options, {"--all"}));
    }
    if (commands.empty())
        return {"Add a serial number, or --all for every camera that the stick holds."};
    return {"The source holds these cameras:", commands};
}

Source openSource(Options const& options, ProgressCallback const& progress) {
    auto opened = Source::open(options.source, progress, options.directory);
    if (opened.failure)
        throw failureBeforeChange(*opened.failure, options);
    return std::move(*opened.source);
}

Failure severalSources(std::vector<Source> const& sources, Options const& options) {
    std::string paths;
    std::vector<std::string> commands;
    for (Source const& source : sources) {
        paths += (paths.empty() ? "" : ", ") + source.path();
        commands.push_back(again(options, {"-s", source.path()}));
    }
    return {"Several mounted media hold it: " + paths, "", "", {"Name one:", commands}};
}

Failure noSource(unsigned long serial) {
    std::string what = "the description of a camera";
    if (serial != 0)
        what = "the description of camera " + std::to_string(serial);
    return {"No medium that is mounted below /media, /run/media or /mnt holds " + what,
            "",
            "",
            {"-s names a directory or an archive that does."}};
}

} // namespace

zel::store::Programs programsFor(Options const& options) {
    zel::store::Programs programs;
    programs.requireSandbox = options.requireSandbox;
    return programs;
}

std::optional<std::set<unsigned long>> attachedCameras() {
    std::set<unsigned long> cameras;
    int const error = zel::forEachCamera([&](zel::CameraEntry const& entry) {
        if (entry.error == 0 && zel::set::isSerial(entry.serial))
            cameras.insert(entry.serial);
        return true;
    });
    if (error != 0)
        return std::nullopt;
    return cameras;
}

unsigned long chosenCamera(Options const& options, ProgressLine& progress) {
    if (options.serial != 0)
        return options.serial;
    auto const cameras = attachedCameras();
    if (cameras && cameras->size() == 1)
        return *cameras->begin();
    if (cameras && !cameras->empty())
        throw severalCameras(*cameras, options);
    throw Failure{"No camera is attached", "", "", howToChoose(options, progress)};
}

Source chosenSource(unsigned long serial, Options const& options, ProgressLine& progress,
                    std::vector<zel::store::Remark>& remarks) {
    if (!options.source.empty())
        return openSource(options, progress.callback());
    auto found = zel::store::findMedia(serial, progress.callback(), options.directory);
    remarks = std::move(found.remarks);
    if (found.failure)
        throw failureBeforeChange(*found.failure, options);
    if (found.sources.empty())
        throw noSource(serial);
    if (found.sources.size() > 1)
        throw severalSources(found.sources, options);
    progress.clear();
    say("Taking the files from " + found.sources.front().path() + ".");
    return std::move(found.sources.front());
}

} // namespace companion
