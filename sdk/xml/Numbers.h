/// @file
/// Numbers in the text of elements.
#pragma once

#include <string_view>

namespace zel::xml {

/// Reads a plain decimal number, which needs none of the C library's scanning.
/// @param text  The whole text.
/// @param value Receives the number; untouched when the result is false.
/// @return false for anything else, which scanNumber() reads: a signed integer, white space, other
///         bases, an exponent, a number out of range.
bool readPlainNumber(std::string_view text, int* value) noexcept;
/// @copydoc readPlainNumber(std::string_view, int*)
bool readPlainNumber(std::string_view text, long* value) noexcept;
/// @copydoc readPlainNumber(std::string_view, int*)
bool readPlainNumber(std::string_view text, float* value) noexcept;

/// Reads a number as `scanf(3)` does, in the "C" locale whatever locale the process or the thread
/// has set.
/// @param text  Terminated text: "%i" for an int, "%ld" for a long, "%f" for a float.
/// @param value Receives the number; untouched when the text does not begin with one.
void scanNumber(char const* text, int* value) noexcept;
/// @copydoc scanNumber(char const*, int*)
void scanNumber(char const* text, long* value) noexcept;
/// @copydoc scanNumber(char const*, int*)
void scanNumber(char const* text, float* value) noexcept;

} // namespace zel::xml
