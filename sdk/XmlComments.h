/// @file
/// Comments of an XML document.
#pragma once

#include <cstddef>
#include <optional>

namespace zel {

/// Start or end of a comment in a document.
struct CommentToken {
    int type;     ///< 0 the start of a comment, 1 its end
    int position; ///< offset of the first character of "<!--", or just behind "-->"
};

/// Orders comment tokens by position alone: the order in which removeComments() takes them. At one
/// position it takes an end first, so that a stray one is always found.
/// @param a A token.
/// @param b Another one.
/// @return Whether @p a stands before @p b.
bool compTokens(CommentToken a, CommentToken b) noexcept;

/// Takes the comments out of a document. They may span lines and nest: a comment ends with the
/// "-->" that closes its first "<!--".
/// @param text   The document; unchanged when the result is nothing.
/// @param length Characters in it, fewer than 2^31.
/// @return The number of characters left; nothing when a "-->" has no "<!--" before it or a "<!--"
///         is left open.
/// @throws std::bad_alloc
std::optional<std::size_t> removeComments(char* text, std::size_t length);

} // namespace zel
