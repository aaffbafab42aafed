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

/// Takes the transaction of a journal to its end. Each step is durable before the next begins, and
/// each can be repeated.
class Publication {
public:
    Publication(Target const& target, Journal const& journal)
        : m_target(target), m_journal(journal), m_stage(openStage(target)) {}

    /// A reader who finds a description finds all its files of the same version: the old one is
    /// gone before the first file changes, and the new one comes when the last has.
    void run() const {
        takeDescriptionOut();
        moveDataIn();
        moveDescriptionIn();
        putRecord();
        prune();
        close();
    }

    /// Ends a transaction that cannot be completed, without a description. Its record stays, or the
    /// earlier one.
    void abandon() const {
        removeFile(m_target.folder(), descriptionName().c_str());
        flush(m_target.folder());
        // Something has to tell that there was a set: without a description, the record does.
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

    void moveIn(StagedFile const& file) const {
        moveFile(m_stage, std::to_string(file.number), m_target.folder(), file.name);
    }

    void putRecord() const {
        if (!m_journal.record && !m_journal.removesRecord)
            return;
        std::string const record = recordName(m_journal.serial);
        if (m_journal.record) {
            // Later than every change of the files that it records, so that a change after it
            // shows.
            std::string const number = std::to_string(m_journal.record->number);
            utimensat(m_stage.get(), number.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
            moveFile(m_stage, number, m_target.hidden(), record);
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

    /// The stage goes first: without a journal nobody would look for it before the next
    /// transaction.
    void close() const {
        removeStage(m_target);
        removeFile(m_target.hidden(), journalName(m_journal.serial).c_str());
        flush(m_target.hidden());
    }

    Target const& m_target;
    Journal const& m_journal;
    Folder m_stage;
};

/// What an interruption left of a transaction.
class Remains {
public:
    Remains(Target const& target, Journal journal)
        : m_target(target), m_stage(openStage(target)), m_journal(std::move(journal)) {}

    /// Looks at every file: what is staged has still to be moved, what is at its place has not, and
    /// what is in neither place is lost.
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
    /// The description is at its place although data is missing: somebody else put it there. It
    /// goes back into the stage, to come last again.
    void takeDescriptionBack() const {
        if (!m_journal.description || m_journal.data.empty() || !m_stage.descriptor.valid() ||
            isStaged(*m_journal.description))
            return;
        StagedFile const& file = *m_journal.description;
        if (isAt(m_target.folder(), file.name, file))
            moveFile(m_target.folder(), file.name, m_stage, std::to_string(file.number));
    }

    /// A set whose record is lost is as whole without one.
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
        // A folder that somebody put in its place keeps it from getting there.
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
        // Some systems report a failure of what they did nevertheless.
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
