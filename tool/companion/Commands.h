/// @file
/// The table of all sub-commands.
#pragma once

#include "tool/companion/Command.h"

#include <array>

namespace companion {

// Each is defined in the file of its name.
extern Command const find, install, check, verify, list, remove, recover, optics, config, download,
    mirror, online;

/// In the order of the help text.
inline constexpr std::array allCommands{&find,    &install, &check,  &verify,   &list,   &remove,
                                        &recover, &optics,  &config, &download, &mirror, &online};

} // namespace companion
