/// @file
/// A calibration directory and its hidden folder.
#pragma once

#include "store/Files.h"
#include "store/Layout.h"

#include <set>
#include <string>
#include <vector>

namespace zel::store {

/// A calibration directory as it is found, or made.
class Target {
public:
    /// Opens the directory and its hidden folder, where they are.
    /// @param path   Path of the directory.
    /// @param hidden Name of the hidden folder.
    /// @throws Stop when one of them cannot be opened, or a link or a file stands in the hidden
    ///         folder's place; std::bad_alloc
    explicit Target(std::string const& path, std::string hidden = hiddenName);
    /// A directory that is not there.
    Target() = default;

    /// @return Whether there is such a directory.
    bool exists() const noexcept { return m_folder.descriptor.valid(); }
    /// @return Whether it has a hidden folder.
    bool hasHidden() const noexcept { return m_hidden.descriptor.valid(); }
    /// @return The directory.
    Folder const& folder() const noexcept { return m_folder; }
    /// @return The hidden folder.
    Folder const& hidden() const noexcept { return m_hidden; }

    /// Stops unless there is such a directory. @throws Stop
    void require() const;

    /// Makes what is missing: the directory with its parents, and the hidden folder. All of it is
    /// written through to the medium. @throws Stop
    void make();

    /// Removes the hidden folder when nothing but its lock is left in it, and the folders that
    /// make() made when nothing is in them. For the holder of the lock.
    void removeIfUnused() noexcept;

    /// Removes the hidden folder when it is empty, and the folders that make() made when nothing is
    /// in them. For who did not get the lock, too.
    void removeEmpty() noexcept;

    /// @return The names of a camera's entries in the directory, sorted. @throws Stop
    std::vector<std::string> namesOf(unsigned long serial) const;

    /// @return The cameras with an open transaction, by serial number. @throws Stop
    std::vector<unsigned long> openTransactions() const;

    /// @return What an interruption left in the hidden folder that belongs to no transaction: the
    ///         names of files that were to become journals. @throws Stop
    std::vector<std::string> unfinishedJournals() const;

    /// @return The cameras with a record or an open transaction. @throws Stop
    std::set<unsigned long> knownCameras() const;

    /// @return Whether a camera's transaction is open. @throws Stop when that cannot be said.
    bool isOpen(unsigned long serial) const;
    /// @return Whether a camera has a record. @throws Stop when that cannot be said.
    bool hasRecord(unsigned long serial) const;

private:
    void makeFolder(std::string const& path);
    void removeHiddenIfUnused();
    void openHidden();
    bool hidesFile(std::string const& name) const;
    void forEachHidden(std::function<void(char const* name)> const& visit) const;

    Folder m_folder;
    std::string m_hiddenName = hiddenName;
    Folder m_hidden;
    std::vector<std::string> m_made; // parents first
};

/// Opens a folder inside another; a link is none.
/// @return The folder, not valid when there is none of that name. @throws Stop when it is no
/// folder.
Folder openInside(Folder const& folder, char const* name);

/// @return A path without the slashes at its end.
std::string withoutTrailingSlashes(std::string path);

/// @return Path of the folder that holds a path's last name.
std::string parentOf(std::string const& path);

} // namespace zel::store
