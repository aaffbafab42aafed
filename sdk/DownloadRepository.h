/// @file
/// Where a camera's files lie in the online calibration repository, and how they are fetched.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zel {

/// Where the links file is kept while it is read. The path is fixed, so downloads must not overlap.
constexpr char const* downloadLinksPath = "/tmp/downloadlinks.xml";

/// Fetches the links file with `wget`; whether that worked shows when it is read.
/// @throws std::bad_alloc
void fetchDownloadLinks();

/// Why there are no links.
enum class LinksFailure {
    unreadable, ///< the links file cannot be opened or read
    malformed,  ///< an element around the links is missing
};

/// Outcome of reading the links file.
struct DownloadLinks {
    std::optional<LinksFailure> failure; ///< nothing when the links could be read
    std::vector<std::string> urls;       ///< base URLs of the repository, without a trailing '/'
};

/// Reads the fetched links file.
/// @throws std::bad_alloc
DownloadLinks readDownloadLinks();

/// @param link       Base URL of the repository.
/// @param serialText Serial number of the camera in decimal.
/// @param name       File name.
/// @return The file's URL between quotation marks, which are part of it as its path holds a blank.
/// @throws std::bad_alloc
std::string quotedUrl(std::string const& link, std::string const& serialText,
                      std::string const& name);

/// Fetches one file with `wget`.
/// @param url        A quotedUrl().
/// @param targetPath Path to write it to, which reaches the shell as it stands.
/// @return Whether the command could be started.
/// @throws std::bad_alloc
bool fetch(std::string const& url, std::string const& targetPath);

} // namespace zel
