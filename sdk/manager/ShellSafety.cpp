#include "sdk/manager/ShellSafety.h"

#include <cstddef>

namespace zel {

namespace {

// Between double quotes these end the quotes, are expanded or run as commands.
constexpr std::string_view specialBetweenQuotes = "\"$`\\\n\r";
// Without quotes these, too, end or redirect a command, begin a quotation, or make a pattern for
// which the shell puts the names of files.
constexpr std::string_view specialWithoutQuotes = "'&|<>;*?";
constexpr std::string_view blanks = " \t\v\f";

bool holdsAny(std::string_view text, std::string_view characters) noexcept {
    return text.find_first_of(characters) != std::string_view::npos;
}

/// @return Whether the text holds a closing one after an opening one.
bool holdsBrackets(std::string_view text, char opening, char closing) noexcept {
    auto const begin = text.find(opening);
    return begin != std::string_view::npos && text.find(closing, begin) != std::string_view::npos;
}

/// Without quotes, a hyphen behind white space begins an option.
bool holdsOption(std::string_view text) noexcept {
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '-' && blanks.find(text[i - 1]) != std::string_view::npos)
            return true;
    }
    return false;
}

} // namespace

bool isSafeBetweenQuotes(std::string_view link) noexcept {
    bool const isOption = !link.empty() && link.front() == '-';
    return !isOption && !holdsAny(link, specialBetweenQuotes);
}

bool isSafeFileName(std::string_view name) noexcept {
    bool const isPath = name.find('/') != std::string_view::npos;
    return !isPath && !holdsAny(name, specialBetweenQuotes) &&
           !holdsAny(name, specialWithoutQuotes) && !holdsBrackets(name, '[', ']') &&
           !holdsBrackets(name, '{', '}') && !holdsOption(name);
}

} // namespace zel
