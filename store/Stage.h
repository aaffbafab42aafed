/// @file
/// The folder in which a set is made ready.
#pragma once

#include "store/Files.h"
#include "store/Journal.h"
#include "store/Reporter.h"
#include "store/Target.h"

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

/// Opens the stage of a calibration directory.
/// @return The folder, not valid when there is none. @throws Stop
Folder openStage(Target const& target);

/// @return Whether there is a stage. @throws Stop
bool hasStage(Target const& target);

/// Removes the stage with everything in it. @throws Stop
void removeStage(Target const& target);

/// A new stage. It is removed with everything in it on destruction, unless keep() was called.
class Stage {
public:
    /// Makes the stage, and removes one that a dead process left. For the holder of the lock.
    /// @throws Stop
    explicit Stage(Target const& target);
    ~Stage();
    Stage(Stage const&) = delete;
    Stage& operator=(Stage const&) = delete;

    /// Copies a file, with its modification time, and adds up its bytes.
    /// @param file     The open file.
    /// @param path     Its path, for messages.
    /// @param name     The name that it is going to have.
    /// @param reporter Told of the bytes.
    /// @return The staged file. @throws Stop
    StagedFile add(OpenedFile const& file, std::string const& path, std::string name,
                   Reporter& reporter);

    /// Adds a file with a text, which does not count where people see how far this is. It comes
    /// after all copies. @throws Stop
    StagedFile add(std::string_view text, std::string name);

    /// Writes everything through to the medium. @throws Stop
    void flushAll() const;

    /// Reads everything back from the medium. @throws Stop when that gives other bytes.
    void readBack(Reporter& reporter) const;

    /// Sets the modification time of a staged file. @throws Stop
    void setTime(StagedFile const& file, std::time_t time) const;

    /// Gives all files their names, and everybody the right to read them, so that the stage can
    /// become a folder of a mirror. @throws Stop
    void giveNames() const;

    /// Leaves the stage where it is, for a journal that names its files.
    void keep() noexcept { m_kept = true; }

    /// @return The folder.
    Folder const& folder() const noexcept { return m_folder; }

private:
    StagedFile remember(std::uint64_t size, Digest const& digest, std::string name);

    Target const& m_target;
    Folder m_folder;
    std::vector<StagedFile> m_files; // in the order of their numbers
    std::size_t m_copies = 0;
    std::uint64_t m_copiedBytes = 0;
    bool m_kept = false;
};

/// Adds up the bytes of a file of the stage or at its place.
/// @param reporter Told of the bytes; may be null.
/// @return The sum; nothing when there is no regular file of that size. @throws Stop
std::optional<Digest> sumOf(Folder const& folder, std::string const& name, std::uint64_t size,
                            Reporter* reporter);

/// @return Whether a staged file's bytes are at a name. A file that the medium does not give back
///         is as good as lost: to fail there would keep every later operation from its end, too.
/// @throws Stop
bool isAt(Folder const& folder, std::string const& name, StagedFile const& file);

} // namespace zel::store
