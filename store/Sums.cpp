#include "store/Sums.h"

namespace zel::store {

namespace {

constexpr std::size_t digits = 2 * std::tuple_size<Digest>::value;

/// @return The letter that stands for a character after a backslash; 0 for one that needs none.
char letterFor(char c) noexcept {
    switch (c) {
    case '\\':
        return '\\';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    default:
        return '\0';
    }
}

std::optional<char> characterFor(char letter) noexcept {
    for (char const c : {'\\', '\n', '\r'}) {
        if (letterFor(c) == letter)
            return c;
    }
    return std::nullopt;
}

} // namespace

std::string escaped(std::string_view text) {
    if (text.find_first_of("\\\n\r") == std::string_view::npos)
        return std::string(text);
    std::string result;
    result.reserve(text.size());
    for (char const c : text) {
        char const letter = letterFor(c);
        if (letter != '\0')
            result.append(1, '\\').append(1, letter);
        else
            result += c;
    }
    return result;
}

std::optional<std::string_view> unescaped(std::string_view text, std::string& room) {
    if (text.find('\\') == std::string_view::npos)
        return text;
    room.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            room += text[i];
            continue;
        }
        auto const meant = ++i < text.size() ? characterFor(text[i]) : std::nullopt;
        if (!meant)
            return std::nullopt;
        room += *meant;
    }
    return room;
}

std::string sumLine(Sum const& sum) {
    std::string name = escaped(sum.name);
    std::string const start = name.size() != sum.name.size() ? "\\" : "";
    return start + hexadecimal(sum.digest) + "  " + name + "\n";
}

std::optional<Sum> readSumLine(std::string_view line, std::string& room) {
    bool const isEscaped = !line.empty() && line.front() == '\\';
    if (isEscaped)
        line.remove_prefix(1);
    if (line.size() < digits + 3 || line[digits] != ' ' ||
        (line[digits + 1] != ' ' && line[digits + 1] != '*'))
        return std::nullopt;
    auto const digest = digestFrom(line.substr(0, digits));
    std::string_view const name = line.substr(digits + 2);
    auto const plain = isEscaped ? unescaped(name, room) : std::optional(name);
    if (!digest || !plain)
        return std::nullopt;
    return Sum{*digest, *plain};
}

} // namespace zel::store
