/// @file
/// A mirror's directory, and the hidden folder beside it in which its sets are made ready.
#pragma once

#include "store/Files.h"
#include "store/Target.h"

#include <functional>
#include <string>

namespace zel::store {

/// A mirror's directory as it is found, or made. The hidden folder beside it has the lock and the
/// stage, as that of a calibration directory.
class WebRoot {
public:
    /// Finds the directory and what is beside it.
    /// @param path Path of the directory; may be missing. @throws Stop
    explicit WebRoot(std::string const& path);

    /// @return The directory, not valid when it is missing.
    Folder const& folder() const noexcept { return m_folder; }
    /// @return The folder that it is in, with the hidden folder. Its lock is the mirror's.
    Target& beside() noexcept { return m_beside; }
    /// @copydoc beside()
    Target const& beside() const noexcept { return m_beside; }

    /// Finds the directory if another process has made it meanwhile. For the holder of the lock.
    /// @throws Stop
    void lookAgain();

    /// Finds a camera's folder.
    /// @return The folder, not valid when it is missing. @throws Stop when a link or a file stands
    /// in
    ///         its place, or in that of a folder on the way
    Folder findSet(unsigned long serial) const;

    /// Stops unless a camera's folder can be moved here from the hidden folder. @throws Stop
    void requireOneDisk(unsigned long serial) const;

    /// Stops unless the file system can exchange folders in a single step. For the holder of the
    /// lock; there must be no stage. @throws Stop
    void requireExchange() const;

    /// Puts the stage in the place of a camera's folder, in a single step, writes that through to
    /// the medium, and removes what was there. For the holder of the lock.
    /// @param committed Called when it is done, also if a failure follows. @throws Stop
    void takeOver(unsigned long serial, std::function<void()> const& committed);

    /// Makes the directory when it is missing. For the holder of the lock. @throws Stop
    void make();

    /// Removes what a dead process left. For the holder of the lock. @throws Stop
    void removeLeftovers() const;

private:
    Folder makeInside(Folder const& outer, std::string const& name) const;

    std::string m_path;
    std::string m_name; // in the folder that it is in
    Folder m_folder;
    Target m_beside;
};

} // namespace zel::store
