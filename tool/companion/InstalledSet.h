/// @file
/// A camera's set in a calibration directory.
#pragma once

#include "tool/companion/Options.h"
#include "tool/companion/Result.h"

#include "imgproc/Description.h"
#include "sdk/xml/Reader.h"
#include "store/Results.h"

#include <optional>
#include <string>
#include <vector>

namespace companion {

/// Checks that a calibration directory can be used, as requireDirectory() does.
/// @throws Failure when it cannot.
void requireCalibrationDirectory(std::string const& directory, int rights);

/// What one camera's description in a calibration directory says. It is read when the object is
/// made; no other file is looked at, and nothing is created.
class InstalledSet {
public:
    /// Reads the description.
    /// @param directory The calibration directory.
    /// @param serial    Serial number of the camera.
    /// @throws Failure when the directory cannot be used or its path is longer than the library
    ///         takes; std::bad_alloc
    InstalledSet(std::string const& directory, unsigned long serial);

    /// @return The description; null when it cannot be read or names no optic.
    Description const* description() const;
    /// @return The document that description() was collected from.
    zel::xml::Reader& document() { return m_document; }
    /// @return The names of all files of the set, each once: the description, then what it asks
    ///         for.
    std::vector<std::string> names() const;
    /// Makes the answer a no and says why description() is null, and what to do.
    void tellNoDescription(Options const& options, Result& result) const;

    /// @return Path of the calibration directory, without a trailing slash.
    std::string const& directory() const { return m_path; }

private:
    void read(std::string const& path);
    zel::store::FileState stateOfDescription(std::vector<zel::store::File> const& problems) const;

    unsigned long m_serial;
    std::string m_path; // of the directory
    std::string m_descriptionName;
    std::string m_whyNot; // what is wrong with a description that is there
    zel::xml::Reader m_document;
    std::optional<Description> m_description;
};

/// @return What people call an optic: its field of view and its text.
std::string opticText(OpticsDefinition const& optic);

} // namespace companion
