#include "store/Installation.h"

#include "sdk/set/FileKinds.h"
#include "store/InstallPlan.h"
#include "store/InstalledFiles.h"
#include "store/Layout.h"
#include "store/Lock.h"
#include "store/Obstacles.h"
#include "store/Publication.h"
#include "store/Recovery.h"
#include "store/SetCheck.h"
#include "store/Stage.h"
#include "store/StageFile.h"
#include "store/Stop.h"
#include "store/Target.h"
#include "store/Unpacking.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace zel::store {

namespace {

/// The names that a plan replaces or removes.
std::vector<std::string> touchedNames(InstallPlan const& plan) {
    std::vector<std::string> names = plan.removedBefore;
    names.insert(names.end(), plan.removedAfter.begin(), plan.removedAfter.end());
    for (FileToStage const& file : plan.data)
        names.push_back(file.name);
    if (plan.description)
        names.push_back(plan.description->name);
    return names;
}

/// @return Whether the plan takes a member of an archive whose bytes passed by and were not staged.
bool lacksBytes(InstallPlan const& plan) {
    return std::any_of(plan.data.begin(), plan.data.end(),
                       [](FileToStage const& file) { return file.held && !file.held->staged; });
}

/// One installation.
class Installation {
public:
    Installation(std::string const& directory, unsigned long serial, Source const& source,
                 Programs const& programs, InstallOptions const& options, Reporter& reporter,
                 InstallOutcome& outcome)
        : m_directory(directory), m_serial(serial), m_archive(source.archive()),
          m_programs(programs), m_options(options), m_reporter(reporter), m_outcome(outcome),
          m_tree(m_archive == nullptr ? &source.tree() : nullptr) {}

    void run() {
        Target target(m_directory);
        if (m_options.dryRun)
            return runDry(target);
        if (isDoneWithoutLock(target))
            return tidyUp(target);
        try {
            withLock(target, m_options.wait, m_reporter, [&] { runLocked(target); });
        } catch (Stop const& stopped) {
            if (!m_onlyRecord || m_reporter.isCommitted() ||
                stopped.failure.kind == FailureKind::cancelled)
                throw;
            // The set itself is right, and only the record is missing.
            Failure const& why = stopped.failure;
            m_outcome.remarks.push_back(
                {why.path, "The set cannot be recorded: " + why.message, why.error});
        }
    }

private:
    /// Plans as if open transactions had been completed already.
    void runDry(Target const& target) {
        m_recoveryRemarks = remarksOnOpen(target);
        if (m_archive != nullptr)
            keep(treeOf(*m_archive, std::to_string(m_serial), m_programs, m_reporter,
                        mostBytesOfDryRun(target)));
        InstallPlan const plan = makePlanFor(target);
        bool const isNothing = tell(plan, target);
        m_outcome.changed = !m_recoveryRemarks.empty() || !isNothing;
        if (plan.changesFiles() && !hasLeftovers(target)) // removing them makes room
            requireRoom(m_directory, plan);
    }

    /// If there is nothing to do, no write permission and no lock are needed.
    bool isDoneWithoutLock(Target const& target) {
        if (!target.openTransactions().empty())
            return false;
        std::optional<Steadiness> steadiness;
        if (target.exists())
            steadiness.emplace(target, m_serial);
        if (m_archive != nullptr && !isReadWhileSame(target))
            return false;
        bool const isNothing = tell(makePlanFor(target), target);
        return isNothing && (!steadiness || steadiness->lasted());
    }

    /// Begins to read an archive. @return Whether all of it was read, and equals what is installed.
    bool isReadWhileSame(Target const& target) {
        InstalledFiles const installed(target, m_serial);
        if (installed.names().empty())
            return false;
        m_unpacking.emplace(*m_archive, std::to_string(m_serial), m_programs, m_reporter);
        if (!m_unpacking->readWhileSame(installed))
            return false;
        keep(m_unpacking->tree());
        return true;
    }

    /// Reads what is left of an archive, for the holder of the lock.
    void fetch(Target const& target, std::optional<Stage>& stage) {
        if (m_tree != nullptr)
            return;
        stage.emplace(target);
        InstalledFiles const installed(target, m_serial);
        if (!m_unpacking)
            m_unpacking.emplace(*m_archive, std::to_string(m_serial), m_programs, m_reporter);
        m_unpacking->readRest(*stage, &installed, roomIn(m_directory));
        keep(m_unpacking->tree());
    }

    /// Reads an archive anew, and stages all of it: what it was compared with has changed.
    void fetchAll(Target const& target, std::optional<Stage>& stage) {
        stage.reset();
        stage.emplace(target);
        m_unpacking.emplace(*m_archive, std::to_string(m_serial), m_programs, m_reporter);
        m_unpacking->readRest(*stage, nullptr, roomIn(m_directory));
        keep(m_unpacking->tree());
    }

    void keep(SourceTree tree) {
        m_unpacked = std::move(tree);
        m_tree = &*m_unpacked;
    }

    /// What is installed may be unpacked once more, since it may be the same.
    std::uint64_t mostBytesOfDryRun(Target const& target) const {
        std::uint64_t bytes = roomIn(m_directory);
        InstalledFiles const installed(target, m_serial);
        for (std::string const& name : installed.names())
            bytes += std::min(installed.open(name).size(), UINT64_MAX - bytes);
        return bytes;
    }

    InstallPlan makePlanFor(Target const& target) {
        return makePlan(*m_tree, m_serial, InstalledFiles(target, m_serial), m_options, m_reporter);
    }

    /// Tells what the plan says. @return Whether there is nothing to do.
    bool tell(InstallPlan const& plan, Target const& target) {
        m_outcome.files = plan.files;
        m_outcome.remarks = m_recoveryRemarks;
        m_outcome.remarks.insert(m_outcome.remarks.end(), plan.remarks.begin(), plan.remarks.end());
        bool const lacks = std::any_of(plan.files.begin(), plan.files.end(), [](File const& file) {
            return file.state == FileState::missing;
        });
        if (lacks)
            m_outcome.cameras = m_tree->cameras();
        if (plan.refused)
            return true;
        m_outcome.complete = plan.complete;
        m_onlyRecord = plan.recordDiffers && !plan.changesFiles();
        return !plan.changesFiles() && (!plan.recordDiffers || !canRecord(target));
    }

    /// A set in a directory that the user cannot write is complete without a record, too.
    bool canRecord(Target const& target) {
        Folder const& folder = target.hasHidden() ? target.hidden() : target.folder();
        if (faccessat(folder.get(), ".", W_OK | X_OK, AT_EACCESS) == 0)
            return true;
        m_outcome.remarks.push_back({folder.path, "The set cannot be recorded in", errno});
        return false;
    }

    void runLocked(Target const& target) {
        RecoverOutcome recovered;
        try {
            recover(target, recovered);
        } catch (Stop const&) {
            m_outcome.changed = !recovered.cameras.empty();
            m_outcome.interrupted = true;
            throw;
        }
        m_recoveryRemarks = remarksOn(recovered);
        m_outcome.changed = !recovered.cameras.empty();
        std::optional<Stage> stage;
        fetch(target, stage);
        InstallPlan plan = makePlanFor(target);
        if (tell(plan, target))
            return;
        if (lacksBytes(plan)) {
            fetchAll(target, stage);
            plan = makePlanFor(target);
            if (tell(plan, target))
                return;
        }
        requireRoom(m_directory, plan);
        requireMovable(target, touchedNames(plan), m_serial);
        if (!stage)
            stage.emplace(target);
        Journal const journal = stageAll(*stage, plan);
        stage->dropRest();
        stage->flushAll();
        stage->readBack(m_reporter);
        m_reporter.begin(Phase::sourceNotNeeded);
        publish(target, journal, [&] {
            stage->keep();
            m_reporter.commit();
            m_outcome.changed = true;
            m_reporter.begin(Phase::publishing);
        });
        m_reporter.askWhetherToGoOn();
    }

    Journal stageAll(Stage& stage, InstallPlan const& plan) {
        Journal journal;
        journal.serial = m_serial;
        journal.removedBefore = plan.removedBefore;
        journal.removedAfter = plan.removedAfter;
        m_reporter.begin(Phase::copying, plan.data.size() + (plan.description ? 1 : 0), plan.bytes);
        Record record;
        record.source = m_tree->path();
        record.date = now();
        for (auto const& [name, file] : plan.unchanged)
            record.add(name, file);
        for (FileToStage const& file : plan.data) {
            journal.data.push_back(stageFile(stage, *m_tree, file, m_reporter));
            record.add(file.name, {journal.data.back().size, journal.data.back().digest});
        }
        if (plan.description) {
            journal.description = stageFile(stage, *m_tree, *plan.description, m_reporter);
            record.add(journal.description->name,
                       {journal.description->size, journal.description->digest});
        }
        if (plan.recordDiffers)
            journal.record = stageRecord(stage, record);
        return journal;
    }

    StagedFile stageRecord(Stage& stage, Record const& record) const {
        std::string const text = record.text();
        std::string const name = recordName(m_serial);
        if (text.size() > largestRecord)
            // GCOVR_EXCL_START: takes a set of a hundred thousand files
            stop("Cannot write so large a record:", std::string(hiddenName) + "/" + name, EFBIG);
        // GCOVR_EXCL_STOP
        return stage.add(text, name);
    }

    std::string const& m_directory;
    unsigned long m_serial;
    Archive const* m_archive; // null for a directory
    Programs const& m_programs;
    InstallOptions const& m_options;
    Reporter& m_reporter;
    InstallOutcome& m_outcome;
    std::optional<Unpacking> m_unpacking;
    std::optional<SourceTree> m_unpacked;
    SourceTree const* m_tree; // null before an archive is read
    std::vector<Remark> m_recoveryRemarks;
    bool m_onlyRecord = false;
};

} // namespace

void installSet(std::string const& directory, unsigned long serial, Source const& source,
                Programs const& programs, InstallOptions const& options, Reporter& reporter,
                InstallOutcome& outcome) {
    Installation(directory, serial, source, programs, options, reporter, outcome).run();
}

} // namespace zel::store
