#include "store/InstalledFiles.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Publication.h"
#include "store/Stage.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

#include <fcntl.h>

namespace zel::store {

InstalledFiles::InstalledFiles(Target const& target, unsigned long serial) : m_target(target) {
    if (!target.exists())
        return;
    auto const names = target.namesOf(serial);
    m_names.insert(names.begin(), names.end());
    if (!target.hasHidden())
        return;
    if (target.isOpen(serial))
        readOpenJournal(serial);
    readRecord(serial);
}

void InstalledFiles::readOpenJournal(unsigned long serial) {
    m_isOpen = true;
    m_journal = readJournalOf(m_target, serial).journal;
    m_stage = openStage(m_target);
    if (!m_journal || isLost(*m_journal)) {
        // It cannot be completed: the description is taken out.
        m_names.erase(std::string(set::descriptionName(serial).view()));
        m_journal.reset();
        return;
    }
    for (StagedFile const& file : m_journal->data)
        m_names.insert(file.name);
    if (m_journal->description)
        m_names.insert(m_journal->description->name);
    for (std::string const& name : m_journal->removedBefore)
        m_names.erase(name);
    for (std::string const& name : m_journal->removedAfter)
        m_names.erase(name);
    m_recordIsOut = m_journal->removesRecord;
}

bool InstalledFiles::isLost(Journal const& journal) const {
    auto const isThere = [&](StagedFile const& file) {
        return (m_stage.descriptor.valid() && isAt(m_stage, std::to_string(file.number), file)) ||
               isAt(m_target.folder(), file.name, file);
    };
    return !std::all_of(journal.data.begin(), journal.data.end(), isThere) ||
           (journal.description && !isThere(*journal.description));
}

void InstalledFiles::readRecord(unsigned long serial) {
    std::optional<std::string> text;
    if (m_recordIsOut)
        return;
    if (m_journal && m_journal->record && m_stage.descriptor.valid()) {
        std::string const number = std::to_string(m_journal->record->number);
        text = readWhole(m_stage.get(), number.c_str(), largestRecord);
    }
    if (!text) {
        OpenedFile const opened = openRegular(m_target.hidden().get(), recordName(serial).c_str());
        text = readWhole(opened, largestRecord);
        if (!m_isOpen)
            m_recordTime = opened.status.st_mtim;
    }
    if (text)
        m_record = Record::from(*text, serial);
}

std::optional<RecordedFile> InstalledFiles::recordedSince(std::string const& name,
                                                          OpenedFile const& file) const {
    if (!m_record)
        return std::nullopt;
    timespec const& changed = file.status.st_ctim;
    bool const isLater = std::tie(changed.tv_sec, changed.tv_nsec) >
                         std::tie(m_recordTime.tv_sec, m_recordTime.tv_nsec);
    RecordedFile const* const recorded = m_record->find(name);
    if (isLater || recorded == nullptr || recorded->size != file.size())
        return std::nullopt;
    return *recorded;
}

Place InstalledFiles::placeOf(std::string const& name) const {
    if (m_names.count(name) == 0)
        return Place::nothing;
    struct stat status {};
    if (retried([&] {
            return fstatat(m_target.folder().get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
        }) != 0) {
        bool const isStaged = m_journal && m_journal->stagedAs(name) != nullptr;
        if (errno == ENOENT)
            return isStaged ? Place::file : Place::nothing;
        stop("Cannot look at", pathOf(name), errno);
    }
    if (S_ISDIR(status.st_mode))
        return Place::folder;
    return S_ISREG(status.st_mode) ? Place::file : Place::other;
}

OpenedFile InstalledFiles::open(std::string const& name) const {
    StagedFile const* const staged = m_journal ? m_journal->stagedAs(name) : nullptr;
    if (staged != nullptr && m_stage.descriptor.valid()) {
        OpenedFile opened = openRegular(m_stage.get(), std::to_string(staged->number).c_str());
        if (opened.error == 0)
            return opened;
    }
    return openRegular(m_target.folder().get(), name.c_str());
}

} // namespace zel::store
