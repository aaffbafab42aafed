#include "store/SetList.h"

#include "sdk/set/FileKinds.h"
#include "store/Copies.h"
#include "store/InstallPlan.h"
#include "store/InstalledFiles.h"
#include "store/Layout.h"
#include "store/SetCheck.h"
#include "store/Stop.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <utility>

#include <fcntl.h>

namespace zel::store {

namespace {

/// The names in a calibration directory, by camera.
using NamesByCamera = std::map<unsigned long, std::vector<std::string>>;

/// A camera counts as installed when it has a description, a record or a journal.
NamesByCamera installedCameras(Target const& target) {
    NamesByCamera names;
    int const error = forEachEntry(target.folder().get(), [&](char const* name, unsigned char) {
        auto const owner = set::ownerOf(name);
        if (owner && set::belongsTo(name, *owner))
            names[*owner].emplace_back(name);
    });
    if (error != 0)
        stop("Cannot list", target.folder().path, error);
    auto const known = target.knownCameras();
    for (auto camera = names.begin(); camera != names.end();) {
        auto const description = set::descriptionName(camera->first);
        bool const isDescribed = std::find(camera->second.begin(), camera->second.end(),
                                           description.view()) != camera->second.end();
        bool const isInstalled = isDescribed || known.count(camera->first) != 0;
        camera = isInstalled ? std::next(camera) : names.erase(camera);
    }
    for (unsigned long const serial : known)
        names.try_emplace(serial);
    return names;
}

std::vector<Optic> opticsOf(std::optional<Description> const& description) {
    std::vector<Optic> optics;
    if (!description)
        return optics;
    for (OpticsDefinition const& optic : description->optics)
        optics.push_back({optic.FOV, optic.Text != nullptr ? optic.Text.get() : ""});
    return optics;
}

void addUp(ListedCamera& camera, Target const& target, std::vector<std::string> const& names) {
    for (std::string const& name : names) {
        struct stat status {};
        if (retried([&] { return fstatat(target.folder().get(), name.c_str(), &status, 0); }) !=
                0 ||
            !S_ISREG(status.st_mode))
            continue;
        ++camera.files;
        camera.bytes += static_cast<std::uint64_t>(status.st_size);
    }
}

ListedCamera lookAtInstalled(Target const& target, unsigned long serial,
                             std::vector<std::string> const& names) {
    ListedCamera camera;
    camera.serial = serial;
    bool const isOpen = lookSteadily(target, serial, [&](OpenedFile const& description) {
        SetLook look = lookAtSet(target, serial, description);
        camera.complete = look.problems.empty();
        camera.optics = opticsOf(look.description);
        camera.date.reset();
        if (look.record)
            camera.date = look.record->date;
        camera.problems = std::move(look.problems);
    });
    if (isOpen) {
        camera.complete = false;
        camera.problems = {interruption(serial)};
    }
    addUp(camera, target, names);
    return camera;
}

ListedCamera lookAtHeld(SourceTree const& tree, unsigned long serial, Reporter& reporter) {
    ListedCamera camera;
    camera.serial = serial;
    std::vector<std::string> asked{std::string(set::descriptionName(serial).view())};
    Target const nothing;
    try {
        InstallPlan const plan =
            makePlan(tree, serial, InstalledFiles(nothing, serial), InstallOptions(), reporter);
        camera.complete = plan.complete;
        if (plan.newDescription) {
            camera.optics = opticsOf(plan.newDescription->description);
            asked = plan.newDescription->names.all();
        }
        if (plan.refused)
            camera.problems = plan.files;
    } catch (Stop const& stopped) {
        if (stopped.failure.kind != FailureKind::system)
            throw;
        camera.problems.push_back({asked.front(),
                                   FileState::unreadable,
                                   0,
                                   {stopped.failure.path},
                                   std::strerror(stopped.failure.error)});
    }
    CopiesByName const held(tree.filesOf(serial), asked);
    for (auto const& [name, copies] : held.all()) {
        ++camera.files;
        camera.bytes += tree.sizeOf(*copies.files.front());
    }
    return camera;
}

} // namespace

std::vector<ListedCamera> listInstalled(Target const& target) {
    std::vector<ListedCamera> cameras;
    for (auto const& [serial, names] : installedCameras(target))
        cameras.push_back(lookAtInstalled(target, serial, names));
    return cameras;
}

std::vector<ListedCamera> listHeld(SourceTree const& tree, Reporter& reporter) {
    std::vector<ListedCamera> cameras;
    for (unsigned long const serial : tree.cameras())
        cameras.push_back(lookAtHeld(tree, serial, reporter));
    return cameras;
}

} // namespace zel::store
