#pragma once

#include <string>
#include <vector>

namespace support {

/// How a command ended and what it wrote.
struct Outcome {
    int exitStatus; ///< what the command returned; -1 if a signal ended it
    int signal;     ///< the signal that ended it; 0 if it exited
    std::string standardOutput;
    std::string standardError;
    bool coreDumped; ///< whether the kernel wrote a core file
};

/// Runs a command (found along PATH, as a shell would) with an empty standard input, and waits
/// until it has ended and both of its streams are read to their ends. The streams are pipes. Throws
/// std::system_error when the command cannot be started.
Outcome run(std::vector<std::string> const& arguments, std::string const& workingDirectory = "");

} // namespace support
