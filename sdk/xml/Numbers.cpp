#include "sdk/xml/Numbers.h"

#include "util/StringHelpers.h"

#include <charconv>
#include <clocale>
#include <system_error>

#include <locale.h> // NOLINT(modernize-deprecated-headers): newlocale(3) is POSIX

namespace zel::xml {

namespace {

/// Gives the calling thread the "C" locale for as long as the object lives.
class CLocale {
public:
    CLocale() noexcept : m_previous(uselocale(cLocale())) {}
    ~CLocale() { uselocale(m_previous); }
    CLocale(CLocale const&) = delete;
    CLocale& operator=(CLocale const&) = delete;

private:
    static locale_t cLocale() noexcept {
        static locale_t const locale = newlocale(LC_ALL_MASK, "C", locale_t{});
        return locale;
    }

    locale_t m_previous;
};

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

template <class Number, class... Format>
bool readWhole(std::string_view text, Number* value, Format... format) noexcept {
    Number number = 0;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, number, format...);
    if (result.ec != std::errc() || result.ptr != end)
        return false;
    *value = number;
    return true;
}

/// Not with a leading zero, which means another base to "%i".
template <class Integer>
bool readPlainInteger(std::string_view text, Integer* value) noexcept {
    bool const leadingZero = text.size() > 1 && text.front() == '0';
    if (leadingZero || text.empty() || !isDigit(text.front()))
        return false;
    return readWhole(text, value);
}

} // namespace

bool readPlainNumber(std::string_view text, int* value) noexcept {
    return readPlainInteger(text, value);
}

bool readPlainNumber(std::string_view text, long* value) noexcept {
    return readPlainInteger(text, value);
}

bool readPlainNumber(std::string_view text, float* value) noexcept {
    auto const digits = text.substr(!text.empty() && text.front() == '-' ? 1 : 0);
    if (digits.empty() || !isDigit(digits.front()))
        return false;
    return readWhole(text, value, std::chars_format::fixed);
}

void scanNumber(char const* text, int* value) noexcept {
    CLocale const locale;
    _tscanfi(text, value);
}

void scanNumber(char const* text, long* value) noexcept {
    CLocale const locale;
    _tscanfld(text, value);
}

void scanNumber(char const* text, float* value) noexcept {
    CLocale const locale;
    _tscanff(text, value);
}

} // namespace zel::xml
