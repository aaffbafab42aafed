/// @file
/// The table of all sub-commands.
#pragma once

#include "tool/companion/Command.h"

#include <array>

namespace companion {

// Each is defined in the file of its name.
extern Command const find, check, verify, optics, config, download, online;

/// In the order of the help text.
inline constexpr std::array allCommands{&find,   &check,    &verify, &optics,
                                        &config, &download, &online};

} // namespace companion
