/// @file
/// Which texts from outside may stand in a shell command.
#pragma once

#include <string_view>

namespace zel {

/// @param link Base URL that a server sent. In the command it stands between double quotes, and a
///             '/' follows.
/// @return Whether the shell leaves it as it is, and the command does not take it for an option.
bool isSafeBetweenQuotes(std::string_view link) noexcept;

/// @param name File name taken from a description. In the command it stands at the end of a URL
///             between double quotes, and without any at the end of the path to write to.
/// @return Whether it is the name of a file in that path's directory: without a '/', and such that
///         the shell neither puts another name for it nor ends the command, redirects it or gives
///         it another option. White space may stand in it: it ends the path,
///         and what follows is another word of the command.
bool isSafeFileName(std::string_view name) noexcept;

} // namespace zel
