/// @file
/// The directories that are compiled in.
#pragma once

namespace zel {

/// Where the data of the camera library is.
constexpr char const* defaultFormatsDir = "/usr/share/libzentho";
/// Where a camera's calibration files are installed and read.
constexpr char const* defaultCalibrationDir = "/usr/share/libzentho/cali";

} // namespace zel
