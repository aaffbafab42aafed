#include "store/WebRoot.h"

#include "sdk/set/ServerLayout.h"
#include "store/Obstacles.h"
#include "store/Stage.h"
#include "store/Stop.h"

#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace zel::store {

namespace {

constexpr char const* cannotMakeInMirror = "Cannot make the directory";
constexpr char const* cannotUseRoot = "Cannot use the mirror's directory";

/// A folder on its way to the mirror, in the hidden folder. Only there can it get its mode before
/// anybody sees it.
constexpr char const* newFolder = "folder";

/// The parts of the path of a camera's folder, from the mirror's directory on.
struct PathOfSet {
    explicit PathOfSet(unsigned long serial) {
        std::string const path = set::folderOnServer(std::to_string(serial));
        auto const first = path.find('/');
        auto const second = path.find('/', first + 1);
        outer = path.substr(0, first);
        inner = path.substr(first + 1, second - first - 1);
        name = path.substr(second + 1);
    }

    std::string outer;
    std::string inner;
    std::string name;
};

/// A directory's path in two parts.
struct PathInParts {
    std::string outer; // path of the folder that it is in
    std::string name;
};

/// @param found The directory, if it is there: links on the way to it do not count then.
PathInParts inParts(std::string const& path, Folder const& found) {
    std::string const whole =
        withoutTrailingSlashes(found.descriptor.valid() ? resolved(path) : path);
    if (whole.empty() && !path.empty())
        stop(cannotUseRoot, path, errno);
    PathInParts place{parentOf(whole), whole.substr(whole.rfind('/') + 1)};
    if (place.name.empty() || place.name == "." || place.name == "..")
        stop(cannotUseRoot, path, EINVAL);
    return place;
}

/// @return The directory if it is there. @throws Stop when something else is
Folder findRoot(std::string const& path) {
    Folder found = openFolder(path);
    if (!found.descriptor.valid() && errno != ENOENT)
        stop(cannotUseRoot, path, errno);
    return found;
}

/// @return The folder that it is in. @throws Stop when it cannot be used
Target openBeside(PathInParts const& place) {
    Folder const outer = openFolder(place.outer);
    if (!outer.descriptor.valid() && errno != ENOENT)
        stop("Cannot use the directory", place.outer, errno);
    return Target(place.outer, "." + place.name + hiddenName);
}

int exchangeFolders(Folder const& left, char const* leftName, Folder const& right,
                    char const* rightName) noexcept {
    return retried(
        [&] { return renameat2(left.get(), leftName, right.get(), rightName, RENAME_EXCHANGE); });
}

/// Moves a folder to where nothing is.
int moveFolder(Folder const& from, char const* oldName, Folder const& to,
               char const* newName) noexcept {
    return retried(
        [&] { return renameat2(from.get(), oldName, to.get(), newName, RENAME_NOREPLACE); });
}

FolderId idOfFolder(Folder const& folder) noexcept {
    struct stat status {};
    retried([&] { return fstat(folder.get(), &status); });
    return {status.st_dev, status.st_ino};
}

/// Stops because one is mounted there. @throws Stop
[[noreturn]] void stopForDisk(std::string const& path) {
    stop(FailureKind::inTheWay, "Another disk must not be mounted at", path);
}

} // namespace

WebRoot::WebRoot(std::string const& path) : m_path(path), m_folder(findRoot(path)) {
    PathInParts place = inParts(path, m_folder);
    m_beside = openBeside(place);
    m_name = std::move(place.name);
}

void WebRoot::lookAgain() {
    if (m_folder.descriptor.valid())
        return;
    m_folder = openInside(m_beside.folder(), m_name.c_str());
    m_folder.path = m_path;
}

Folder WebRoot::findSet(unsigned long serial) const {
    PathOfSet const path(serial);
    Folder folder;
    Folder const* outer = &m_folder;
    for (std::string const* const name : {&path.outer, &path.inner, &path.name}) {
        if (!outer->descriptor.valid())
            break;
        folder = openInside(*outer, name->c_str());
        outer = &folder;
    }
    return folder;
}

void WebRoot::requireOneDisk(unsigned long serial) const {
    PathOfSet const path(serial);
    if (!m_folder.descriptor.valid())
        return;
    if (!areOnOneDisk(m_folder, m_beside.folder()))
        stopForDisk(m_path);
    std::vector<Folder> folders;
    for (std::string const* const name : {&path.outer, &path.inner, &path.name}) {
        folders.push_back(openInside(folders.empty() ? m_folder : folders.back(), name->c_str()));
        if (!folders.back().descriptor.valid())
            return;
        if (!areOnOneDisk(m_folder, folders.back()))
            stopForDisk(folders.back().path);
    }
}

void WebRoot::requireExchange() const {
    Stage const stage(m_beside);
    for (char const* const name : {"0", "1"}) {
        if (retried([&] { return mkdirat(stage.folder().get(), name, publicFolder); }) != 0)
            stop(cannotMakeInMirror, stage.folder().pathOf(name), errno);
    }
    if (exchangeFolders(stage.folder(), "0", stage.folder(), "1") != 0)
        stop("Cannot exchange folders in", m_beside.folder().path,
             errno == EINVAL ? EOPNOTSUPP : errno); // what file systems without it say
}

void WebRoot::takeOver(unsigned long serial, std::function<void()> const& committed) {
    PathOfSet const path(serial);
    make();
    Folder const outer = makeInside(m_folder, path.outer);
    Folder const inner = makeInside(outer, path.inner);
    Folder const& hidden = m_beside.hidden();
    bool const isNew = !openInside(inner, path.name.c_str()).descriptor.valid();
    auto const stage = idOfFolder(openStage(m_beside));
    int const result = isNew ? moveFolder(hidden, stageName, inner, path.name.c_str())
                             : exchangeFolders(hidden, stageName, inner, path.name.c_str());
    int const error = errno;
    // It may have taken effect although an error was reported.
    if (result == 0 || idOfFolder(openInside(inner, path.name.c_str())) == stage)
        committed();
    if (result != 0)
        stop("Cannot write", inner.pathOf(path.name), error);
    flush(inner);
    flush(hidden);
    removeStage(m_beside);
}

void WebRoot::make() {
    if (m_folder.descriptor.valid())
        return;
    m_folder = makeInside(m_beside.folder(), m_name);
    m_folder.path = m_path;
}

Folder WebRoot::makeInside(Folder const& outer, std::string const& name) const {
    Folder inside = openInside(outer, name.c_str());
    if (inside.descriptor.valid())
        return inside;
    Folder const& hidden = m_beside.hidden();
    if (retried([&] { return mkdirat(hidden.get(), newFolder, publicFolder); }) != 0)
        stop(cannotMakeInMirror, hidden.pathOf(newFolder), errno);
    try {
        inside = openInside(hidden, newFolder);
        if (!inside.descriptor.valid())
            stop(cannotMakeInMirror, inside.path, ENOENT);
        giveMode(inside.get(), publicFolder, inside.path);
        inside.path = outer.pathOf(name);
        if (moveFolder(hidden, newFolder, outer, name.c_str()) != 0)
            stop(cannotMakeInMirror, inside.path, errno);
    } catch (...) {
        unlinkat(hidden.get(), newFolder, AT_REMOVEDIR);
        throw;
    }
    flush(outer);
    return inside;
}

void WebRoot::removeLeftovers() const {
    removeStage(m_beside);
    if (retried([&] { return unlinkat(m_beside.hidden().get(), newFolder, AT_REMOVEDIR); }) != 0 &&
        errno != ENOENT)
        stop("Cannot remove", m_beside.hidden().pathOf(newFolder), errno);
}

} // namespace zel::store
