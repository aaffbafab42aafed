/// @file
/// What a person can do next, as commands that can be pasted.
#pragma once

#include "tool/companion/Options.h"
#include "tool/companion/Result.h"

#include <string>
#include <vector>

namespace companion {

/// @return The same command once more, with these words after its name.
std::string again(Options const& options, std::vector<std::string> const& added);

/// @return How to run the same command with the rights of root; nothing for root.
Hint asRoot(Options const& options);

/// @return How to make the calibration directory.
Hint howToMakeDirectory(std::string const& directory);

/// @return How to get a camera's files.
Hint howToFetch(unsigned long serial, std::string const& directory);

/// @return How to get the programs that read archives.
Hint howToGetPrograms();

/// @return How to complete what was interrupted, or that this version cannot.
Hint howToRecover(std::string const& directory);

} // namespace companion
