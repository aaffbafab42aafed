/// @file
/// The cameras in a calibration directory, and those of a source.
#pragma once

#include "store/Reporter.h"
#include "store/Results.h"
#include "store/SourceTree.h"
#include "store/Target.h"

#include <vector>

namespace zel::store {

/// Lists the installed cameras. @throws Stop
std::vector<ListedCamera> listInstalled(Target const& target);

/// Lists the cameras that a source holds a description of. @throws Stop
std::vector<ListedCamera> listHeld(SourceTree const& tree, Reporter& reporter);

} // namespace zel::store
