/// @file
/// Directories and files as the sub-commands need them.
#pragma once

#include "util/FileDescriptor.h"

#include <set>
#include <string>

namespace companion {

/// The working directory, to which the process returns when the object is destroyed.
class WorkingDirectory {
public:
    WorkingDirectory();
    ~WorkingDirectory();
    WorkingDirectory(WorkingDirectory const&) = delete;
    WorkingDirectory& operator=(WorkingDirectory const&) = delete;

private:
    zel::FileDescriptor m_directory;
};

/// @param path   Must be a directory with these rights,
/// @param rights a combination of R_OK, W_OK and X_OK as `access(2)` has them,
/// @param what   which the failure calls so,
/// @param hint   adding this when there is nothing of that name.
/// @throws Failure when it is not.
void requireDirectory(std::string const& path, int rights, std::string const& what,
                      std::string const& hint = "");

/// @return The names of all that is in a directory. @throws Failure when it cannot be listed.
std::set<std::string> namesIn(std::string const& directory);

/// @return Whether there is a regular file without content at the path.
bool isEmptyFile(std::string const& path);

/// Compares two files piece by piece.
/// @return Whether both are regular files of the same bytes.
/// @throws Failure when one of them cannot be read.
bool sameBytes(std::string const& left, std::string const& right);

/// Writes a whole file or nothing: a temporary file beside it is filled and then moved there.
/// @param path    The file.
/// @param content Its bytes.
/// @param replace Whether it may replace a file that exists.
/// @throws Failure when it cannot be written; no temporary file is left then.
void writeAtomically(std::string const& path, std::string const& content, bool replace);

/// Writes all of a text.
/// @return Whether that succeeded; otherwise `errno` says why not.
bool writeAll(int descriptor, std::string const& text);

} // namespace companion
