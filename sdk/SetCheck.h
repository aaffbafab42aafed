/// @file
/// The completeness check as the manager's own operations use it.
#pragma once

#include <memory>

namespace zel {

/// Outcome of checking one camera's set.
struct SetCheck {
    /// Whether the sizing pass found nothing missing.
    bool complete;
    /// What the filling pass found missing, each name with a ';' behind it; null when complete, or
    /// without memory for it.
    std::unique_ptr<char[]> missing;
};

/// Checks a set under the names it has in a calibration directory, in two passes.
/// @param dir    Calibration directory, without a trailing '/'.
/// @param serial Serial number of the camera.
/// @return The outcome. Files that vanish between the passes are cut off the list, which has the
///         room that the first pass measured.
SetCheck checkSet(char const* dir, unsigned long serial) noexcept;

} // namespace zel
