/// @file
/// What is looked for before anything changes.
#pragma once

#include "store/InstallPlan.h"
#include "store/Target.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zel::store {

/// Makes sure that the disk has the room for what is going to be staged.
/// @param directory The calibration directory; may be missing.
/// @param plan      What is going to be staged.
/// @throws Stop with FailureKind::noRoom
void requireRoom(std::string const& directory, InstallPlan const& plan);

/// Makes sure that files can be moved to their places and removed. To find out after the journal
/// would leave a set that nobody can complete.
/// @param target The directory with its hidden folder.
/// @param names  The names that are going to be replaced or removed.
/// @param serial Serial number of the camera: its record and its journal have to find their places,
/// too.
/// @throws Stop
void requireMovable(Target const& target, std::vector<std::string> const& names,
                    unsigned long serial);

} // namespace zel::store
