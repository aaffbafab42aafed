/// @file
/// Which files of a camera's set are missing.
#pragma once

#include <memory>

namespace zel {

/// Where the files of a set are and what they are called.
struct SetNaming {
    char const* dir;       ///< calibration directory, without a trailing '/'
    int serial;            ///< serial number of the camera
    char const* xmlFormat; ///< `printf(3)` format of the description's name
    char const* datFormat; ///< format of a data file's name
    char const* prnFormat; ///< format of a characteristic-curve file's name
    char const* separator; ///< follows the description's name when that is missing
};

/// Checks a set under given names; see IRCalibrationManager::checkCaliFiles().
/// @param naming The names.
/// @param out    Null for sizing, else receives the list.
/// @param size   Receives the room for the list, or limits each appended piece.
/// @return Whether nothing is missing.
bool checkNamedSet(SetNaming const& naming, char* out, int* size) noexcept;

/// Checks one file; see IRCalibrationManager::_checkCaliFilesHelper().
/// @param dir      Calibration directory, without a trailing '/'; created when it is missing.
/// @param baseName Name stem of the data set.
/// @param format   Format that turns the stem into the file name.
/// @param out      Null to add to @p size, else the list to append to.
/// @param size     Counts the room for the name, or limits each appended piece.
void checkNamedFile(char const* dir, char const* baseName, char const* format, char* out,
                    int* size) noexcept;

/// Outcome of checking one camera's set.
struct SetCheck {
    /// Whether the sizing pass found nothing missing.
    bool complete;
    /// What the filling pass found missing, each name followed by a ';'; null when the set is
    /// complete or memory runs out.
    std::unique_ptr<char[]> missing;
};

/// Checks a set under the names it has in a calibration directory, in two passes.
/// @param dir    Calibration directory, without a trailing '/'.
/// @param serial Serial number of the camera.
/// @return The outcome. The list has the room that the first pass measured, so files that vanish
///         between the passes are cut off.
SetCheck checkSet(char const* dir, unsigned long serial) noexcept;

} // namespace zel
