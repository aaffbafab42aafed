#pragma once

#include <string>

namespace support {

/// The calibration files of a camera with one optic and one range: the smallest set with a file of
/// every kind.
std::string descriptionName(unsigned long serial);
std::string dataName(unsigned long serial);
std::string curveName(unsigned long serial);

/// The description that asks for these files.
std::string smallDescription();

/// Writes the set. The data and curve files hold their own names.
void writeSmallSet(std::string const& directory, unsigned long serial);

} // namespace support
