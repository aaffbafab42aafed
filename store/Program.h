/// @file
/// Running a program without rights.
#pragma once

#include "store/Reporter.h"
#include "store/Results.h"
#include "util/FileDescriptor.h"

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

namespace zel::store {

/// What a program is for, which decides what the launcher leaves it.
enum class Profile {
    unpack, ///< reads an archive
    fetch,  ///< speaks to servers
    verify, ///< checks a signature
};

/// What is started.
struct Confined {
    Profile profile;                    ///< what it is for
    std::string program;                ///< its path
    std::vector<std::string> arguments; ///< those after its name
    std::vector<int> descriptors; ///< what it has open, from 0 on; its standard output, number
                                  ///< 1, and its standard error stream, 2, are set here
};

/// @return Path of the folder with our programs: the one that was named, or that of this build.
/// @throws std::bad_alloc
std::string folderOf(Programs const& programs);

/// A program that the launcher confines and that writes to a pipe. It ends with this process, and
/// with this object.
class Program {
public:
    /// Starts it.
    /// @param programs Where the launcher is, and whether it may start the program on a kernel that
    ///                 cannot confine it.
    /// @param what     The program.
    /// @throws Stop with FailureKind::noProgram when the launcher or one of ours is not installed;
    ///         std::bad_alloc
    Program(Programs const& programs, Confined const& what);
    /// Kills it unless it has ended.
    ~Program();
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;

    /// Reads what it writes.
    /// @param reporter Asked whether to go on while nothing comes.
    /// @return How many bytes came; 0 when it writes no more. @throws Stop
    std::size_t read(char* bytes, std::size_t room, Reporter& reporter);

    /// Waits until it has ended, which it does soon when it writes no more.
    /// @param wasConfined Whether the launcher did its part, so that its statuses do not count.
    /// @throws Stop with FailureKind::noSandbox when the kernel cannot confine it as required, or
    ///         when it could not be confined or executed. How it ended otherwise does not matter.
    void finish(bool wasConfined);

private:
    void start(Programs const& programs, Confined const& what);
    int wait(int options) noexcept;
    int end() noexcept;

    std::string m_path;
    FileDescriptor m_output;
    pid_t m_process = -1;
};

} // namespace zel::store
