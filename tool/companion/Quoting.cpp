#include "tool/companion/Quoting.h"

#include "tool/companion/Terminal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace companion {

namespace {

bool isPlain(char c) {
    // No '=': zsh takes a word that begins with it for a command. No '~', which begins a home.
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("_-./:,@+", c) != nullptr);
}

/// Octal: where a hexadecimal number ends, shells do not agree.
std::string octal(char c) {
    std::array<char, 5> digits{};
    std::snprintf(digits.data(), digits.size(), "\\%03o",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    return digits.data();
}

std::string escaped(std::string const& word) {
    std::string text = "$'";
    forEachCharacter(word, [&](std::string const& character, bool printable) {
        if (printable) {
            if (character == "'" || character == "\\")
                text += '\\';
            text += character;
            return;
        }
        for (char const byte : character)
            text += octal(byte);
    });
    return text + "'";
}

} // namespace

std::string shellQuoted(std::string const& word) {
    if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain))
        return word;
    bool showable = true;
    forEachCharacter(word, [&](std::string const& /*character*/, bool printable) {
        showable = showable && printable;
    });
    if (!showable)
        return escaped(word);
    std::string text = "'";
    for (char const c : word) {
        if (c == '\'')
            text += "'\\''";
        else
            text += c;
    }
    return text + "'";
}

std::string commandLine(std::vector<std::string> const& words) {
    std::string line;
    for (std::string const& word : words)
        line += (line.empty() ? "" : " ") + shellQuoted(word);
    return line;
}

} // namespace companion
