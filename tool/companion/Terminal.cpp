#include "tool/companion/Terminal.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace companion {

namespace {

bool isSet(char const* variable) {
    char const* const value = std::getenv(variable);
    return value != nullptr && value[0] != '\0';
}

bool isCapable() {
    char const* const type = std::getenv("TERM");
    return type != nullptr && type[0] != '\0' && std::strcmp(type, "dumb") != 0;
}

/// One character of a text in the locale's encoding.
struct Character {
    wchar_t code;
    std::size_t bytes;
    bool printable;
};

Character characterAt(std::string const& text, std::size_t position) {
    std::mbstate_t state{};
    wchar_t code = L'\0';
    std::size_t const count =
        std::mbrtowc(&code, text.data() + position, text.size() - position, &state);
    // Not a character of the encoding, only the start of one, or the null character.
    if (count == 0 || count > text.size())
        return {L'\uFFFD', 1, false};
    return {code, count, std::iswprint(static_cast<wint_t>(code)) != 0};
}

/// @param bytes The character's bytes.
bool isControl(Character const& character, std::string const& bytes) {
    auto const first = static_cast<unsigned char>(bytes.front());
    return first < 0x20 || first == 0x7F || std::iswcntrl(static_cast<wint_t>(character.code)) != 0;
}

/// Adds bytes as the C language writes them.
void escape(std::string const& bytes, std::string& text) {
    constexpr char const* letters = "abtnvfr"; // of the characters 7 to 13
    for (char const byte : bytes) {
        auto const code = static_cast<unsigned char>(byte);
        if (code >= 7 && code <= 13) {
            text.append(1, '\\').append(1, letters[code - 7]);
            continue;
        }
        std::array<char, 5> digits{};
        std::snprintf(digits.data(), digits.size(), "\\x%02x", static_cast<unsigned>(code));
        text += digits.data();
    }
}

} // namespace

Terminal Terminal::of(int descriptor) {
    Terminal terminal;
    terminal.utf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    terminal.interactive = isatty(descriptor) == 1;
    terminal.drawing = terminal.interactive && isCapable();
    terminal.colour = terminal.drawing && !isSet("NO_COLOR");
    winsize size{};
    if (terminal.interactive && ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0)
        terminal.width = size.ws_col;
    return terminal;
}

std::string Terminal::sanitized(std::string const& text) const {
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }))
        return text; // there may be thousands of names
    std::string safe;
    for (std::size_t i = 0; i < text.size();) {
        Character const character = characterAt(text, i);
        std::string const bytes = text.substr(i, character.bytes);
        bool const kept = character.printable || (!interactive && !isControl(character, bytes));
        if (kept)
            safe += bytes;
        else
            escape(bytes, safe);
        i += character.bytes;
    }
    return safe;
}

std::string Terminal::inColour(char const* code, std::string const& text) const {
    std::string coloured = text;
    if (colour)
        coloured.insert(0, "m").insert(0, code).insert(0, "\033[").append("\033[0m");
    return coloured;
}

void forEachCharacter(
    std::string const& text,
    std::function<void(std::string const& character, bool printable)> const& visit) {
    for (std::size_t i = 0; i < text.size();) {
        Character const character = characterAt(text, i);
        visit(text.substr(i, character.bytes), character.printable);
        i += character.bytes;
    }
}

std::size_t displayWidth(std::string const& text) {
    std::size_t columns = 0;
    for (std::size_t i = 0; i < text.size();) {
        Character const character = characterAt(text, i);
        columns += character.printable ? static_cast<std::size_t>(wcwidth(character.code)) : 1;
        i += character.bytes;
    }
    return columns;
}

} // namespace companion
