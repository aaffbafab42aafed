#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"

#include "sdk/IRCalibrationManager.h"
#include "util/FileDescriptor.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace companion {

namespace {

using Names = std::vector<std::string>;

bool holds(Names const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// Locks out other downloads: all keep their links in the same file of this directory.
/// @return The lock, held as long as the descriptor is open.
zel::FileDescriptor lockOutOtherDownloads() {
    zel::FileDescriptor directory(open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid())
        throw systemFailure("Cannot use", "/tmp", errno);
    if (flock(directory.get(), LOCK_EX | LOCK_NB) != 0)
        throw systemFailure("Cannot lock", "/tmp", errno, "Another download is under way.");
    return directory;
}

/// What cannot be used of a set. `wget` leaves an empty file for what the server lacks, and the
/// library takes it, like a description without optics, for one that is there.
Names unusable(InstalledSet const& set) {
    Names names = set.missing();
    auto const add = [&](std::string const& name) {
        if (!holds(names, name))
            names.push_back(name);
    };
    if (set.description() == nullptr)
        add(set.descriptionName());
    for (std::string const& name : set.wanted()) {
        if (isEmptyFile(set.path(name)))
            add(name);
    }
    return names;
}

/// Fetches what the library finds missing, and before that the empty files that it would keep.
bool fetch(InstalledSet const& set, unsigned long serial) {
    std::string emptyFiles;
    for (std::string const& name : set.wanted()) {
        if (isEmptyFile(set.path(name)))
            emptyFiles += name + ";";
    }
    if (!emptyFiles.empty()) {
        zel::IRCalibrationManager::downloadTarget(emptyFiles.c_str(), std::to_string(serial), ".");
        forgetDescription(); // another one may have come
    }
    return manager().downloadCalibration(serial);
}

/// An empty file that was not there before is what `wget` left; nobody else can want it.
void removeLeftovers(std::set<std::string> const& before, Names const& names) {
    for (std::string const& name : names) {
        if (before.count(name) == 0 && isEmptyFile(name))
            unlink(name.c_str());
    }
}

/// What can be used now and could not be before.
Names gained(std::set<std::string> const& before, Names const& unusableBefore,
             Names const& wantedNow, Names const& unusableNow) {
    Names names;
    for (std::string const& name : wantedNow) {
        bool const usableBefore = before.count(name) != 0 && !holds(unusableBefore, name);
        if (!usableBefore && !holds(unusableNow, name))
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
    // The directory reaches a shell, which would take blanks and other characters in it apart.
    WorkingDirectory const home;
    if (chdir(options.directory.c_str()) != 0) {
        // Only when it went away since it was looked at.
        throw systemFailure("Cannot use the calibration directory", // GCOVR_EXCL_LINE
                            options.directory, errno);              // GCOVR_EXCL_LINE
    }
    useDirectory(".");

    InstalledSet const setBefore(options.serial);
    auto const before = namesIn(".");
    Names const unusableBefore = unusable(setBefore);
    bool const fetched = unusableBefore.empty() || fetch(setBefore, options.serial);

    InstalledSet const set(options.serial);
    Names const missing = unusable(set);
    Names const installed = gained(before, unusableBefore, set.wanted(), missing);
    removeLeftovers(before, missing);

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
