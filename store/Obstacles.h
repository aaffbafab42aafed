/// @file
/// Checks before anything is changed.
#pragma once

#include "store/InstallPlan.h"
#include "store/Target.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zel::store {

/// @param directory The calibration directory; may be missing.
/// @return How many bytes of files it has room for.
std::uint64_t roomIn(std::string const& directory);

/// Checks that there is enough disk space for the files that will be staged.
/// @param directory The calibration directory; may be missing.
/// @param plan      What is going to be staged.
/// @throws Stop with FailureKind::noRoom
void requireRoom(std::string const& directory, InstallPlan const& plan);

/// @return Whether folders and files can be moved from one folder to the other: both are of one
/// file
///         system, as mounted at one place.
bool areOnOneDisk(Folder const& left, Folder const& right) noexcept;

/// Checks that files can be replaced and removed. If that failed only after the journal is written,
/// the transaction could never be completed.
/// @param target The directory with its hidden folder.
/// @param names  The names that are going to be replaced or removed.
/// @param serial Serial number of the camera: its record and its journal have to find their places,
/// too.
/// @throws Stop
void requireMovable(Target const& target, std::vector<std::string> const& names,
                    unsigned long serial);

} // namespace zel::store
