/// @file
/// Lines of the store's own files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel::store {

/// Visits the lines of a text, without their line breaks. The last line needs no line break.
template <class Visit>
void forEachLine(std::string_view text, Visit const& visit) {
    while (!text.empty()) {
        auto const end = text.find('\n');
        visit(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

/// @return The rest of a line after a prefix, or nothing if the line has another start.
std::optional<std::string_view> after(std::string_view mark, std::string_view line) noexcept;

/// Removes a decimal number and the blank after it from the start of a text.
/// @return The number, or nothing, with the text unchanged, if it does not start with one.
std::optional<std::uint64_t> takeNumber(std::string_view& text) noexcept;

/// A number and a name.
struct SizedName {
    std::uint64_t size;    ///< the number
    std::string_view name; ///< the name, not escaped
};

/// @param text A number, a blank and an escaped name.
/// @param room Gets the name if anything in it is escaped.
/// @return The number and the name, valid as long as both, or nothing if the text has another form.
/// @throws std::bad_alloc
std::optional<SizedName> readSized(std::string_view text, std::string& room);

} // namespace zel::store
