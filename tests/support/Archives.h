/// @file
/// Archives, made by the programs that people make them with.
#pragma once

#include <random>
#include <string>
#include <vector>

namespace support {

/// The formats that are read: "zip", "7z", "tar", "tar.gz", "tar.xz", "tar.zst".
std::vector<std::string> const& archiveFormats();

/// Packs all that is in a folder, without the folder itself. Throws std::runtime_error when the
/// program fails.
/// @param folder  The folder.
/// @param archive Path of the archive; it ends with one of the formats.
void pack(std::string const& folder, std::string const& archive);

/// Runs a script, with "archive" as the path of what it makes. Throws std::runtime_error when it
/// fails.
void packByPython(std::string const& script, std::string const& archive);

/// @return The content with a piece cut off, removed, repeated, emptied, or a bit changed.
std::string corrupted(std::string content, std::mt19937& engine);

} // namespace support
