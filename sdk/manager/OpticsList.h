/// @file
/// The listing of a camera's optics.
#pragma once

#include "sdk/IRCalibrationManager.h"

#include <vector>

namespace zel {

/// Lists the optics of the loaded description, and loads that first when it is another camera's.
/// @param dir    Calibration directory, without a trailing '/'.
/// @param serial Serial number of the camera.
/// @param optics Refilled. A description that cannot be loaded gives the default optic; the list
///               stays as it is when not even that can be had for want of memory.
/// @throws std::bad_alloc, with as many optics listed as there was memory for
void listOptics(char const* dir, unsigned long serial, std::vector<IROptics>& optics);

} // namespace zel
