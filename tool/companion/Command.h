/// @file
/// What a sub-command is.
#pragma once

#include "tool/companion/Options.h"
#include "tool/companion/Result.h"
#include "tool/companion/Terminal.h"

namespace CLI {
class App;
}

namespace companion {

/// A sub-command with everything the program knows about it. Each is defined in the file of its
/// name.
struct Command {
    char const* name;    ///< as on the command line
    char const* purpose; ///< what it does, in a line of the help text
    char const* answers; ///< what the exit statuses 0 and 1 mean
    char const* example; ///< a command line that works
    /// Adds the options of this command alone to its parser.
    /// @param parser  The sub-command's parser.
    /// @param options Receives what the person asked for; must outlive the parsing.
    void (*addOptions)(CLI::App& parser, Options& options);
    /// Answers what the options ask, and prints nothing itself.
    /// @param terminal What the standard output can show.
    /// @throws Failure when the question cannot be answered.
    Result (*run)(Options const& options, Terminal const& terminal);
};

} // namespace companion
