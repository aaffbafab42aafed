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

/// One installation.
class Installation {
public:
    Installation(std::string const& directory, unsigned long serial, SourceTree const& tree,
                 InstallOptions const& options, Reporter& reporter, InstallOutcome& outcome)
        : m_directory(directory), m_serial(serial), m_tree(tree), m_options(options),
          m_reporter(reporter), m_outcome(outcome) {}

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
        bool const isNothing = tell(makePlanFor(target), target);
        return isNothing && (!steadiness || steadiness->lasted());
    }

    InstallPlan makePlanFor(Target const& target) {
        return makePlan(m_tree, m_serial, InstalledFiles(target, m_serial), m_options, m_reporter);
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
            m_outcome.cameras = m_tree.cameras();
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
        InstallPlan const plan = makePlanFor(target);
        if (tell(plan, target))
            return;
        requireRoom(m_directory, plan);
        requireMovable(target, touchedNames(plan), m_serial);
        Stage stage(target);
        Journal const journal = stageAll(stage, plan);
        stage.flushAll();
        stage.readBack(m_reporter);
        m_reporter.begin(Phase::sourceNotNeeded);
        publish(target, journal, [&] {
            stage.keep();
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
        record.source = m_tree.path();
        record.date = now();
        for (auto const& [name, file] : plan.unchanged)
            record.add(name, file);
        for (FileToStage const& file : plan.data) {
            journal.data.push_back(stageFile(stage, m_tree, file, m_reporter));
            record.add(file.name, {journal.data.back().size, journal.data.back().digest});
        }
        if (plan.description) {
            journal.description = stageFile(stage, m_tree, *plan.description, m_reporter);
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
    SourceTree const& m_tree;
    InstallOptions const& m_options;
    Reporter& m_reporter;
    InstallOutcome& m_outcome;
    std::vector<Remark> m_recoveryRemarks;
    bool m_onlyRecord = false;
};

} // namespace

void installSet(std::string const& directory, unsigned long serial, SourceTree const& tree,
                InstallOptions const& options, Reporter& reporter, InstallOutcome& outcome) {
    Installation(directory, serial, tree, options, reporter, outcome).run();
}

} // namespace zel::store
