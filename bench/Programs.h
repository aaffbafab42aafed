#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// Runs a program and discards its output. @return Its status as `wait(2)` gives it.
int runQuietly(std::vector<std::string> const& arguments);

/// @return The most memory that the program itself ever held, in bytes; its children do not count.
std::size_t peakMemory(std::vector<std::string> const& arguments);

/// @return The instructions that callgrind counts in the program.
std::uint64_t countInstructions(std::vector<std::string> arguments);

} // namespace bench
