/// @file
/// The command line of the companion.
#pragma once

#include "tool/companion/Options.h"

#include <optional>
#include <string>

namespace companion {

/// Reads the command line.
/// @param options Receives what was asked for; its command and `json` also when that is wrong.
/// @return The text to print and be done, for help and version; nothing when there is a command to
///         run.
/// @throws Failure with Status::wrongUsage when the command line cannot be followed.
std::optional<std::string> readCommandLine(int argc, char const* const* argv, Options& options);

} // namespace companion
