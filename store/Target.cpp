#include "store/Target.h"

#include "sdk/set/FileKinds.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace zel::store {

namespace {

constexpr char const* cannotMake = "Cannot make the directory";

/// @return Whether an open folder has been deleted.
bool wasRemoved(Folder const& folder) noexcept {
    struct stat status {};
    return fstat(folder.get(), &status) == 0 && status.st_nlink == 0;
}

} // namespace

Folder openInside(Folder const& folder, char const* name) {
    Folder inside{FileDescriptor(retried([&] {
                      return openat(folder.get(), name,
                                    O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
                  })),
                  folder.pathOf(name)};
    if (inside.descriptor.valid() || errno == ENOENT)
        return inside;
    if (errno == ENOTDIR || errno == ELOOP)
        stop(FailureKind::inTheWay,
             "There must be a folder of our own, but there is a file or a link:", inside.path);
    stop("Cannot open", inside.path, errno);
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string parentOf(std::string const& path) {
    auto const slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return withoutTrailingSlashes(path.substr(0, slash));
}

Target::Target(std::string const& path, std::string hidden)
    : m_folder(openFolder(path)), m_hiddenName(std::move(hidden)) {
    if (!exists() && errno != ENOENT)
        stop("Cannot use the calibration directory", path, errno);
    if (exists())
        openHidden();
}

void Target::openHidden() {
    m_hidden = openInside(m_folder, m_hiddenName.c_str());
    struct stat inside {};
    struct stat outside {};
    if (hasHidden() && retried([&] { return fstat(m_hidden.get(), &inside); }) == 0 &&
        retried([&] { return fstat(m_folder.get(), &outside); }) == 0 &&
        inside.st_dev != outside.st_dev) // rename(2) does not work across file systems
        stop(FailureKind::inTheWay, "Another disk must not be mounted at", m_hidden.path);
}

void Target::require() const {
    if (!exists())
        stop("Cannot use the calibration directory", m_folder.path, ENOENT);
}

void Target::make() {
    if (!exists() || wasRemoved(m_folder)) {
        makeFolder(withoutTrailingSlashes(m_folder.path));
        m_folder = openFolder(m_folder.path);
        if (!exists())
            stop(cannotMake, m_folder.path, errno);
    }
    openHidden();
    if (hasHidden()) // a killed process may have left it with a mode cut by its umask
        return giveMode(m_hidden.get(), publicFolder, m_hidden.path);
    if (retried([&] { return mkdirat(m_folder.get(), m_hiddenName.c_str(), publicFolder); }) != 0 &&
        errno != EEXIST)
        stop(cannotMake, m_hidden.path, errno);
    openHidden();
    if (!hasHidden())
        stop(cannotMake, m_folder.pathOf(m_hiddenName), ENOENT);
    giveMode(m_hidden.get(), publicFolder, m_hidden.path);
    flush(m_folder);
}

void Target::makeFolder(std::string const& path) {
    auto const tryToMake = [&] {
        return retried([&] { return mkdir(path.c_str(), publicFolder); }) == 0;
    };
    std::string const parent = parentOf(path);
    if (!tryToMake()) {
        if (errno == EEXIST)
            return;
        if (errno != ENOENT || parent == path)
            stop(cannotMake, path, errno);
        makeFolder(parent);
        if (!tryToMake()) {
            if (errno != EEXIST)
                stop(cannotMake, path, errno);
            return; // made by somebody else meanwhile, or "." or ".."
        }
    }
    m_made.push_back(path);
    Folder const made = openFolder(path);
    Folder const outer = openFolder(parent);
    if (!made.descriptor.valid() || !outer.descriptor.valid())
        stop(cannotMake, path, errno);
    giveMode(made.get(), publicFolder, path);
    flush(outer);
}

void Target::removeIfUnused() noexcept {
    try {
        removeHiddenIfUnused();
    } catch (...) {
        // Without memory to look, it stays.
    }
    removeEmpty();
}

void Target::removeEmpty() noexcept {
    unlinkat(m_folder.get(), m_hiddenName.c_str(), AT_REMOVEDIR);
    for (auto path = m_made.rbegin(); path != m_made.rend(); ++path)
        rmdir(path->c_str());
}

void Target::removeHiddenIfUnused() {
    if (!hasHidden())
        return;
    bool used = false;
    int const error = forEachEntry(m_hidden.get(), [&](std::string_view name, unsigned char) {
        used = used || name != lockName;
    });
    if (used || error != 0)
        return;
    unlinkat(m_hidden.get(), lockName, 0);
    if (unlinkat(m_folder.get(), m_hiddenName.c_str(), AT_REMOVEDIR) != 0)
        return;
    m_hidden = Folder();
    fsync(m_folder.get());
}

std::vector<std::string> Target::namesOf(unsigned long serial) const {
    std::vector<std::string> names;
    int const error = forEachEntry(m_folder.get(), [&](char const* name, unsigned char) {
        if (set::belongsTo(name, serial))
            names.emplace_back(name);
    });
    if (error != 0)
        stop("Cannot list", m_folder.path, error);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<unsigned long> Target::openTransactions() const {
    std::vector<unsigned long> cameras;
    forEachHidden([&](char const* name) {
        if (auto const serial = serialOfJournal(name))
            cameras.push_back(*serial);
    });
    std::sort(cameras.begin(), cameras.end());
    return cameras;
}

std::vector<std::string> Target::unfinishedJournals() const {
    std::vector<std::string> names;
    forEachHidden([&](std::string_view name) {
        auto const journal = besideWhat(name);
        if (journal && serialOfJournal(*journal))
            names.emplace_back(name);
    });
    return names;
}

std::set<unsigned long> Target::knownCameras() const {
    std::set<unsigned long> cameras;
    forEachHidden([&](char const* name) {
        auto const journal = serialOfJournal(name);
        if (auto const serial = journal ? journal : serialOfRecord(name))
            cameras.insert(*serial);
    });
    return cameras;
}

void Target::forEachHidden(std::function<void(char const* name)> const& visit) const {
    if (!hasHidden())
        return;
    int const error =
        forEachEntry(m_hidden.get(), [&](char const* name, unsigned char) { visit(name); });
    if (error != 0)
        stop("Cannot list", m_hidden.path, error);
}

bool Target::isOpen(unsigned long serial) const {
    return hidesFile(journalName(serial));
}

bool Target::hasRecord(unsigned long serial) const {
    return hidesFile(recordName(serial));
}

bool Target::hidesFile(std::string const& name) const {
    if (!hasHidden())
        return false;
    struct stat status {};
    if (retried([&] {
            return fstatat(m_hidden.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
        }) == 0)
        return true;
    if (errno != ENOENT)
        stop("Cannot look at", m_hidden.pathOf(name), errno);
    return false;
}

} // namespace zel::store
