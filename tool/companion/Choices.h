/// @file
/// Choosing the camera and the source where the person names none.
#pragma once

#include "tool/companion/Options.h"
#include "tool/companion/ProgressLine.h"

#include "store/Source.h"

#include <optional>
#include <set>
#include <vector>

namespace companion {

/// @return The programs that read archives, as they are to be used.
zel::store::Programs programsFor(Options const& options);

/// @return The cameras that are attached, without those whose serial number cannot be told; nothing
///         when the system does not tell.
std::optional<std::set<unsigned long>> attachedCameras();

/// @param progress Tells how far a search is.
/// @return The serial number that was given, or that of the only camera attached.
/// @throws Failure when none or several are attached.
unsigned long chosenCamera(Options const& options, ProgressLine& progress);

/// @param serial   Camera whose description it has to hold when it is searched for; 0 for any.
/// @param progress Tells how far the search is.
/// @param remarks  Receives what to know about media that could not be searched, also on failure.
/// @return The source that was given, or the only medium that holds the description, which is told.
/// @throws Failure when it cannot be searched, or when there are no or several such media.
zel::store::Source chosenSource(unsigned long serial, Options const& options,
                                ProgressLine& progress, std::vector<zel::store::Remark>& remarks);

} // namespace companion
