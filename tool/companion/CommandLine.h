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
    Command const* command = nullptr; ///< the sub-command; null without one
    Options options;                  ///< its arguments
};

/// Reads the command line.
/// @param request Receives what it asks for. Its command and `options.json` are set even when the
///                command line is wrong.
/// @return The help text or the version, when it asks for one of them; nothing when there is a
///         command to run.
/// @throws Failure with Status::wrongUsage when the command line cannot be followed.
std::optional<std::string> readCommandLine(int argc, char const* const* argv, Request& request);

} // namespace companion
