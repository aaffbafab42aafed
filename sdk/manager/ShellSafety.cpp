#include "sdk/manager/ShellSafety.h"

#include <cstddef>

namespace zel {

namespace {

// Between double quotes these end the quotes, are expanded or run as commands.
constexpr std::string_view specialBetweenQuotes = "\"$`\\\n\r";
// Without quotes these, too, end or redirect a command, or begin a quotation.
constexpr std::string_view specialWithoutQuotes = "'&|<>;";
constexpr std::string_view blanks = " \t\v\f";

bool holdsAny(std::string_view text, std::string_view characters) noexcept {
    return text.find_first_of(characters) != std::string_view::npos;
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
    return !holdsAny(name, specialBetweenQuotes) && !holdsAny(name, specialWithoutQuotes) &&
           !holdsOption(name);
}

} // namespace zel
