#include "tool/companion/Answers.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/FileState.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"
#include "tool/companion/ProgressLine.h"
#include "tool/companion/Signals.h"

#include "sdk/IRCalibrationManager.h"
#include "sdk/set/FileKinds.h"
#include "store/CalibrationStore.h"
#include "util/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace companion {

namespace {

using zel::store::CalibrationStore;
using zel::store::File;
using zel::store::FileState;
using Files = std::vector<File>;
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
        throw systemFailure("Cannot lock", "/tmp", errno, Hint{"Another download is under way."});
    return directory;
}

/// @return The library's manager. @throws std::bad_alloc
zel::IRCalibrationManager& manager() {
    auto* const manager = zel::IRCalibrationManager::getInstance();
    return manager != nullptr ? *manager : throw std::bad_alloc();
}

/// Makes a directory the working directory for a while: the library puts its path into a shell
/// command without quotes, and "." needs none.
class WorkingDirectory {
public:
    explicit WorkingDirectory(std::string const& directory)
        : m_before(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        if (chdir(directory.c_str()) != 0) {
            // Only when the directory vanished after it was checked.
            throw systemFailure("Cannot use the calibration directory", // GCOVR_EXCL_LINE
                                directory, errno);                      // GCOVR_EXCL_LINE
        }
    }
    ~WorkingDirectory() {
        if (!m_before.valid() || fchdir(m_before.get()) != 0)
            return; // GCOVR_EXCL_LINE: only when the directory was removed meanwhile
    }
    WorkingDirectory(WorkingDirectory const&) = delete;
    WorkingDirectory& operator=(WorkingDirectory const&) = delete;

private:
    zel::FileDescriptor m_before;
};

/// The files of the set in the working directory.
struct Findings {
    Names wanted;   ///< the whole set
    Names empty;    ///< files without content
    Names unusable; ///< files that keep the set from being complete, also the empty ones
    Files problems; ///< these once more, as the check told them
};

/// Looks at the set in the working directory. `wget` leaves an empty file for what the server
/// lacks; the library takes that, like a description without optics, for a file that is there.
Findings examineSet(unsigned long serial) {
    Findings findings;
    findings.wanted = InstalledSet(".", serial).names();
    findings.problems = CalibrationStore(".").check(serial).problems;
    for (File const& problem : findings.problems) {
        findings.unusable.push_back(problem.name);
        if (problem.state == FileState::empty)
            findings.empty.push_back(problem.name);
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

/// What became of the set.
struct Download {
    bool wentThrough = true;
    Names gained;
    Findings now;
};

Download downloadInto(Options const& options) {
    WorkingDirectory const working(options.directory);
    auto const before = namesIn(".");
    Findings const findingsBefore = examineSet(options.serial);
    Download fetched;
    if (!findingsBefore.unusable.empty())
        fetched.wentThrough = fetch(findingsBefore, options.serial);
    fetched.now = examineSet(options.serial);
    fetched.gained = gained(before, findingsBefore, fetched.now);
    removeLeftovers(before, fetched.now, options.serial);
    for (File& problem : fetched.now.problems) { // these leftovers
        if (problem.state == FileState::empty && before.count(problem.name) == 0)
            problem.state = FileState::missing;
    }
    return fetched;
}

/// What the store completed before the download has to be told as well.
void tellRecovered(zel::store::RecoverOutcome const& recovered, Result& result) {
    for (auto const& camera : recovered.cameras) {
        zel::store::Remark const whole{
            "", "What was interrupted for camera " + std::to_string(camera.serial) +
                    (camera.complete ? " is completed." : " could not be completed.")};
        addRemarks({whole}, result.members["problems"], result);
        addRemarks(camera.remarks, result.members["problems"], result);
    }
}

/// Nobody may take the record of the installation for that of the new files.
void dropRecord(zel::store::DirectoryLock& lock, Options const& options) {
    requireSuccess(lock.dropRecord(options.serial), options);
}

void addDownloadOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addDirectory(parser, options);
    addNoWait(parser, options);
}

zel::store::LockOutcome lockDirectory(Options const& options) {
    ProgressLine progress(options.directory);
    auto outcome =
        CalibrationStore(options.directory).lockForOthers(!options.noWait, progress.callback());
    if (outcome.failure)
        throw failureBeforeChange(*outcome.failure, options);
    releaseSignals(); // wget would go on without us
    return outcome;
}

Result runDownload(Options const& options, Terminal const& terminal) {
    requireCalibrationDirectory(options.directory, R_OK | W_OK | X_OK);
    auto lock = lockDirectory(options);
    zel::FileDescriptor const otherDownloads = lockOutOtherDownloads();
    Download const fetched = downloadInto(options);
    if (!fetched.gained.empty())
        dropRecord(lock.lock, options);

    Files files;
    for (std::string const& name : fetched.gained)
        files.push_back({name, FileState::installed, 0, {}, ""});
    Files const& problems = fetched.now.problems;
    files.insert(files.end(), problems.begin(), problems.end());
    Result result = answerAbout(options.serial, options.directory);
    result.members["changed"] = !fetched.gained.empty();
    result.members["complete"] = problems.empty();
    result.members["files"] = fileMembers(files);
    result.members["problems"] = problemMembers(problems, options.directory);
    tellRecovered(lock.recovered, result);
    addNotes(problems, result);
    result.text = stateLines(files, terminal);
    if (!fetched.wentThrough)
        addProblem("The download did not go through; -v tells why.", options.directory,
                   result.members["problems"], result);
    if (!problems.empty()) {
        answerNo(result);
        result.closing.emplace_back("Not complete.");
    }
    return result;
}

} // namespace

Command const download{
    "download",
    "Download the files that are missing of a set",
    "0 complete afterwards, 1 not",
    "zentho-cali download 14080045",
    addDownloadOptions,
    runDownload,
};

} // namespace companion
