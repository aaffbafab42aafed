/// @file
/// Bringing one camera's set in.
#pragma once

#include "store/Reporter.h"
#include "store/Results.h"
#include "store/Source.h"

#include <string>

namespace zel::store {

/// Installs one camera's set: makes the plan, stages, publishes.
/// @param directory The calibration directory; made when it is missing.
/// @param serial    Serial number of the camera.
/// @param source    The source: a directory or an archive.
/// @param programs  The programs that read archives.
/// @param options   What to do.
/// @param reporter  Told how far it is.
/// @param outcome   Receives what happens, also up to a failure.
/// @throws Stop
void installSet(std::string const& directory, unsigned long serial, Source const& source,
                Programs const& programs, InstallOptions const& options, Reporter& reporter,
                InstallOutcome& outcome);

} // namespace zel::store
