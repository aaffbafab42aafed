#include "tool/companion/InstalledSet.h"

#include "tool/companion/Result.h"

#include "sdk/set/FileKinds.h"
#include "sdk/set/FileWalk.h"
#include "util/ConfigFilepath.h"
#include "util/Logger.h"

#include <cerrno>
#include <cstring>
#include <unordered_set>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace companion {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* sourceFile = "tool/companion/InstalledSet";

// A thousand times what a camera's description has. A hostile one can take 30 times its size in
// memory, which the system then takes from others.
constexpr std::size_t largestDescription = std::size_t{64} * 1024 * 1024;

/// As the installer does; the root directory keeps its slash.
std::string withoutTrailingSlash(std::string directory) {
    if (directory.size() > 1 && directory.back() == '/')
        directory.pop_back();
    return directory;
}

/// @throws Failure when the directory cannot be read, or when its path is longer than the library
/// takes: programs that use the library would not find the set.
zel::FileDescriptor openCalibrationDirectory(std::string const& directory) {
    requireCalibrationDirectory(directory, R_OK | X_OK);
    if (withoutTrailingSlash(directory).size() > zel::pathCapacity)
        throw systemFailure("Cannot use the calibration directory", directory, ENAMETOOLONG);
    return zel::FileDescriptor(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// @return The description in an open file; nothing, with the reason in the log, when there is
///         none. @throws std::bad_alloc
std::optional<Description> readLogged(zel::xml::Reader& document, OpenedFile const& opened) {
    switch (document.load(opened.file, descriptionRoot, largestDescription)) {
    case zel::xml::Loading::unreadable:
        report(LogLevel::error, sourceFile, __LINE__, "Cannot read ", opened.path, ": ",
               std::strerror(errno));
        return std::nullopt;
    case zel::xml::Loading::malformed:
        report(LogLevel::error, sourceFile, __LINE__, "The format of ", opened.path,
               " is wrong: its comments do not pair up.");
        return std::nullopt;
    case zel::xml::Loading::loaded:
        break;
    }
    report(LogLevel::debug, sourceFile, __LINE__, "Read ", opened.path, ", ",
           document.text().size(), " characters.");
    return collectDescription(document, MainSection());
}

} // namespace

void requireCalibrationDirectory(std::string const& directory, int rights) {
    requireDirectory(directory, rights, "calibration directory",
                     "'mkdir -p " + directory + "' makes it; -t names another one.");
}

std::string howToFetch(Options const& options) {
    std::string const serial = std::to_string(options.serial);
    std::string target;
    if (options.directory != Options().directory)
        target = " -t " + options.directory;
    return "'zentho-cali download " + serial + target + "' or 'zentho-cali-install -d" + serial +
           " -s DIR" + target + "' fetches what is missing.";
}

InstalledSet::InstalledSet(std::string const& directory, unsigned long serial)
    : m_serial(serial), m_path(withoutTrailingSlash(directory)),
      m_directory(openCalibrationDirectory(directory)),
      m_descriptionName(zel::set::descriptionName(static_cast<int>(serial)).view()),
      m_descriptionFile(open(m_descriptionName)) {
    if (m_descriptionFile.file.valid()) {
        m_description = readLogged(m_document, m_descriptionFile);
    } else {
        report(LogLevel::debug, sourceFile, __LINE__, "Cannot open ", m_descriptionFile.path, ": ",
               std::strerror(m_descriptionFile.look.error));
    }
}

Description const* InstalledSet::description() const {
    return m_description && m_description->optics.size() > 0 ? &*m_description : nullptr;
}

std::vector<std::string> InstalledSet::names() const {
    if (!m_description)
        return {m_descriptionName};
    std::vector<std::string> names;
    std::unordered_set<std::string> known;
    zel::set::forEachFile(*m_description, static_cast<int>(m_serial),
                          [&](zel::set::FileKind, zel::set::FileName const& name) {
                              auto const [place, isNew] = known.emplace(name.view());
                              if (isNew)
                                  names.push_back(*place);
                          });
    return names;
}

Look InstalledSet::look(std::string const& name) const {
    return name == m_descriptionName ? m_descriptionFile.look : lookAt(m_directory.get(), name);
}

OpenedFile InstalledSet::open(std::string const& name) const {
    return openFile(m_directory.get(), name, path(name));
}

std::vector<LookedAtFile> InstalledSet::lookAtAll() const {
    std::vector<LookedAtFile> files;
    for (std::string& name : names()) {
        Look const seen = look(name);
        files.push_back({std::move(name), seen});
    }
    return files;
}

bool InstalledSet::isMissing(LookedAtFile const& file) const {
    return file.look.error != 0 || (!m_description && file.name == m_descriptionName);
}

std::vector<std::string> InstalledSet::missing(std::vector<LookedAtFile> const& files) const {
    std::vector<std::string> names;
    for (LookedAtFile const& file : files) {
        if (isMissing(file))
            names.push_back(file.name);
    }
    return names;
}

std::vector<std::string> InstalledSet::remarks(std::vector<LookedAtFile> const& files) const {
    std::vector<std::string> remarks;
    if (m_description && description() == nullptr) {
        remarks.push_back("The description " + path(m_descriptionName) +
                          " names no optic, so it asks for no files.");
    }
    for (LookedAtFile const& file : files) {
        if (!isMissing(file) || !file.look.there)
            continue;
        std::string why = "cannot be read as a description; -v tells why";
        if (file.look.error != 0)
            why = std::string("cannot be read: ") + std::strerror(file.look.error);
        remarks.push_back(path(file.name) + " is there, but " + why + ".");
    }
    for (LookedAtFile const& file : files) {
        if (file.look.empty)
            remarks.push_back(path(file.name) + " is empty, which counts as there.");
    }
    return remarks;
}

std::vector<std::string> InstalledSet::whyNoDescription(Options const& options) const {
    auto notes = remarks({{m_descriptionName, m_descriptionFile.look}});
    notes.push_back("There is no description " + path(m_descriptionName) + " to read. " +
                    howToFetch(options));
    return notes;
}

} // namespace companion
