/// @file
/// The sub-commands. Each answers what its options ask and prints nothing itself.
#pragma once

#include "tool/companion/Options.h"
#include "tool/companion/Result.h"
#include "tool/companion/Terminal.h"

namespace companion {

/// Finds an attached camera: the first one, or one of a serial number.
Result find(Options const& options, Terminal const& terminal);
/// Lists the missing files of an installed set.
Result check(Options const& options, Terminal const& terminal);
/// Compares the installed files with those of a stick.
Result verify(Options const& options, Terminal const& terminal);
/// Shows optics, temperature ranges and frame rates.
Result optics(Options const& options, Terminal const& terminal);
/// Gives the configuration text, or writes it to a file.
Result config(Options const& options, Terminal const& terminal);
/// Fetches what is missing, and tells what is still missing afterwards.
Result download(Options const& options, Terminal const& terminal);
/// Tells whether exactly one default route is configured.
Result online(Options const& options, Terminal const& terminal);

} // namespace companion
