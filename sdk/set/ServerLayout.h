/// @file
/// Where a server has a camera's files.
#pragma once

#include <string>
#include <string_view>

namespace zel::set {

/// @param serialText Serial number of a camera, in decimal.
/// @return Path of the folder with its files, from a repository's base address on, without slashes
///         around it: "12/1234/Califiles SN12345678". @throws std::bad_alloc
std::string folderOnServer(std::string_view serialText);

} // namespace zel::set
