/// @file
/// Which texts from outside may stand in a shell command.
#pragma once

#include <string_view>

namespace zel {

/// @param link Base URL that a server sent; it stands between double quotes in the command.
/// @return Whether the shell takes it for one plain word that is no option of the command.
bool isSafeBetweenQuotes(std::string_view link) noexcept;

/// @param name File name taken from a description; it stands in the command between double quotes
///             and once more without any.
/// @return Whether it is the name of a file in the directory before it: without a '/', and such
///         that the shell does not end the command, redirect it, give it another option or put
///         other names for it.
bool isSafeFileName(std::string_view name) noexcept;

} // namespace zel
