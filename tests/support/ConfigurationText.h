/// @file
/// The text of a camera configuration, byte for byte.
#pragma once

#include <string>

namespace support {

/// The configuration of a camera whose first temperature range reaches from -20 to 100 degrees and
/// whose first optic has no text.
std::string configurationText(std::string const& serial, std::string const& directory,
                              std::string const& fieldOfView);

} // namespace support
