#include "tool/companion/Terminal.h"

#include <clocale>
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
        return {L'\0', 1, false};
    return {code, count, std::iswprint(static_cast<wint_t>(code)) != 0};
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
    if (!interactive)
        return text;
    std::string safe;
    for (std::size_t i = 0; i < text.size();) {
        Character const character = characterAt(text, i);
        if (character.printable)
            safe.append(text, i, character.bytes);
        else
            safe += '?';
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
