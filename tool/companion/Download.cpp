#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"

#include "sdk/IRCalibrationManager.h"
#include "sdk/set/FileKinds.h"
#include "util/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace companion {

namespace {

using Names = std::vector<std::string>;

bool holds(Names const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// Locks out other downloads, since all keep their links in the same file of "/tmp".
/// @return The lock, held as long as the descriptor is open.
zel::FileDescriptor lockOutOtherDownloads() {
    zel::FileDescriptor directory(open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid())
        throw systemFailure("Cannot use", "/tmp", errno);
    if (flock(directory.get(), LOCK_EX | LOCK_NB) != 0)
        throw systemFailure("Cannot lock", "/tmp", errno, "Another download is under way.");
    return directory;
}

/// @return The library's manager. @throws std::bad_alloc
zel::IRCalibrationManager& manager() {
    auto* const manager = zel::IRCalibrationManager::getInstance();
    return manager != nullptr ? *manager : throw std::bad_alloc();
}

/// The files of the set in the working directory.
struct Findings {
    Names wanted;   ///< the whole set
    Names empty;    ///< files without content
    Names unusable; ///< missing files, a description without optics, and the empty files
};

/// Looks at the set in the working directory. `wget` leaves an empty file for what the server
/// lacks; the library takes that, like a description without optics, for a file that is there.
Findings examineSet(unsigned long serial) {
    InstalledSet const set(".", serial);
    auto const files = set.lookAtAll();
    Findings findings;
    findings.unusable = set.missing(files);
    for (LookedAtFile const& file : files) {
        bool const useless = file.name == set.descriptionName() && set.description() == nullptr;
        findings.wanted.push_back(file.name);
        if (file.look.empty)
            findings.empty.push_back(file.name);
        if (!set.isMissing(file) && (useless || file.look.empty))
            findings.unusable.push_back(file.name);
    }
    return findings;
}

/// The text of an optic, which comes from outside, is a part of the names. It can make them lead to
/// another directory, or contain the character that separates the names of a list.
/// @return Whether a name may be fetched or removed.
bool isPlainName(std::string const& name, unsigned long serial) {
    return zel::set::belongsTo(name, serial) && name.find_first_of("/;") == std::string::npos;
}

/// Fetches what the library finds missing, and before that the empty files that it would keep.
bool fetch(Findings const& findings, unsigned long serial) {
    std::string emptyFiles;
    for (std::string const& name : findings.empty) {
        if (isPlainName(name, serial))
            emptyFiles += name + ";";
    }
    if (!emptyFiles.empty())
        zel::IRCalibrationManager::downloadTarget(emptyFiles.c_str(), std::to_string(serial), ".");
    manager().setCalibrationDir(".");
    return manager().downloadCalibration(serial);
}

/// Removes the empty files of the set that were not there before: `wget` left them for files that
/// the server lacks.
void removeLeftovers(std::set<std::string> const& before, Findings const& now,
                     unsigned long serial) {
    for (std::string const& name : now.empty) {
        if (before.count(name) == 0 && isPlainName(name, serial))
            unlink(name.c_str());
    }
}

/// What can be used now and could not be before.
Names gained(std::set<std::string> const& before, Findings const& findingsBefore,
             Findings const& now) {
    Names names;
    for (std::string const& name : now.wanted) {
        bool const usableBefore = before.count(name) != 0 && !holds(findingsBefore.unusable, name);
        if (!usableBefore && !holds(now.unusable, name))
            names.push_back(name);
    }
    return names;
}

void tell(Result& result, Terminal const& terminal, FileState state, Names const& names) {
    result.members[jsonName(state)] = names;
    for (std::string const& name : names)
        result.text += stateLine(name, state, terminal);
}

void addOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addDirectory(parser, options);
}

Result run(Options const& options, Terminal const& terminal) {
    requireCalibrationDirectory(options.directory, R_OK | W_OK | X_OK);
    zel::FileDescriptor const lock = lockOutOtherDownloads();
    // The library puts the directory into a shell command without quotes. "." needs none.
    if (chdir(options.directory.c_str()) != 0) {
        // Only when the directory vanished after it was checked.
        throw systemFailure("Cannot use the calibration directory", // GCOVR_EXCL_LINE
                            options.directory, errno);              // GCOVR_EXCL_LINE
    }

    auto const before = namesIn(".");
    Findings const findingsBefore = examineSet(options.serial);
    bool const fetched = findingsBefore.unusable.empty() || fetch(findingsBefore, options.serial);

    Findings const now = examineSet(options.serial);
    Names const& missing = now.unusable;
    Names const installed = gained(before, findingsBefore, now);
    removeLeftovers(before, now, options.serial);

    Result result = answerAbout(options.serial, options.directory);
    result.members["complete"] = missing.empty();
    tell(result, terminal, FileState::installed, installed);
    tell(result, terminal, FileState::stillMissing, missing);
    if (!fetched)
        result.notes.emplace_back("The download did not go through; -v tells why.");
    if (!missing.empty()) {
        result.status = Status::no;
        result.notes.emplace_back("Not complete.");
    }
    return result;
}

} // namespace

Command const download{
    "download",
    "Download the files that are missing of a set",
    "0 complete afterwards, 1 not",
    "zentho-cali download 14080045",
    addOptions,
    run,
};

} // namespace companion
