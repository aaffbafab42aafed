/// @file
/// Comments of an XML document.
#pragma once

#include <cstddef>
#include <optional>

namespace zel::xml {

/// Takes the comments out of a document. They may span lines and nest: a comment ends with the
/// "-->" that closes its first "<!--".
/// @param text   The document; unchanged when the result is nothing.
/// @param length Characters in it, fewer than 2^31.
/// @return The number of characters left; nothing when a "-->" has no "<!--" before it or a "<!--"
///         is left open.
/// @throws std::bad_alloc
std::optional<std::size_t> removeComments(char* text, std::size_t length);

} // namespace zel::xml
