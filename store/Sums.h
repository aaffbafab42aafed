/// @file
/// Lines as `sha256sum(1)` writes and reads them.
#pragma once

#include "store/Sha256.h"

#include <optional>
#include <string>
#include <string_view>

namespace zel::store {

/// A file with its sum.
struct Sum {
    Digest digest;         ///< sum of its bytes
    std::string_view name; ///< its name
};

/// @return A text with a backslash, `n` or `r` after a backslash for each backslash and line break.
/// @throws std::bad_alloc
std::string escaped(std::string_view text);

/// @param text What escaped() made.
/// @param room Gets the result if anything is escaped.
/// @return What escaped() made it of, valid as long as both; nothing for a text that it does not
///         make. @throws std::bad_alloc
std::optional<std::string_view> unescaped(std::string_view text, std::string& room);

/// @return A line with a file's sum, with its line break. A name with a backslash or a line break
///         is escaped, which a backslash at the start of the line says. @throws std::bad_alloc
std::string sumLine(Sum const& sum);

/// Reads a line, in text or in binary mode.
/// @param line The line, without its line break.
/// @param room Gets the name if anything in it is escaped.
/// @return The sum, valid as long as both; nothing when it is no such line. @throws std::bad_alloc
std::optional<Sum> readSumLine(std::string_view line, std::string& room);

} // namespace zel::store
