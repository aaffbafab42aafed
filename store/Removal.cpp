#include "store/Removal.h"

#include "store/InstalledFiles.h"
#include "store/Lock.h"
#include "store/Obstacles.h"
#include "store/Publication.h"
#include "store/Recovery.h"
#include "store/Stop.h"
#include "store/Target.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace zel::store {

namespace {

/// One removal.
class Removal {
public:
    Removal(unsigned long serial, InstallOptions const& options, Reporter& reporter,
            InstallOutcome& outcome)
        : m_serial(serial), m_options(options), m_reporter(reporter), m_outcome(outcome) {}

    void run(std::string const& directory) {
        Target target(directory);
        target.require();
        bool const isOpen = !target.openTransactions().empty();
        if (m_options.dryRun) {
            m_outcome.remarks = remarksOnOpen(target);
            m_outcome.changed = look(target) || target.isOpen(m_serial);
            return;
        }
        if (!isOpen && !look(target))
            return tidyUp(target);
        withLock(target, m_options.wait, m_reporter, [&] { runLocked(target); });
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
        m_hasRecord = target.hasRecord(m_serial) && !installed.removesRecord();
        return !m_outcome.files.empty() || m_hasRecord;
    }

    void runLocked(Target const& target) {
        RecoverOutcome recovered;
        try {
            recover(target, recovered);
        } catch (Stop const&) {
            m_outcome.changed = hasChanged(recovered);
            m_outcome.interrupted = true;
            throw;
        }
        m_outcome.remarks = remarksOn(recovered);
        m_outcome.changed = hasChanged(recovered);
        if (!look(target))
            return;
        Journal journal;
        journal.serial = m_serial;
        journal.removesRecord = m_hasRecord;
        for (File const& file : m_outcome.files)
            journal.removedBefore.push_back(file.name);
        requireMovable(target, journal.removedBefore, m_serial);
        publishOn(target, journal);
        m_reporter.askWhetherToGoOn();
    }

    /// @return Whether a recovery changed this camera's files. Other cameras' files do not count.
    bool hasChanged(RecoverOutcome const& recovered) const {
        return std::any_of(recovered.cameras.begin(), recovered.cameras.end(),
                           [this](auto const& camera) { return camera.serial == m_serial; });
    }

    /// On a full disk there is no room for a journal, and a removal is what would make room. It is
    /// safe without one: the description is removed first, so an interruption leaves files that are
    /// not taken for a set, and the next removal removes them.
    void publishOn(Target const& target, Journal const& journal) {
        auto const committed = [&] {
            m_reporter.commit();
            m_outcome.changed = true;
            m_reporter.begin(Phase::publishing);
        };
        try {
            publish(target, journal, committed);
        } catch (Stop const& stopped) {
            int const error = stopped.failure.error;
            if (m_reporter.isCommitted() || (error != ENOSPC && error != EDQUOT))
                throw;
            committed();
            carryOut(target, journal);
        }
    }

    unsigned long m_serial;
    InstallOptions const& m_options;
    Reporter& m_reporter;
    InstallOutcome& m_outcome;
    bool m_hasRecord = false;
};

} // namespace

void removeSet(std::string const& directory, unsigned long serial, InstallOptions const& options,
               Reporter& reporter, InstallOutcome& outcome) {
    Removal(serial, options, reporter, outcome).run(directory);
}

} // namespace zel::store
