/// @file
/// The part of a file name that identifies a calibration data set.
#pragma once

#include "imgproc/Records.h"

#include <cstdint>

/// Builds the name stem of one calibration data set, as in 12345-30-X-M20-100-32: serial number,
/// optic, limits without their fractions ("M" for a negative one), frame rate.
/// @param buffer     Receives the stem, cut to @p bufferSize - 1 characters, and a terminator.
/// @param bufferSize Room in @p buffer, in characters.
/// @param serial     Serial number of the camera.
/// @param fov        Field of view of the optic.
/// @param text       Text of the optic, may be null.
/// @param range      The limits.
/// @param framerate  The frame rate in hertz; 0 for none, which leaves it out of the stem.
/// @return Characters of the whole stem; negative when it cannot be formatted.
int formatNameStem(char* buffer, unsigned int bufferSize, int serial, int fov, char const* text,
                   Range range, std::uint16_t framerate) noexcept;
