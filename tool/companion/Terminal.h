/// @file
/// What a stream can show.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace companion {

/// What the terminal at a stream can do. For any other stream all abilities are off.
struct Terminal {
    bool interactive = false; ///< a terminal at all
    bool drawing = false;     ///< can show bars
    bool colour = false;      ///< can show colours, and the person wants them
    bool utf8 = false;        ///< shows UTF-8
    std::size_t width = 80;   ///< columns

    /// Asks the terminal, the environment (TERM, NO_COLOR) and the locale.
    static Terminal of(int descriptor);

    /// @return The text in a colour, where there are colours.
    std::string red(std::string const& text) const { return inColour("31", text); }
    /// @copydoc red
    std::string green(std::string const& text) const { return inColour("32", text); }
    /// @copydoc red
    std::string yellow(std::string const& text) const { return inColour("33", text); }
    /// @copydoc red
    std::string bold(std::string const& text) const { return inColour("1", text); }

    /// @return A text from outside, safe to print on a line: control characters are escaped, such
    ///         as "\\n" and "\\x1b". For a terminal, so is everything else that is not printable in
    ///         its encoding, since it could be a command; a file or a pipe gets those bytes as they
    ///         are.
    std::string sanitized(std::string const& text) const;

private:
    std::string inColour(char const* code, std::string const& text) const;
};

/// Visits the characters of a text in the locale's encoding.
/// @param visit Called with the bytes of each character, and whether it is printable. A byte that
///              is not part of a character counts as one that is not.
void forEachCharacter(
    std::string const& text,
    std::function<void(std::string const& character, bool printable)> const& visit);

/// @return Columns that a sanitized text takes on a terminal.
std::size_t displayWidth(std::string const& text);

} // namespace companion
