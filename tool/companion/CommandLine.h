/// @file
/// The command line of the companion.
#pragma once

#include "tool/companion/Command.h"
#include "tool/companion/Options.h"

#include <optional>
#include <string>

namespace companion {

/// What the command line asks for.
struct Request {
    Command const* command = nullptr; ///< the sub-command; null when none was reached
    Options options;                  ///< its arguments
};

/// Reads the command line.
/// @param request Receives what it asks for; its command and `options.json` also when it is wrong.
/// @return The text of a help or of the version, to be printed instead of running a command;
///         nothing when there is a command to run.
/// @throws Failure with Status::wrongUsage when the command line cannot be followed.
std::optional<std::string> readCommandLine(int argc, char const* const* argv, Request& request);

} // namespace companion
