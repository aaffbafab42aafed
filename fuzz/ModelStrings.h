/// @file
/// What the string helpers are compared with, in the "C" locale: each promise written out one
/// character at a time, without the C library's routine of the same purpose. What changes a text
/// works on the whole buffer, so that what a helper must not touch is compared, too.
#pragma once

#include <climits>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <string>
#include <string_view>

namespace model {

template <class Character>
using Text = std::basic_string<Character>;

/// @return Characters before the terminator of a buffer.
template <class Character>
std::size_t length(Text<Character> const& buffer) {
    std::size_t count = 0;
    while (buffer.at(count) != 0)
        ++count;
    return count;
}

/// @return -1, 0 or 1. Bytes compare as unsigned numbers, wide characters as they are.
template <class Character>
int compare(Text<Character> const& left, Text<Character> const& right) {
    auto const number = [](Character c) {
        return sizeof c == 1 ? static_cast<unsigned char>(c) : static_cast<long>(c);
    };
    for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) {
        if (left[i] != right[i])
            return number(left[i]) < number(right[i]) ? -1 : 1;
    }
    if (left.size() == right.size())
        return 0;
    return left.size() < right.size() ? -1 : 1;
}

/// Fills the capacity: with the text, cut and then not terminated, or followed by zeros.
inline void copy(std::string& buffer, std::size_t capacity, std::string const& text) {
    for (std::size_t i = 0; i < capacity; ++i)
        buffer.at(i) = i < text.size() ? text[i] : '\0';
}

/// Copies everything, whatever the capacity.
inline void copy(std::wstring& buffer, std::size_t /*capacity*/, std::wstring const& text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        buffer.at(i) = text[i];
    buffer.at(text.size()) = L'\0';
}

/// The capacity limits the piece and not the whole. A wide piece has no limit.
template <class Character>
void append(Text<Character>& buffer, std::size_t capacity, Text<Character> const& piece) {
    std::size_t end = length(buffer);
    for (std::size_t i = 0; i < piece.size() && (sizeof(Character) > 1 || i < capacity); ++i)
        buffer.at(end++) = piece[i];
    buffer.at(end) = 0;
}

/// @return The full length. The text is cut to leave room for the terminator.
inline int format(std::string& buffer, std::size_t capacity, std::string const& text) {
    for (std::size_t i = 0; i < capacity; ++i) {
        bool const ends = i == text.size() || i + 1 == capacity;
        buffer.at(i) = ends ? '\0' : text[i];
        if (ends)
            break;
    }
    return static_cast<int>(text.size());
}

/// Changes nothing after the terminator, and no letter but the 26.
template <class Character>
void changeCase(Text<Character>& buffer, char from, char to) {
    for (std::size_t i = 0; buffer.at(i) != 0; ++i) {
        Character const first = from;
        if (buffer[i] >= first && buffer[i] <= first + 25)
            buffer[i] = static_cast<Character>(buffer[i] - from + to);
    }
}

/// @return The offset of the first occurrence, or -1.
template <class Character>
int find(Text<Character> const& haystack, Text<Character> const& needle) {
    for (std::size_t at = 0; at + needle.size() <= haystack.size(); ++at) {
        std::size_t same = 0;
        while (same < needle.size() && haystack[at + same] == needle[same])
            ++same;
        if (same == needle.size())
            return static_cast<int>(at);
    }
    return -1;
}

/// What a text says about a number, as it is read from the front.
template <class Character>
class NumberText {
public:
    explicit NumberText(Text<Character> const& text) : m_text(&text) {}

    bool ends() const { return m_at == m_text->size(); }

    /// Takes one of these characters, in either letter case. @return Its place among them, or -1.
    int take(char const* characters, int count) {
        for (int i = 0; !ends() && i < count; ++i) {
            char const c = characters[i];
            bool const isLetter = c >= 'a' && c <= 'z';
            if (next() == c || (isLetter && next() == c - 'a' + 'A')) {
                m_taken += c;
                ++m_at;
                return i;
            }
        }
        return -1;
    }

    int take(std::string_view characters) {
        return take(characters.data(), static_cast<int>(characters.size()));
    }

    /// Takes this word, or as much of it as there is. @return Whether it was all of it.
    bool takeWord(char const* word) {
        while (*word != '\0' && take(word, 1) >= 0)
            ++word;
        return *word == '\0';
    }

    int takeAll(std::string_view characters) {
        int count = 0;
        while (take(characters) >= 0)
            ++count;
        return count;
    }

    /// What was taken, in lower case.
    std::string const& taken() const { return m_taken; }

private:
    Character next() const { return (*m_text)[m_at]; }

    Text<Character> const* m_text;
    std::size_t m_at = 0;
    std::string m_taken;
};

constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexadecimalDigits = "0123456789abcdef";
constexpr std::string_view whiteSpace = " \t\n\v\f\r";

/// @param prefixes Whether 0x and 0 announce another base than ten.
/// @return 1, 0 or -1. Numbers too large for a long become the largest; an int then takes the low
///         bits. A 0x without a digit is a 0, and so is the 0 of 0b11.
template <class Number, class Character>
int readInteger(Text<Character> const& whole, bool prefixes, Number* value) {
    NumberText<Character> text(whole);
    text.takeAll(whiteSpace);
    if (text.ends())
        return -1;
    bool const negative = text.take("+-") == 1;
    bool hasDigit = false;
    int base = 10;
    if (prefixes && text.take("0") == 0) {
        hasDigit = true;
        base = text.take("x") == 0 ? 16 : 8;
    }
    constexpr auto largest = std::numeric_limits<long>::max();
    unsigned long const limit = static_cast<unsigned long>(largest) + (negative ? 1 : 0);
    std::string_view const known = hexadecimalDigits.substr(0, static_cast<std::size_t>(base));
    unsigned long magnitude = 0;
    for (int digit = text.take(known); digit >= 0; digit = text.take(known)) {
        auto const next = static_cast<unsigned long>(digit);
        auto const times = static_cast<unsigned long>(base);
        bool const fits = magnitude <= (limit - next) / times;
        magnitude = fits ? magnitude * times + next : limit;
        hasDigit = true;
    }
    if (!hasDigit)
        return 0;
    *value = static_cast<Number>(negative ? 0 - magnitude : magnitude);
    return 1;
}

/// @param number What follows the sign.
/// @return 1 for nan, inf and infinity, 0 for a text that only seemed to be one, -1 for others.
template <class Character>
int readNamedFloat(NumberText<Character> const& number, float sign, float* value) {
    NumberText<Character> word = number;
    if (word.takeWord("nan")) {
        *value = std::numeric_limits<float>::quiet_NaN();
        return 1;
    }
    word = number;
    if (!word.takeWord("inf"))
        return -1;
    // An i after it has to begin the rest of "infinity".
    if (word.take("i") == 0 && !word.takeWord("nity"))
        return 0;
    *value = sign * std::numeric_limits<float>::infinity();
    return 1;
}

template <class Character>
void takeExponent(NumberText<Character>& number, char const* letter) {
    NumberText<Character> exponent = number;
    if (exponent.take(letter) != 0)
        return;
    exponent.take("+-");
    if (exponent.takeAll(digits) > 0)
        number = exponent;
}

/// @return 1, 0 or -1. Only the value of a number, once its end is found, is left to the C library.
template <class Character>
int readFloat(Text<Character> const& whole, float* value) {
    NumberText<Character> number(whole);
    number.takeAll(whiteSpace);
    if (number.ends())
        return -1;
    float const sign = number.take("+-") == 1 ? -1.0F : 1.0F;
    int const named = readNamedFloat(number, sign, value);
    if (named >= 0)
        return named;

    NumberText<Character> prefixed = number;
    bool const hexadecimal = prefixed.takeWord("0x");
    if (hexadecimal)
        number = prefixed;
    std::string_view const known = hexadecimal ? hexadecimalDigits : digits;
    int const before = number.takeAll(known);
    bool const point = number.take(".") == 0;
    int const decimals = point ? number.takeAll(known) : 0;
    if (before + decimals == 0) {
        // "0x." is a 0, but "0x" alone and "." are nothing.
        if (!hexadecimal || !point)
            return 0;
        *value = sign * 0.0F;
        return 1;
    }
    takeExponent(number, hexadecimal ? "p" : "e");
    *value = std::strtof(number.taken().c_str(), nullptr);
    return 1;
}

/// The one buffer of converted texts. It keeps what the last text left after a character that the
/// locale cannot represent, or that fits in parts only.
class Converted {
public:
    std::string const& convert(std::wstring const& text) {
        std::size_t at = 0;
        std::mbstate_t state{};
        for (wchar_t const c : text + L'\0') {
            char bytes[MB_LEN_MAX];
            std::size_t const count = std::wcrtomb(bytes, c, &state);
            if (count == static_cast<std::size_t>(-1) || at + count > most)
                break;
            for (std::size_t i = 0; i < count; ++i)
                m_buffer[at++] = bytes[i];
        }
        m_shown = m_buffer.substr(0, length(m_buffer));
        return m_shown;
    }

private:
    static constexpr std::size_t most = 1023;
    std::string m_buffer = std::string(most + 1, '\0');
    std::string m_shown;
};

} // namespace model
