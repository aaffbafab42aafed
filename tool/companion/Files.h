/// @file
/// Directories and files as the sub-commands need them.
#pragma once

#include "tool/companion/Result.h"

#include <set>
#include <string>

namespace companion {

/// Checks that a directory can be used.
/// @param path   The directory.
/// @param rights Rights that are needed: a combination of R_OK, W_OK and X_OK of `access(2)`.
/// @param what   What a failure calls the directory.
/// @param hint   Hint of the failure when nothing has that name.
/// @throws Failure when the path is no directory or the rights are missing.
void requireDirectory(std::string const& path, int rights, std::string const& what,
                      Hint const& hint = {});

/// @return Path of a file in a directory.
std::string pathIn(std::string const& directory, std::string const& name);

/// @return The names of everything in a directory.
/// @throws Failure when it cannot be listed.
std::set<std::string> namesIn(std::string const& directory);

/// Writes a whole file or nothing: a temporary file beside it is filled and then moved there.
/// @param path    The file.
/// @param content Its bytes.
/// @param replace Whether it may replace a file that exists.
/// @throws Failure when it cannot be written; no temporary file is left then.
void writeAtomically(std::string const& path, std::string const& content, bool replace);

} // namespace companion
