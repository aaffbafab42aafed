#pragma once

#include "tests/support/Command.h"

#include <map>
#include <string>

namespace support {

/// Everything that a shell sees of a command, as one text; log lines as withoutLineAndTime() makes
/// them.
std::string seen(Outcome const& outcome);

/// What is seen of a command that exits with this status and writes this.
std::string exited(int status, std::string const& output, std::string const& error);

/// Name and content of everything in a directory; directories have a slash and no content.
using Tree = std::map<std::string, std::string>;

Tree tree(std::string const& directory);

} // namespace support
