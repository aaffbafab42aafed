/// @file
/// The installed files of a camera.
#pragma once

#include "store/Files.h"
#include "store/Journal.h"
#include "store/Record.h"
#include "store/Target.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zel::store {

/// What a name in the calibration directory stands for.
enum class Place {
    nothing, ///< nothing
    file,    ///< a regular file
    other,   ///< a link, a pipe or a device, which a file can replace
    folder,  ///< a folder
};

/// One camera's files in a calibration directory. While its transaction is open, they are seen as
/// they will be when it is completed.
class InstalledFiles {
public:
    /// @param target The directory; may be missing. Must outlive this.
    /// @param serial Serial number of the camera.
    /// @throws Stop
    InstalledFiles(Target const& target, unsigned long serial);

    /// @return The names of the camera's files, sorted.
    std::vector<std::string> names() const { return {m_names.begin(), m_names.end()}; }
    /// @return What stands at a name. @throws Stop
    Place placeOf(std::string const& name) const;
    /// Opens a file.
    OpenedFile open(std::string const& name) const;
    /// @return The record, or nothing if it is missing or damaged.
    std::optional<Record> const& record() const noexcept { return m_record; }
    /// @return What is recorded of a file, or nothing if it is not recorded or may have changed
    ///         since then: its change time is later than the modification time of the record.
    /// @param file The file, as open() opened it.
    std::optional<RecordedFile> recordedSince(std::string const& name,
                                              OpenedFile const& file) const;
    /// @return Whether a transaction is open that can be completed.
    bool canBeCompleted() const noexcept { return m_journal.has_value(); }
    /// @return Whether completing the open transaction will remove the record.
    bool removesRecord() const noexcept { return m_recordIsOut; }
    /// @return Path of a file, for messages.
    std::string pathOf(std::string const& name) const { return m_target.folder().pathOf(name); }

private:
    void readOpenJournal(unsigned long serial);
    void readRecord(unsigned long serial);
    bool isLost(Journal const& journal) const;

    Target const& m_target;
    Folder m_stage;
    std::optional<Journal> m_journal;
    std::set<std::string> m_names;
    std::optional<Record> m_record;
    bool m_isOpen = false;
    bool m_recordIsOut = false;
    timespec m_recordTime{}; // when the record came; zero while a transaction is open
};

} // namespace zel::store
