/// @file
/// Taking one camera's set out.
#pragma once

#include "store/Reporter.h"
#include "store/Results.h"

#include <string>

namespace zel::store {

/// Removes one camera's files and its record.
/// @param directory The calibration directory.
/// @param serial    Serial number of the camera.
/// @param options   What to do; `dryRun` and `wait` count.
/// @param reporter  Told how far it is.
/// @param outcome   Receives what happens, also up to a failure.
/// @throws Stop
void removeSet(std::string const& directory, unsigned long serial, InstallOptions const& options,
               Reporter& reporter, InstallOutcome& outcome);

} // namespace zel::store
