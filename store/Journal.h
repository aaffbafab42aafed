/// @file
/// The journal of a transaction.
#pragma once

#include "store/Sha256.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

/// A file in the stage.
struct StagedFile {
    unsigned int number; ///< its name there
    std::uint64_t size;  ///< in bytes
    Digest digest;       ///< sum of its bytes
    std::string name;    ///< its name at its place
};

/// Everything that a transaction does to one camera's files. It is written only after all files are
/// safely on disk in the stage, so the transaction can be completed from journal and stage alone.
struct Journal {
    unsigned long serial = 0;               ///< serial number of the camera
    std::optional<StagedFile> description;  ///< moved to its place after all data
    std::vector<StagedFile> data;           ///< moved to their places
    std::optional<StagedFile> record;       ///< moved to its place in the hidden folder
    std::vector<std::string> removedBefore; ///< removed before the description is in place
    std::vector<std::string> removedAfter;  ///< removed when the new set is in place
    bool removesRecord = false;             ///< the record is removed

    /// @return The journal's text. @throws std::bad_alloc
    std::string text() const;

    /// @return Whether the installed description is taken out. @throws std::bad_alloc
    bool takesDescriptionOut() const;

    /// @return The staged file that goes to a name in the calibration directory; null without one.
    StagedFile const* stagedAs(std::string const& name) const noexcept;
};

/// What the text of a journal is.
struct JournalReading {
    /// The journal; nothing when the text is damaged, names another camera's files, or is of a
    /// later version.
    std::optional<Journal> journal;
    bool laterVersion = false; ///< a later version of this program wrote it
};

/// Reads a journal. Its text is not trusted.
/// @param text   Its text.
/// @param serial Serial number of the camera that its file is named after.
/// @return What it is. @throws std::bad_alloc
JournalReading readJournal(std::string_view text, unsigned long serial);

/// The largest text of a journal that is read, in bytes.
constexpr std::size_t largestJournal = std::size_t{64} * 1024 * 1024;

} // namespace zel::store
