/// @file
/// The copy of a camera's files from a directory tree, such as a mounted stick.
#pragma once

#include <string>

namespace zel {

/// @param sourceDir Root of the tree. Like @p targetDir it is not quoted: scripts pass directories
///                  with wildcards and options of `find(1)` in them.
/// @param serial    Serial number of the camera; it is a prefix of the names to copy.
/// @param targetDir Directory to copy to.
/// @return The shell command that copies, with `find` and `cp`.
/// @throws std::bad_alloc
std::string copyCommand(std::string const& sourceDir, unsigned long serial,
                        std::string const& targetDir);

/// Runs the command and waits for its end, however it ends. Its output is discarded.
/// @return false when it cannot be started.
bool runCopy(std::string const& command) noexcept;

/// Ends the process with SIGSEGV, whatever the process does about that signal, without a core file.
/// The standard output is flushed first.
[[noreturn]] void endAbnormally() noexcept;

} // namespace zel
