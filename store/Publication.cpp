#include "store/Publication.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Stage.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel::store {

namespace {

/// Carries out the steps of a transaction. Each step is on disk before the next begins, and each
/// can be repeated after an interruption.
class Publication {
public:
    Publication(Target const& target, Journal const& journal)
        : m_target(target), m_journal(journal), m_stage(openStage(target)) {}

    /// The old description is removed before the first file changes, and the new one is put in
    /// after the last. So whoever finds a description finds files of the same version.
    void run() const {
        takeDescriptionOut();
        moveDataIn();
        moveDescriptionIn();
        putRecord();
        prune();
        close();
    }

    /// Closes a transaction that cannot be completed. The description is removed.
    void abandon() const {
        removeFile(m_target.folder(), descriptionName().c_str());
        flush(m_target.folder());
        // The record keeps the camera in the list of installed ones, so that its loss is noticed.
        if (m_journal.record)
            putRecord();
        close();
    }

private:
    std::string descriptionName() const {
        return std::string(set::descriptionName(m_journal.serial).view());
    }

    void takeDescriptionOut() const {
        if (!m_journal.takesDescriptionOut())
            return;
        removeFile(m_target.folder(), descriptionName().c_str());
        flush(m_target.folder());
    }

    void moveDataIn() const {
        for (StagedFile const& file : m_journal.data)
            moveIn(file);
        for (std::string const& name : m_journal.removedBefore)
            removeFile(m_target.folder(), name.c_str());
        if (!m_journal.data.empty() || !m_journal.removedBefore.empty())
            flush(m_target.folder());
    }

    void moveDescriptionIn() const {
        if (!m_journal.description)
            return;
        moveIn(*m_journal.description);
        flush(m_target.folder());
    }

    /// @return The stage, for a file that is still in it. @throws Stop when somebody removed it
    ///         meanwhile.
    Folder const& stage() const {
        if (!m_stage.descriptor.valid())
            stop("Cannot open", m_stage.path, ENOENT);
        return m_stage;
    }

    void moveIn(StagedFile const& file) const {
        moveFile(stage(), std::to_string(file.number), m_target.folder(), file.name);
    }

    void putRecord() const {
        if (!m_journal.record && !m_journal.removesRecord)
            return;
        std::string const record = recordName(m_journal.serial);
        if (m_journal.record) {
            // Its modification time must not be earlier than the change time of any file that it
            // records: recordedSince() relies on it.
            std::string const number = std::to_string(m_journal.record->number);
            utimensat(stage().get(), number.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
            moveFile(stage(), number, m_target.hidden(), record);
        } else {
            removeFile(m_target.hidden(), record.c_str());
        }
        flush(m_target.hidden());
    }

    void prune() const {
        for (std::string const& name : m_journal.removedAfter)
            removeFile(m_target.folder(), name.c_str());
        if (!m_journal.removedAfter.empty())
            flush(m_target.folder());
    }

    /// The journal goes last: as long as it is there, a leftover stage is cleaned up by recovery.
    void close() const {
        removeStage(m_target);
        removeFile(m_target.hidden(), journalName(m_journal.serial).c_str());
        flush(m_target.hidden());
    }

    Target const& m_target;
    Journal const& m_journal;
    Folder m_stage;
};

/// The state of an interrupted transaction.
class Remains {
public:
    Remains(Target const& target, Journal journal)
        : m_target(target), m_stage(openStage(target)), m_journal(std::move(journal)) {}

    /// Finds out for every file whether it still has to be moved, is in its place already, or is
    /// lost.
    void examine() {
        std::vector<StagedFile> pending;
        for (StagedFile const& file : m_journal.data) {
            if (needsMove(file, m_target.folder()))
                pending.push_back(file);
        }
        m_journal.data = std::move(pending);
        takeDescriptionBack();
        if (m_journal.description && !needsMove(*m_journal.description, m_target.folder()))
            m_journal.description.reset();
        examineRecord();
        for (std::string const& name : m_journal.removedBefore)
            m_files.push_back({name, FileState::removed, 0, {}, ""});
        for (std::string const& name : m_journal.removedAfter)
            m_files.push_back({name, FileState::removed, 0, {}, ""});
        std::sort(m_files.begin(), m_files.end(),
                  [](File const& a, File const& b) { return a.name < b.name; });
    }

    /// @return Whether nothing is lost.
    bool areWhole() const noexcept { return m_whole; }
    /// @return What is still to be done.
    Journal const& journal() const noexcept { return m_journal; }
    /// @return The files of the transaction, by name.
    std::vector<File>& files() noexcept { return m_files; }

private:
    /// If the description is in its place although data is still staged, it is moved back into the
    /// stage, so that it comes last again.
    void takeDescriptionBack() const {
        if (!m_journal.description || m_journal.data.empty() || !m_stage.descriptor.valid() ||
            isStaged(*m_journal.description))
            return;
        StagedFile const& file = *m_journal.description;
        if (isAt(m_target.folder(), file.name, file))
            moveFile(m_target.folder(), file.name, m_stage, std::to_string(file.number));
    }

    /// A lost record does not keep the set from being completed.
    void examineRecord() {
        if (!m_journal.record)
            return;
        bool const isBlocked = isFolder(m_target.hidden(), m_journal.record->name.c_str());
        if (isStaged(*m_journal.record) && !isBlocked)
            return;
        m_journal.removesRecord =
            !isBlocked && !isAt(m_target.hidden(), m_journal.record->name, *m_journal.record);
        m_journal.record.reset();
    }

    bool needsMove(StagedFile const& file, Folder const& place) {
        bool const staged = isStaged(file);
        // A file cannot replace a folder of the same name, which somebody made meanwhile.
        bool const lost =
            isFolder(place, file.name.c_str()) || (!staged && !isAt(place, file.name, file));
        m_whole = m_whole && !lost;
        m_files.push_back(
            {file.name, lost ? FileState::damaged : FileState::installed, file.size, {}, ""});
        return staged;
    }

    bool isStaged(StagedFile const& file) const {
        return m_stage.descriptor.valid() && isAt(m_stage, std::to_string(file.number), file);
    }

    Target const& m_target;
    Folder m_stage;
    Journal m_journal;
    std::vector<File> m_files;
    bool m_whole = true;
};

} // namespace

JournalReading readJournalOf(Target const& target, unsigned long serial) {
    std::string const name = journalName(serial);
    auto const text = readWhole(target.hidden().get(), name.c_str(), largestJournal);
    if (!text && (errno == EISDIR || errno == EINVAL))
        stop(FailureKind::inTheWay,
             "There must be a file of our own:", target.hidden().pathOf(name));
    if (!text && errno != EFBIG)
        stop("Cannot read", target.hidden().pathOf(name), errno);
    auto reading = readJournal(text.value_or(""), serial);
    if (reading.laterVersion)
        stop(FailureKind::laterVersion, "A later version of zentho-cali has to complete",
             target.hidden().pathOf(name));
    return reading;
}

void publish(Target const& target, Journal const& journal, std::function<void()> const& committed) {
    std::string const name = journalName(journal.serial);
    std::string const text = journal.text();
    if (text.size() > largestJournal)
        stop("Cannot write so large a journal:", target.hidden().pathOf(name), EFBIG);
    writeBeside(target.hidden(), name, text);
    try {
        moveFile(target.hidden(), besideName(name), target.hidden(), name);
    } catch (Stop const&) {
        // The rename may have taken effect although an error was reported.
        if (target.isOpen(journal.serial))
            committed();
        else
            unlinkat(target.hidden().get(), besideName(name).c_str(), 0);
        throw;
    }
    committed();
    flush(target.hidden());
    Publication(target, journal).run();
}

void carryOut(Target const& target, Journal const& journal) {
    Publication(target, journal).run();
}

RecoverOutcome::Camera complete(Target const& target, unsigned long serial) {
    RecoverOutcome::Camera camera;
    camera.serial = serial;
    auto reading = readJournalOf(target, serial);
    if (!reading.journal) {
        Journal nothing;
        nothing.serial = serial;
        Publication(target, nothing).abandon();
        camera.remarks.push_back(
            {target.hidden().pathOf(journalName(serial)), "The journal was damaged:"});
        return camera;
    }
    Remains remains(target, std::move(*reading.journal));
    remains.examine();
    camera.files = std::move(remains.files());
    camera.complete = remains.areWhole();
    if (camera.complete)
        Publication(target, remains.journal()).run();
    else
        Publication(target, remains.journal()).abandon();
    return camera;
}

} // namespace zel::store
