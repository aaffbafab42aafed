/// @file
/// A camera's set in a calibration directory.
#pragma once

#include "tool/companion/Files.h"
#include "tool/companion/Options.h"

#include "imgproc/Description.h"
#include "sdk/xml/Reader.h"

#include <optional>
#include <string>
#include <vector>

namespace companion {

/// Checks that a calibration directory can be used, as requireDirectory() does.
/// @throws Failure when it cannot.
void requireCalibrationDirectory(std::string const& directory, int rights);

/// @return A hint for a person who lacks files of this camera.
std::string howToFetch(Options const& options);

/// A file of a set.
struct LookedAtFile {
    std::string name; ///< without a directory
    Look look;        ///< what a look at it shows
};

/// One camera's set in a calibration directory. The description is read once, when the object is
/// made; no other file is looked at until somebody asks, and nothing is created.
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
    /// @return Name of the description.
    std::string const& descriptionName() const { return m_descriptionName; }
    /// @return The description's file, open unless it cannot be opened.
    OpenedFile const& descriptionFile() const { return m_descriptionFile; }

    /// @return The names of all files of the set, each once: the description, then what it asks
    ///         for.
    std::vector<std::string> names() const;
    /// Looks at a file of the directory.
    Look look(std::string const& name) const;
    /// Opens a file of the directory for reading.
    OpenedFile open(std::string const& name) const;
    /// Looks at every file of the set. @return The files, in the order of names().
    std::vector<LookedAtFile> lookAtAll() const;

    /// @return Whether a file counts as missing: one that cannot be opened for reading, or a
    ///         description that cannot be understood.
    bool isMissing(LookedAtFile const& file) const;
    /// @param files Files of the set that were looked at.
    /// @return The names of those that are missing.
    std::vector<std::string> missing(std::vector<LookedAtFile> const& files) const;
    /// @param files Files of the set that were looked at.
    /// @return Remarks about files that a person would expect to be counted otherwise.
    std::vector<std::string> remarks(std::vector<LookedAtFile> const& files) const;
    /// @return Remarks and what to do, for a set whose description() is null.
    std::vector<std::string> whyNoDescription(Options const& options) const;

    /// @return Path of the calibration directory, without a trailing slash.
    std::string const& directory() const { return m_path; }
    /// @return Path of one of the files.
    std::string path(std::string const& name) const { return m_path + "/" + name; }

private:
    unsigned long m_serial;
    std::string m_path;              // of the directory
    zel::FileDescriptor m_directory; // before the file, which is opened in it
    std::string m_descriptionName;
    OpenedFile m_descriptionFile;
    zel::xml::Reader m_document;
    std::optional<Description> m_description;
};

} // namespace companion
