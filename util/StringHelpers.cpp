#include "util/StringHelpers.h"

#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

int tstrcmp(char const* left, char const* right) noexcept {
    return std::strcmp(left, right);
}

int tstrcmp(wchar_t const* left, wchar_t const* right) noexcept {
    return std::wcscmp(left, right);
}

char* tstrcpy(char* dst, unsigned int size, char const* src) noexcept {
    return std::strncpy(dst, src, size);
}

wchar_t* tstrcpy(wchar_t* dst, unsigned int /*size*/, wchar_t const* src) noexcept {
    return std::wcscpy(dst, src);
}

char* tstrcat(char* dst, unsigned int size, char const* src) noexcept {
    return std::strncat(dst, src, size);
}

wchar_t* tstrcat(wchar_t* dst, unsigned int /*size*/, wchar_t const* src) noexcept {
    return std::wcscat(dst, src);
}

unsigned int tstrlen(char const* text) noexcept {
    return static_cast<unsigned int>(std::strlen(text));
}

unsigned int tstrlen(wchar_t const* text) noexcept {
    return static_cast<unsigned int>(std::wcslen(text));
}

int tsnprintf(char* dst, unsigned int size, char const* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    int const length = std::vsnprintf(dst, size, format, arguments);
    va_end(arguments);
    return length;
}

int tsnprintf(wchar_t* dst, unsigned int size, wchar_t const* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    int const length = std::vswprintf(dst, size, format, arguments);
    va_end(arguments);
    return length;
}

// A character above 127 reaches tolower as a negative int. The C library's tables cover those too,
// and comparing texts in single-byte locales depends on what they hold.

char* tstrlwr(char* text) noexcept {
    char* at = text;
    do {
        *at = static_cast<char>(std::tolower(static_cast<signed char>(*at)));
    } while (*at++ != '\0');
    return text;
}

wchar_t* tstrlwr(wchar_t* text) noexcept {
    wchar_t* at = text;
    do {
        *at = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(*at)));
    } while (*at++ != L'\0');
    return text;
}

char* tstrupr(char* text) noexcept {
    char* at = text;
    do {
        *at = static_cast<char>(std::toupper(static_cast<signed char>(*at)));
    } while (*at++ != '\0');
    return text;
}

wchar_t* tstrupr(wchar_t* text) noexcept {
    wchar_t* at = text;
    do {
        *at = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(*at)));
    } while (*at++ != L'\0');
    return text;
}

char* tstrstr(char* haystack, char* needle) noexcept {
    return std::strstr(haystack, needle);
}

wchar_t* tstrstr(wchar_t* haystack, wchar_t* needle) noexcept {
    return std::wcsstr(haystack, needle);
}

int tscanf(char const* text, char const* format, int* value) noexcept {
    return std::sscanf(text, format, value);
}

int tscanf(char const* text, char const* format, long* value) noexcept {
    return std::sscanf(text, format, value);
}

int tscanf(char const* text, char const* format, float* value) noexcept {
    return std::sscanf(text, format, value);
}

int tscanf(wchar_t const* text, wchar_t const* format, int* value) noexcept {
    return std::swscanf(text, format, value);
}

int tscanf(wchar_t const* text, wchar_t const* format, long* value) noexcept {
    return std::swscanf(text, format, value);
}

int tscanf(wchar_t const* text, wchar_t const* format, float* value) noexcept {
    return std::swscanf(text, format, value);
}

namespace zel {

namespace {

/// @return Whether an integer begins with 0b, after white space and a sign.
bool startsBinary(char const* text) noexcept {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0)
        ++text;
    if (*text == '+' || *text == '-')
        ++text;
    return text[0] == '0' && (text[1] == 'b' || text[1] == 'B');
}

} // namespace

int _tscanfi(char const* text, int* value) noexcept {
    // "%i" of newer C libraries reads binary numbers, too. Here 0b11 stays a 0 followed by a "b".
    if (startsBinary(text)) {
        *value = 0;
        return 1;
    }
    // "%i", not "%d": descriptions write some numbers as 0x10.
    return tscanf(text, "%i", value);
}

int _tscanfld(char const* text, long* value) noexcept {
    return tscanf(text, "%ld", value);
}

int _tscanff(char const* text, float* value) noexcept {
    return tscanf(text, "%f", value);
}

} // namespace zel

namespace thalvo {

char const* W2C(char const* text) noexcept {
    return text;
}

char const* W2C(wchar_t const* text) noexcept {
    static std::array<char, 1024> buffer{};
    // When a character cannot be converted, the text before it is kept: better than no message.
    static_cast<void>(std::wcstombs(buffer.data(), text, buffer.size() - 1));
    buffer.back() = '\0';
    return buffer.data();
}

} // namespace thalvo
