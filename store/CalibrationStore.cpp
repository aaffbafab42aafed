#include "store/CalibrationStore.h"

#include "sdk/set/FileKinds.h"
#include "store/InstallPlan.h"
#include "store/InstalledFiles.h"
#include "store/Layout.h"
#include "store/Lock.h"
#include "store/Publication.h"
#include "store/Reporter.h"
#include "store/SetCheck.h"
#include "store/SetList.h"
#include "store/SetVerify.h"
#include "store/SourceTree.h"
#include "store/Stage.h"
#include "store/Stop.h"
#include "store/Target.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace zel::store {

namespace {

/// The names of a hostile source can take as much room as their files.
constexpr std::uint64_t roomBesideFiles = 65536;

/// @return Whether an interruption left something, apart from open transactions.
bool hasLeftovers(Target const& target) {
    return hasStage(target) || !target.unfinishedJournals().empty();
}

/// Completes the transactions that are open, and removes what a dead process staged.
RecoverOutcome recoverLocked(Target const& target) {
    RecoverOutcome outcome;
    for (unsigned long const serial : target.openTransactions()) {
        outcome.cameras.push_back(complete(target, serial));
        outcome.changed = true;
    }
    outcome.changed = hasLeftovers(target) || outcome.changed;
    removeStage(target);
    for (std::string const& name : target.unfinishedJournals())
        removeFile(target.hidden(), name.c_str());
    return outcome;
}

/// Removes what a dead process left, for an operation that has nothing else to do: so without
/// waiting, and only where that can be done.
void tidyUp(Target& target) {
    try {
        if (!hasLeftovers(target))
            return;
        ProgressCallback const nobody;
        Reporter reporter(nobody);
        FileDescriptor const lock = takeLock(target, false, reporter);
        recoverLocked(target);
        target.removeIfUnused();
    } catch (Stop const&) {
        // Somebody else is at work there, or may do it next time.
    }
}

void addRemarks(std::vector<Remark>& remarks, RecoverOutcome const& recovered) {
    for (auto const& camera : recovered.cameras) {
        std::string const serial = std::to_string(camera.serial);
        remarks.insert(remarks.end(), camera.remarks.begin(), camera.remarks.end());
        remarks.push_back(
            {"", camera.complete ? "An interrupted change of camera " + serial + " was completed."
                                 : "An interrupted change of camera " + serial +
                                       " could not be completed; its description was taken out."});
    }
}

/// @return The nearest folder above a path that exists, the path itself first.
std::string nearestFolder(std::string path) {
    struct stat status {};
    while (stat(path.c_str(), &status) != 0 && errno == ENOENT && parentOf(path) != path)
        path = parentOf(path);
    return path;
}

std::uint64_t roundedUp(std::uint64_t bytes, std::uint64_t block) noexcept {
    return (bytes + block - 1) / block * block;
}

/// @throws Stop when the disk lacks the room for what is going to be staged.
void requireRoom(std::string const& directory, InstallPlan const& plan) {
    struct statvfs disk {};
    if (retried([&] { return statvfs(nearestFolder(directory).c_str(), &disk); }) != 0 ||
        disk.f_blocks == 0)
        return; // a file system that does not tell
    std::uint64_t const block = std::max<std::uint64_t>(disk.f_frsize, 1);
    std::uint64_t needed = roomBesideFiles;
    for (File const& file : plan.files) {
        if (file.state == FileState::installed || file.state == FileState::replaced)
            needed += roundedUp(file.bytes, block);
    }
    std::uint64_t const available = disk.f_bavail * block;
    if (needed <= available)
        return;
    Failure failure;
    failure.kind = FailureKind::noRoom;
    failure.message = "There is not enough room in";
    failure.path = directory;
    failure.error = ENOSPC;
    failure.needed = needed;
    failure.available = available;
    throw Stop{std::move(failure)};
}

/// Copies a file of the source into the stage. @throws Stop also when it is not what the plan saw.
StagedFile stageFile(Stage& stage, SourceTree const& tree, FileToStage const& file,
                     Reporter& reporter) {
    OpenedFile const opened = tree.open(file.source);
    std::string const path = tree.shownPath(file.source);
    if (opened.error != 0)
        stop("Cannot read", path, opened.error);
    StagedFile staged = stage.add(opened, path, file.name, reporter);
    if (staged.size != opened.size() || (file.digest && *file.digest != staged.digest))
        stop("The file changed while it was copied:", path, EIO);
    reporter.fileDone();
    return staged;
}

/// Brings one camera's set in.
class Installation {
public:
    Installation(std::string const& directory, unsigned long serial, SourceTree const& tree,
                 InstallOptions const& options, Reporter& reporter, InstallOutcome& outcome)
        : m_directory(directory), m_serial(serial), m_tree(tree), m_options(options),
          m_reporter(reporter), m_outcome(outcome) {}

    void run() {
        Target target(m_directory);
        bool const isOpen = target.exists() && !target.openTransactions().empty();
        if (!isOpen || m_options.dryRun) {
            InstallPlan const plan = makePlanFor(target);
            bool const isNothing = isFinished(plan, target);
            if (m_options.dryRun)
                m_outcome.changed = !isNothing;
            else if (isNothing)
                tidyUp(target);
            if (isNothing || m_options.dryRun)
                return;
        }
        FileDescriptor const lock = takeLock(target, m_options.wait, m_reporter);
        try {
            runLocked(target);
        } catch (...) {
            target.removeIfUnused();
            throw;
        }
        target.removeIfUnused();
    }

private:
    InstallPlan makePlanFor(Target const& target) {
        return makePlan(m_tree, m_serial, InstalledFiles(target, m_serial), m_options, m_reporter);
    }

    /// Tells what the plan says. @return Whether there is nothing to do.
    bool isFinished(InstallPlan const& plan, Target const& target) {
        m_outcome.files = plan.files;
        m_outcome.remarks = m_recoveryRemarks;
        m_outcome.remarks.insert(m_outcome.remarks.end(), plan.remarks.begin(), plan.remarks.end());
        bool const lacks = std::any_of(plan.files.begin(), plan.files.end(), [](File const& file) {
            return file.state == FileState::missing;
        });
        if (lacks)
            m_outcome.cameras = m_tree.cameras();
        if (plan.refused)
            return true;
        m_outcome.complete = plan.complete;
        if (plan.changesFiles()) {
            requireRoom(m_directory, plan);
            return false;
        }
        return !plan.recordDiffers || !canRecord(target);
    }

    /// An equal set of a directory that is read-only, or somebody else's, is no less complete.
    bool canRecord(Target const& target) {
        Folder const& folder = target.hasHidden() ? target.hidden() : target.folder();
        if (faccessat(folder.get(), ".", W_OK | X_OK, AT_EACCESS) == 0)
            return true;
        m_outcome.remarks.push_back({folder.path, "The set cannot be recorded in"});
        return false;
    }

    void runLocked(Target& target) {
        RecoverOutcome const recovered = recoverLocked(target);
        addRemarks(m_recoveryRemarks, recovered);
        m_outcome.changed = !recovered.cameras.empty();
        InstallPlan const plan = makePlanFor(target);
        if (isFinished(plan, target))
            return;
        Stage stage(target);
        Journal const journal = stageAll(stage, plan);
        stage.flushAll();
        stage.readBack(m_reporter);
        m_reporter.begin(Phase::sourceNotNeeded);
        m_reporter.begin(Phase::publishing, plan.data.size());
        publish(target, journal, [&] {
            stage.keep();
            m_reporter.commit();
            m_outcome.changed = true;
        });
        m_reporter.fileDone();
    }

    Journal stageAll(Stage& stage, InstallPlan const& plan) {
        Journal journal;
        journal.serial = m_serial;
        journal.removedBefore = plan.removedBefore;
        journal.removedAfter = plan.removedAfter;
        m_reporter.begin(Phase::copying, plan.data.size() + (plan.description ? 1 : 0), plan.bytes);
        Record record{m_tree.path(), now(), plan.unchanged};
        for (FileToStage const& file : plan.data) {
            journal.data.push_back(stageFile(stage, m_tree, file, m_reporter));
            record.files[file.name] = {journal.data.back().size, journal.data.back().digest};
        }
        if (plan.description) {
            journal.description = stageFile(stage, m_tree, *plan.description, m_reporter);
            record.files[journal.description->name] = {journal.description->size,
                                                       journal.description->digest};
        }
        if (plan.recordDiffers)
            journal.record = stage.add(record.text(), recordName(m_serial));
        return journal;
    }

    std::string const& m_directory;
    unsigned long m_serial;
    SourceTree const& m_tree;
    InstallOptions const& m_options;
    Reporter& m_reporter;
    InstallOutcome& m_outcome;
    std::vector<Remark> m_recoveryRemarks;
};

/// Takes one camera's set out.
class Removal {
public:
    Removal(std::string const& directory, unsigned long serial, InstallOptions const& options,
            Reporter& reporter, InstallOutcome& outcome)
        : m_directory(directory), m_serial(serial), m_options(options), m_reporter(reporter),
          m_outcome(outcome) {}

    void run() {
        Target target(m_directory);
        target.require();
        bool const isOpen = !target.openTransactions().empty();
        if (!isOpen || m_options.dryRun) {
            bool const isNothing = !look(target);
            if (m_options.dryRun)
                m_outcome.changed = !isNothing;
            else if (isNothing)
                tidyUp(target);
            if (isNothing || m_options.dryRun)
                return;
        }
        FileDescriptor const lock = takeLock(target, m_options.wait, m_reporter);
        try {
            runLocked(target);
        } catch (...) {
            target.removeIfUnused();
            throw;
        }
        target.removeIfUnused();
    }

private:
    /// @return Whether there is anything to remove.
    bool look(Target const& target) {
        InstalledFiles const installed(target, m_serial);
        m_outcome.files.clear();
        for (std::string const& name : installed.names()) {
            if (installed.placeOf(name) == Place::folder)
                stop(FailureKind::inTheWay,
                     "A folder stands in a file's place:", installed.pathOf(name));
            m_outcome.files.push_back({name, FileState::removed, 0, {}, ""});
        }
        m_hasRecord = target.hasRecord(m_serial);
        return !m_outcome.files.empty() || m_hasRecord;
    }

    void runLocked(Target const& target) {
        RecoverOutcome const recovered = recoverLocked(target);
        addRemarks(m_outcome.remarks, recovered);
        m_outcome.changed = !recovered.cameras.empty();
        if (!look(target))
            return;
        Journal journal;
        journal.serial = m_serial;
        journal.removesRecord = m_hasRecord;
        for (File const& file : m_outcome.files)
            journal.removedBefore.push_back(file.name);
        m_reporter.begin(Phase::publishing, m_outcome.files.size());
        publish(target, journal, [&] {
            m_reporter.commit();
            m_outcome.changed = true;
        });
        m_reporter.fileDone();
    }

    std::string const& m_directory;
    unsigned long m_serial;
    InstallOptions const& m_options;
    Reporter& m_reporter;
    InstallOutcome& m_outcome;
    bool m_hasRecord = false;
};

/// Runs a change, and says how it ended.
template <class Body>
InstallOutcome changed(ProgressCallback const& progress, Body const& body) noexcept {
    InstallOutcome outcome;
    Reporter reporter(progress);
    guarded(outcome, [&] { body(reporter, outcome); });
    outcome.interrupted = outcome.failure.has_value() && reporter.isCommitted();
    outcome.cancelledTooLate = reporter.cancelledTooLate();
    if (!outcome.failure)
        return outcome;
    // What was planned did not happen.
    outcome.complete = false;
    outcome.files.clear();
    return outcome;
}

} // namespace

/// What a lock holds.
class DirectoryLock::Held {
public:
    Held(std::string const& directory, bool wait, Reporter& reporter)
        : m_target(directory), m_lock(lock(m_target, wait, reporter)) {}
    ~Held() { m_target.removeIfUnused(); }
    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;

    Target const& target() const noexcept { return m_target; }

private:
    static FileDescriptor lock(Target& target, bool wait, Reporter& reporter) {
        target.require();
        return takeLock(target, wait, reporter);
    }

    Target m_target;
    FileDescriptor m_lock;
};

DirectoryLock::DirectoryLock() noexcept = default;
DirectoryLock::DirectoryLock(DirectoryLock&& other) noexcept = default;
DirectoryLock& DirectoryLock::operator=(DirectoryLock&& other) noexcept = default;
DirectoryLock::~DirectoryLock() = default;

std::optional<Failure> DirectoryLock::dropRecord(unsigned long serial) noexcept {
    InstallOutcome outcome;
    guarded(outcome, [&] {
        if (m_held != nullptr && removeFile(m_held->target().hidden(), recordName(serial).c_str()))
            flush(m_held->target().hidden());
    });
    return outcome.failure;
}

InstallOutcome CalibrationStore::install(unsigned long serial, Source const& source,
                                         InstallOptions const& options,
                                         ProgressCallback const& progress) noexcept {
    return changed(progress, [&](Reporter& reporter, InstallOutcome& outcome) {
        Installation(m_directory, serial, source.tree(), options, reporter, outcome).run();
    });
}

InstallOutcome CalibrationStore::remove(unsigned long serial, InstallOptions const& options,
                                        ProgressCallback const& progress) noexcept {
    return changed(progress, [&](Reporter& reporter, InstallOutcome& outcome) {
        Removal(m_directory, serial, options, reporter, outcome).run();
    });
}

RecoverOutcome CalibrationStore::recover(bool wait, ProgressCallback const& progress) noexcept {
    RecoverOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        Target target(m_directory);
        target.require();
        if (target.openTransactions().empty() && !hasLeftovers(target))
            return;
        FileDescriptor const lock = takeLock(target, wait, reporter);
        outcome = recoverLocked(target);
        target.removeIfUnused();
    });
    return outcome;
}

LockOutcome CalibrationStore::lockForOthers(bool wait, ProgressCallback const& progress) noexcept {
    LockOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        auto held = std::make_unique<DirectoryLock::Held>(m_directory, wait, reporter);
        outcome.recovered = recoverLocked(held->target());
        outcome.lock.m_held = std::move(held);
    });
    return outcome;
}

CheckOutcome CalibrationStore::check(unsigned long serial) const noexcept {
    CheckOutcome outcome;
    guarded(outcome, [&] {
        Target const target(m_directory);
        target.require();
        bool const isOpen = lookSteadily(target, serial, [&](OpenedFile const& description) {
            SetLook look = lookAtSet(target, serial, description);
            outcome.problems = std::move(look.problems);
            outcome.remarks = std::move(look.remarks);
        });
        if (isOpen)
            outcome.problems = {interruption(serial)};
        outcome.complete = outcome.problems.empty();
    });
    return outcome;
}

VerifyOutcome CalibrationStore::verify(unsigned long serial,
                                       ProgressCallback const& progress) const noexcept {
    VerifyOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        Target const target(m_directory);
        target.require();
        outcome = verifyAgainstRecord(target, serial, reporter);
    });
    return outcome;
}

VerifyOutcome CalibrationStore::verify(unsigned long serial, Source const& source,
                                       ProgressCallback const& progress) const noexcept {
    VerifyOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        Target const target(m_directory);
        target.require();
        outcome = verifyAgainstSource(target, serial, source.tree(), reporter);
    });
    return outcome;
}

ListOutcome CalibrationStore::list() const noexcept {
    ListOutcome outcome;
    guarded(outcome, [&] {
        Target const target(m_directory);
        target.require();
        outcome.cameras = listInstalled(target);
    });
    return outcome;
}

ListOutcome listSource(Source const& source, ProgressCallback const& progress) noexcept {
    ListOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        outcome.cameras = listHeld(source.tree(), reporter);
        outcome.remarks = source.tree().remarks();
    });
    return outcome;
}

} // namespace zel::store
