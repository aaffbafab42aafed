#include "tool/companion/InstalledSet.h"

#include "tool/companion/Files.h"
#include "tool/companion/Result.h"

#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <sstream>

#include <unistd.h>

namespace companion {

namespace {

ConfigCali& descriptions() {
    return orBadAlloc(ConfigCali::getInstance());
}

/// As the installer does; the root directory keeps its slash.
std::string withoutTrailingSlash(std::string directory) {
    if (directory.size() > 1 && directory.back() == '/')
        directory.pop_back();
    return directory;
}

/// @return The names of a list in which each has a ';' behind it, each name once.
std::vector<std::string> namesOf(char const* list) {
    std::vector<std::string> names;
    std::istringstream pieces(list);
    for (std::string name; std::getline(pieces, name, ';');) {
        // The library gives an empty name when it has no memory for the list.
        orBadAlloc(name.empty() ? nullptr : &name);
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    return names;
}

} // namespace

zel::IRCalibrationManager& manager() {
    return orBadAlloc(zel::IRCalibrationManager::getInstance());
}

void requireCalibrationDirectory(std::string const& directory, int rights) {
    requireDirectory(directory, rights, "calibration directory",
                     "'mkdir -p " + directory + "' makes it; -t names another one.");
}

void useDirectory(std::string const& directory) {
    requireCalibrationDirectory(directory, R_OK | X_OK);
    std::string const text = withoutTrailingSlash(directory);
    manager().setCalibrationDir(text.c_str());
    if (manager().getCalibrationDir() != text)
        throw systemFailure("Cannot use the calibration directory", directory, ENAMETOOLONG);
}

void forgetDescription() {
    descriptions().loaded = false;
}

std::string howToFetch(Options const& options) {
    std::string const serial = std::to_string(options.serial);
    bool const byDefault = options.directory == Options().directory;
    std::string const target = byDefault ? "" : " -t " + options.directory;
    return "'zentho-cali download " + serial + target + "' or 'zentho-cali-install -d" + serial +
           " -s DIR" + target + "' fetches what is missing.";
}

InstalledSet::InstalledSet(unsigned long serial)
    : m_serial(serial), m_descriptionName("Cali-" + std::to_string(serial) + ".xml") {
    forgetDescription();
    m_loaded = descriptions().load(manager().getCalibrationDir(), static_cast<int>(serial)) == 0;
}

ConfigCali const* InstalledSet::description() const {
    return m_loaded && descriptions().getOpticsCount() > 0 ? &descriptions() : nullptr;
}

std::vector<std::string> InstalledSet::missing() const {
    std::unique_ptr<char[]> const list(manager().checkCalibration(m_serial));
    return list != nullptr ? namesOf(list.get()) : std::vector<std::string>();
}

std::vector<std::string> InstalledSet::wanted() const {
    if (!m_loaded)
        return {m_descriptionName};
    // Nothing exists below a file, so all that the loaded description asks for is missing there.
    // Without a mounted /proc nothing exists either, nor can the library make it.
    auto const check = [this](char* out, int& size) {
        manager().checkCaliFiles("/proc/self/exe", static_cast<int>(m_serial), out, &size,
                                 "Cali-%i.xml", "Cali-%s.dat", "Kennlinie-%s.prn", ";");
    };
    int size = 0;
    check(nullptr, size);
    std::vector<char> list(static_cast<std::size_t>(size) + 1);
    check(list.data(), size);
    auto names = namesOf(list.data());
    names.insert(names.begin(), m_descriptionName);
    return names;
}

std::string InstalledSet::path(std::string const& name) const {
    return std::string(manager().getCalibrationDir()) + "/" + name;
}

std::vector<std::string> InstalledSet::remarks() const {
    std::vector<std::string> remarks;
    std::string const descriptionPath = path(m_descriptionName);
    if (m_loaded && description() == nullptr) {
        remarks.push_back("The description " + descriptionPath +
                          " names no optic, so it asks for no files.");
    }
    for (std::string const& name : missing()) {
        if (access(path(name).c_str(), F_OK) != 0)
            continue;
        std::string const why = access(path(name).c_str(), R_OK) != 0
                                    ? std::string("cannot be read: ") + std::strerror(errno)
                                    : "cannot be read as a description; -v tells why";
        remarks.push_back(path(name) + " is there, but " + why + ".");
    }
    for (std::string const& name : wanted()) {
        if (isEmptyFile(path(name)))
            remarks.push_back(path(name) + " is empty, which counts as there.");
    }
    return remarks;
}

std::vector<std::string> InstalledSet::whyNoDescription(Options const& options) const {
    auto notes = remarks();
    notes.push_back("There is no description " + path(m_descriptionName) + " to read. " +
                    howToFetch(options));
    return notes;
}

} // namespace companion
