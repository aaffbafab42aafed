#include "tool/companion/InstalledSet.h"

#include "tool/companion/Answers.h"
#include "tool/companion/Files.h"
#include "tool/companion/Hints.h"

#include "sdk/set/FileKinds.h"
#include "sdk/set/FileWalk.h"
#include "store/CalibrationStore.h"
#include "util/ConfigFilepath.h"
#include "util/Logger.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_set>
#include <utility>

#include <unistd.h>

namespace companion {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* sourceFile = "tool/companion/InstalledSet";

/// As the installer does; the root directory keeps its slash.
std::string withoutTrailingSlash(std::string directory) {
    if (directory.size() > 1 && directory.back() == '/')
        directory.pop_back();
    return directory;
}

/// @throws Failure when the directory cannot be read, or when its path is longer than the library
/// takes: programs that use the library would not find the set.
void requireUsable(std::string const& directory) {
    requireCalibrationDirectory(directory, R_OK | X_OK);
    if (withoutTrailingSlash(directory).size() > zel::pathCapacity)
        throw systemFailure("Cannot use the calibration directory", directory, ENAMETOOLONG);
}

} // namespace

void requireCalibrationDirectory(std::string const& directory, int rights) {
    requireDirectory(directory, rights, "calibration directory", howToMakeDirectory(directory));
}

InstalledSet::InstalledSet(std::string const& directory, unsigned long serial)
    : m_serial(serial), m_path(withoutTrailingSlash(directory)),
      m_descriptionName(zel::set::descriptionName(serial).view()) {
    requireUsable(directory);
    read(pathIn(m_path, m_descriptionName));
}

/// What is wrong goes into the log as well.
void InstalledSet::read(std::string const& path) {
    auto const file = zel::FileDescriptor::openForReading(path.c_str());
    if (!file.valid()) {
        int const error = errno;
        report(LogLevel::debug, sourceFile, __LINE__, "Cannot open ", path, ": ",
               std::strerror(error));
        if (error != ENOENT)
            m_whyNot = path + " cannot be read: " + std::strerror(error) + ".";
        return;
    }
    switch (m_document.load(file, descriptionRoot, largestDescription)) {
    case zel::xml::Loading::unreadable:
        m_whyNot = path + " cannot be read: " + std::strerror(errno) + ".";
        break;
    case zel::xml::Loading::malformed:
        m_whyNot = "The format of " + path + " is wrong: its comments do not pair up.";
        break;
    case zel::xml::Loading::loaded:
        report(LogLevel::debug, sourceFile, __LINE__, "Read ", path, ", ", m_document.text().size(),
               " characters.");
        m_description = collectDescription(m_document, MainSection());
        if (description() == nullptr)
            m_whyNot = "The description " + path + " names no optic.";
        return;
    }
    report(LogLevel::error, sourceFile, __LINE__, m_whyNot);
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

zel::store::FileState
InstalledSet::stateOfDescription(std::vector<zel::store::File> const& problems) const {
    using zel::store::FileState;
    bool const interrupted = std::any_of(problems.begin(), problems.end(), [](auto const& file) {
        return file.state == FileState::interrupted;
    });
    if (interrupted)
        return FileState::interrupted;
    return m_whyNot.empty() ? FileState::missing : FileState::unreadable;
}

void InstalledSet::tellNoDescription(Options const& options, Result& result) const {
    answerNo(result);
    std::string const path = pathIn(m_path, m_descriptionName);
    auto const problems = zel::store::CalibrationStore(options.directory).check(m_serial).problems;
    char const* const state = word(stateOfDescription(problems));
    result.members["problems"].push_back({{"name", m_descriptionName},
                                          {"state", state},
                                          {"path", path},
                                          {"message", m_whyNot.empty() ? state : m_whyNot}});
    if (!m_whyNot.empty())
        result.notes.push_back(m_whyNot);
    result.closing.push_back("There is no description " + path + " to read.");
    addHint(result, whatHelps(m_serial, problems, options));
}

std::string opticText(OpticsDefinition const& optic) {
    std::string text = std::to_string(optic.FOV);
    if (optic.Text != nullptr && optic.Text[0] != '\0')
        text += std::string(" ") + optic.Text.get();
    return text;
}

} // namespace companion
