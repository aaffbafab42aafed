/// @file
/// Command lines that can be pasted into a shell.
#pragma once

#include <string>
#include <vector>

namespace companion {

/// @return A word as a shell has to be given it: as it is, or in quotation marks where the shell
///         would change it. Characters that cannot be shown are escaped, in the form that bash,
///         ksh and zsh know.
std::string shellQuoted(std::string const& word);

/// @return Words as a command line, each quoted where it needs it.
std::string commandLine(std::vector<std::string> const& words);

} // namespace companion
