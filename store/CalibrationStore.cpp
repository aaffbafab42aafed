#include "store/CalibrationStore.h"

#include "sdk/set/FileKinds.h"
#include "store/Installation.h"
#include "store/Layout.h"
#include "store/Lock.h"
#include "store/Publication.h"
#include "store/Recovery.h"
#include "store/Removal.h"
#include "store/Reporter.h"
#include "store/SetCheck.h"
#include "store/SetList.h"
#include "store/SetVerify.h"
#include "store/SourceTree.h"
#include "store/Stop.h"
#include "store/Target.h"
#include "store/Unpacking.h"

#include <cerrno>
#include <utility>

namespace zel::store {

namespace {

/// The store's file names contain the serial number. A journal with an invalid one in its name
/// would never be found again.
void requireSerial(unsigned long serial) {
    if (!set::isSerial(serial))
        stop("There is no camera of this serial number:", std::to_string(serial), EINVAL);
}

/// What a source holds. An archive is read for it.
class ReadSource {
public:
    /// @param wanted What of an archive: a serial number, "all" or "names". @throws Stop
    ReadSource(Source const& source, std::string const& wanted, Programs const& programs,
               Reporter& reporter)
        : m_source(source) {
        if (source.archive() != nullptr)
            m_read = treeOf(*source.archive(), wanted, programs, reporter);
    }

    SourceTree const& tree() const noexcept { return m_read ? *m_read : m_source.tree(); }

private:
    Source const& m_source;
    std::optional<SourceTree> m_read;
};

/// Runs an operation that changes the directory, and fills in how it ended.
template <class Body>
InstallOutcome changed(ProgressCallback const& progress, Body const& body) noexcept {
    InstallOutcome outcome;
    Reporter reporter(progress);
    guarded(outcome, [&] { body(reporter, outcome); });
    outcome.interrupted =
        outcome.interrupted || (outcome.failure.has_value() && reporter.isCommitted());
    outcome.cancelledTooLate = reporter.cancelledTooLate();
    if (!outcome.failure)
        return outcome;
    // These are the planned states, and the plan was not carried out.
    outcome.complete = false;
    outcome.files.clear();
    return outcome;
}

} // namespace

/// The directory and the lock on it.
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
        requireSerial(serial);
        installSet(m_directory, serial, source, m_programs, options, reporter, outcome);
    });
}

InstallOutcome CalibrationStore::remove(unsigned long serial, InstallOptions const& options,
                                        ProgressCallback const& progress) noexcept {
    return changed(progress, [&](Reporter& reporter, InstallOutcome& outcome) {
        requireSerial(serial);
        removeSet(m_directory, serial, options, reporter, outcome);
    });
}

RecoverOutcome CalibrationStore::recover(bool wait, ProgressCallback const& progress) noexcept {
    RecoverOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        Target target(m_directory);
        if (!target.exists() || (target.openTransactions().empty() && !hasLeftovers(target)))
            return;
        withLock(target, wait, reporter, [&] { store::recover(target, outcome); });
    });
    return outcome;
}

LockOutcome CalibrationStore::lockForOthers(bool wait, ProgressCallback const& progress) noexcept {
    LockOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        auto held = std::make_unique<DirectoryLock::Held>(m_directory, wait, reporter);
        store::recover(held->target(), outcome.recovered);
        outcome.lock.m_held = std::move(held);
    });
    return outcome;
}

bool CalibrationStore::needsLaterVersion() const noexcept {
    InstallOutcome outcome;
    guarded(outcome, [&] {
        Target const target(m_directory);
        for (unsigned long const serial : target.openTransactions())
            readJournalOf(target, serial);
    });
    return outcome.failure && outcome.failure->kind == FailureKind::laterVersion;
}

CheckOutcome CalibrationStore::check(unsigned long serial) const noexcept {
    CheckOutcome outcome;
    guarded(outcome, [&] {
        requireSerial(serial);
        Target const target(m_directory);
        target.require();
        bool const isOpen = lookSteadily(target, serial, [&](OpenedFile const& description) {
            SetLook look = lookAtSet(target, serial, description);
            outcome.problems = std::move(look.problems);
            outcome.remarks = std::move(look.remarks);
        });
        if (isOpen)
            outcome.problems.assign(1, interruption(serial));
        outcome.complete = outcome.problems.empty();
    });
    return outcome;
}

VerifyOutcome CalibrationStore::verify(unsigned long serial,
                                       ProgressCallback const& progress) const noexcept {
    VerifyOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        requireSerial(serial);
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
        requireSerial(serial);
        Target const target(m_directory);
        target.require();
        ReadSource const read(source, std::to_string(serial), m_programs, reporter);
        outcome = verifyAgainstSource(target, serial, read.tree(), reporter);
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

CamerasOutcome camerasOf(Source const& source, ProgressCallback const& progress,
                         Programs const& programs) noexcept {
    CamerasOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        ReadSource const read(source, "names", programs, reporter);
        outcome.cameras = read.tree().cameras();
        outcome.remarks =
            source.archive() != nullptr ? read.tree().remarks() : std::vector<Remark>();
    });
    return outcome;
}

ListOutcome listSource(Source const& source, ProgressCallback const& progress,
                       Programs const& programs) noexcept {
    ListOutcome outcome;
    guarded(outcome, [&] {
        Reporter reporter(progress);
        ReadSource const read(source, "all", programs, reporter);
        SourceTree const& tree = read.tree();
        outcome.cameras = listHeld(tree, reporter);
        outcome.remarks = tree.remarks();
        if (!tree.gap())
            return;
        if (outcome.cameras.empty()) // those that it holds may be in there
            throw Stop{*tree.gap()};
        outcome.remarks.push_back(remarkOn(*tree.gap()));
    });
    return outcome;
}

} // namespace zel::store
