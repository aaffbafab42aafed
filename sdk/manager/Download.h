/// @file
/// The download of files from the online calibration repository with `wget`.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zel {

/// Where the links file is kept while it is read. The path is fixed, so downloads must not overlap.
constexpr char const* downloadLinksPath = "/tmp/downloadlinks.xml";

/// Fetches the links file; whether that worked shows when it is read.
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

/// @param fileList File names, each followed by a ';'; the last one may lack it.
/// @return The names; one between two ';' is empty.
/// @throws std::bad_alloc
std::vector<std::string> namesOfList(char const* fileList);

/// Outcome of fetching one file.
struct FetchOutcome {
    bool started;        ///< whether a command could be started
    std::string lastUrl; ///< the last URL tried, in quotation marks; empty without links
};

/// Fetches one file from the first link whose command can be started. A link or name that would
/// make the shell do anything else than that counts as a command that cannot be started.
/// @param name       File name.
/// @param serialText Serial number of the camera in decimal.
/// @param targetDir  Directory to write to, without a trailing '/'. It reaches the shell as it
///                   stands.
/// @param links      Base URLs of the repository.
/// @throws std::bad_alloc
FetchOutcome fetchFile(std::string const& name, std::string const& serialText,
                       std::string const& targetDir, std::vector<std::string> const& links);

/// Tries to write to a directory, with a file ".zentho_access" that is removed at once.
/// @return 0, or `errno` when it cannot be created.
/// @throws std::bad_alloc
int probeWriting(std::string const& dir);

} // namespace zel
