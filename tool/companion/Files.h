/// @file
/// Directories and files as the sub-commands need them.
#pragma once

#include "util/FileDescriptor.h"

#include <cerrno>
#include <functional>
#include <set>
#include <string>

#include <sys/stat.h>

namespace companion {

/// Checks that a directory can be used.
/// @param path   The directory.
/// @param rights Rights that are needed: a combination of R_OK, W_OK and X_OK of `access(2)`.
/// @param what   What a failure calls the directory.
/// @param hint   Hint of the failure when nothing has that name.
/// @throws Failure when the path is no directory or the rights are missing.
void requireDirectory(std::string const& path, int rights, std::string const& what,
                      std::string const& hint = "");

/// Receives the name of a directory entry and its type, a `DT_` constant of `readdir(3)`.
using EntryVisitor = std::function<void(std::string const& name, unsigned char type)>;

/// Visits the entries of a directory in its order, without "." and "..".
/// @return 0, or the error number of a directory that cannot be listed to its end.
/// @throws What @p visit throws.
int forEachEntry(std::string const& directory, EntryVisitor const& visit);

/// @return Path of a file in a directory.
std::string pathIn(std::string const& directory, std::string const& name);

/// @return The names of everything in a directory.
/// @throws Failure when it cannot be listed.
std::set<std::string> namesIn(std::string const& directory);

/// What a look at a file shows.
struct Look {
    bool there = false; ///< something has that name; a link must lead somewhere
    int error = ENOENT; ///< why it cannot be opened for reading; 0 when it can
    bool empty = false; ///< it is a regular file without content
};

/// Looks at a file without opening it, in one system call where its mode gives the answer.
/// @param directory An open directory, from which a relative path starts.
/// @param path      The file.
Look lookAt(int directory, std::string const& path);

/// A file that was opened for reading.
struct OpenedFile {
    std::string path;         ///< for failures
    zel::FileDescriptor file; ///< not valid when it cannot be opened
    Look look;                ///< what a look at it shows
    struct stat status;       ///< its status; zero when it cannot be opened
};

/// Opens a file for reading.
OpenedFile openFile(std::string const& path);

/// Opens a file in a directory for reading.
/// @param directory The open directory.
/// @param name      The file's name.
/// @param path      Path of the file, for failures.
OpenedFile openFile(int directory, std::string const& name, std::string const& path);

/// Compares two files that are open, piece by piece.
/// @return Whether both are regular files of the same bytes.
/// @throws Failure when one of them cannot be read.
bool sameBytes(OpenedFile const& left, OpenedFile const& right);

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
