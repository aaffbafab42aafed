#include "sdk/manager/ShellSafety.h"

#include <cstddef>

namespace zel {

namespace {

// These end or begin quotes, or run a command, wherever they stand.
constexpr std::string_view alwaysSpecial = "\"`";
// Without quotes these, too, end or redirect a command, begin a quotation, take the meaning of what
// follows, or make a pattern for which the shell puts the names of files.
constexpr std::string_view specialWithoutQuotes = "'\\\n&|<>;*?";
constexpr std::string_view blanks = " \t";

bool contains(std::string_view characters, char c) noexcept {
    return characters.find(c) != std::string_view::npos;
}

bool containsAny(std::string_view text, std::string_view characters) noexcept {
    return text.find_first_of(characters) != std::string_view::npos;
}

/// @return Whether one of the first characters is followed by one of the second.
bool containsPair(std::string_view text, std::string_view first, std::string_view second) noexcept {
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (contains(first, text[i - 1]) && contains(second, text[i]))
            return true;
    }
    return false;
}

/// @return Whether a '$' is followed by what makes a shell expand it. '[' does in bash alone.
bool containsExpansion(std::string_view text) noexcept {
    return containsPair(text, "$",
                        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789"
                        "{([@*#?-$!");
}

/// @return Whether a backslash takes the meaning of what follows, as it does between double quotes.
bool containsEscape(std::string_view text) noexcept {
    return containsPair(text, "\\", "$`\"\\\n");
}

bool containsBrackets(std::string_view text, char opening, char closing) noexcept {
    auto const begin = text.find(opening);
    return begin != std::string_view::npos && text.find(closing, begin) != std::string_view::npos;
}

} // namespace

bool isSafeBetweenQuotes(std::string_view link) noexcept {
    bool const isOption = !link.empty() && link.front() == '-';
    return !isOption && !containsAny(link, alwaysSpecial) && !containsExpansion(link) &&
           !containsEscape(link);
}

bool isSafeFileName(std::string_view name) noexcept {
    bool const isPath = contains(name, '/');
    bool const holdsOption = containsPair(name, blanks, "-");
    return !isPath && !holdsOption && !containsAny(name, alwaysSpecial) &&
           !containsAny(name, specialWithoutQuotes) && !containsExpansion(name) &&
           !containsBrackets(name, '[', ']') && !containsBrackets(name, '{', '}');
}

} // namespace zel
