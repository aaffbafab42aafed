/// @file
/// What the library says about an installed set, in the shape the sub-commands need.
#pragma once

#include "tool/companion/Options.h"

#include <new>
#include <string>
#include <vector>

class ConfigCali;

namespace zel {
class IRCalibrationManager;
}

namespace companion {

/// @return What the library gave, which is null only without memory. @throws std::bad_alloc
template <class T>
T& orBadAlloc(T* object) {
    return object != nullptr ? *object : throw std::bad_alloc();
}

/// @return The library's manager. @throws std::bad_alloc
zel::IRCalibrationManager& manager();

/// @throws Failure when a directory is none or lacks rights, a combination of R_OK, W_OK and X_OK.
void requireCalibrationDirectory(std::string const& directory, int rights);

/// Makes a directory the manager's. @throws Failure when it is none or cannot be read, or when its
/// path is longer than the library takes.
void useDirectory(std::string const& directory);

/// Lets the library read the next description anew, also when it is the one it has loaded.
/// @throws std::bad_alloc
void forgetDescription();

/// @return A hint for a person who lacks files of this camera.
std::string howToFetch(Options const& options);

/// One camera's set in the manager's directory.
class InstalledSet {
public:
    /// Reads the description anew.
    /// @throws std::bad_alloc
    explicit InstalledSet(unsigned long serial);

    /// @return Name of the description.
    std::string const& descriptionName() const { return m_descriptionName; }
    /// @return The description as long as no other is loaded; null when it cannot be read or names
    ///         no optic.
    ConfigCali const* description() const;
    /// @return The names that the library finds missing, each once.
    std::vector<std::string> missing() const;
    /// @return The names of the whole set, each once: the description and all that it asks for.
    std::vector<std::string> wanted() const;
    /// @return Path of one of its files.
    std::string path(std::string const& name) const;
    /// @return Remarks about files that count in another way than a person would think.
    std::vector<std::string> remarks() const;
    /// @return Remarks and what to do, for a set whose description() is null.
    std::vector<std::string> whyNoDescription(Options const& options) const;

private:
    unsigned long m_serial;
    std::string m_descriptionName;
    bool m_loaded;
};

} // namespace companion
