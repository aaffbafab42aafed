/// @file
/// What a program that reads foreign formats may not do.
#pragma once

#include <cstdint>

namespace confine {

/// What a program is for, which decides what it needs.
enum class Profile {
    unpack, ///< reads an archive
    fetch,  ///< speaks to servers
    verify, ///< checks a signature
};

/// A program that is going to be executed, opened before the restrictions keep it from being found.
struct Program {
    int file = -1;                   ///< opened with O_PATH, closed by the execution
    char const* emptyPath = nullptr; ///< an empty text
    char** arguments = nullptr;      ///< ends with a null pointer
    char** environment = nullptr;    ///< ends with a null pointer
};

/// What became of a restriction.
enum class Outcome {
    applied,  ///< it holds
    notKnown, ///< this kernel does not have it
    failed,   ///< this kernel has it, and refused it
};

/// Limits what the process may use: no core files, no file may grow, few descriptors.
/// @return Whether that succeeded.
bool limitResources(Profile profile) noexcept;

/// Gives up the rights of root, for good: user and group "nobody", no further groups. A process
/// that is not root, or only in a namespace without other users, gives up its capabilities alone.
/// @return Outcome::notKnown when there are no other users, and this one remains.
Outcome dropRights() noexcept;

/// What Landlock does here.
struct Landlock {
    int version = 0;                     ///< that of the kernel; 0: it has none
    Outcome outcome = Outcome::notKnown; ///< whether the process is confined
};

/// Leaves the process no file but what libraries and the profile need, for reading; and no way to
/// execute anything but the program and what loads it.
Landlock confineFiles(Profile profile, int program) noexcept;

/// Leaves the process only the system calls that it needs, and one execution: that of the program,
/// as executeOnce() does it.
/// @return Whether the process is confined.
Outcome confineCalls(Profile profile, Program const& program) noexcept;

/// Executes the program. @return Only on failure, with `errno` set.
void executeOnce(Program const& program) noexcept;

} // namespace confine
