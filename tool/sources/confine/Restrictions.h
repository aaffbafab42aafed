/// @file
/// What a program that reads foreign formats may not do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace confine {

/// What a program is for, which decides what it needs.
enum class Profile {
    unpack, ///< reads an archive
    fetch,  ///< speaks to servers
    verify, ///< checks a signature
};

/// A program that is going to be executed, opened before the restrictions keep it from being found.
struct Program {
    int file = -1;                  ///< opened with O_PATH, closed by the execution
    std::vector<char*> arguments;   ///< ends with a null pointer
    std::vector<char*> environment; ///< ends with a null pointer
};

/// Limits what the process may use: no core files, no file may grow, few descriptors.
/// @return Whether that succeeded.
bool limitResources(Profile profile) noexcept;

/// Gives up the rights of root, for good: user and group "nobody", no further groups. A process
/// that is not root, or only in a namespace without other users, gives up its capabilities alone.
/// @return Whether that succeeded.
bool dropRights() noexcept;

/// What Landlock does here.
struct Landlock {
    int version = 0;        ///< that of the kernel; 0: it has none
    bool isApplied = false; ///< the process is confined
};

/// Leaves the process no file but what libraries and the profile need, for reading; and no way to
/// execute anything but the program and what loads it.
Landlock confineFiles(Profile profile, int program) noexcept;

/// Leaves the process only the system calls that it needs, and one execution: that of the program,
/// as executeOnce() does it.
/// @return Whether the process is confined.
bool confineCalls(Profile profile, Program const& program) noexcept;

/// Executes the program. @return Only on failure, with `errno` set.
void executeOnce(Program const& program) noexcept;

} // namespace confine
