#include "sdk/set/FileKinds.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace zel::set {

namespace {

/// A serial number in decimal.
class SerialText {
public:
    template <class Integer>
    explicit SerialText(Integer serial) noexcept {
        m_end = std::to_chars(m_digits.data(), m_digits.data() + m_digits.size(), serial).ptr;
    }

    std::string_view view() const noexcept {
        return {m_digits.data(), static_cast<std::size_t>(m_end - m_digits.data())};
    }

private:
    std::array<char, 24> m_digits{};
    char const* m_end = m_digits.data();
};

bool startsWith(std::string_view text, std::string_view start) noexcept {
    return text.substr(0, start.size()) == start;
}

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

/// @return Whether a name begins with a kind's prefix and the serial number, and no further digit
///         follows.
bool fits(std::string_view name, KindOfFile const& kind, std::string_view serial) noexcept {
    if (!startsWith(name, kind.prefix))
        return false;
    auto const rest = name.substr(kind.prefix.size());
    if (!startsWith(rest, serial))
        return false;
    return rest.size() == serial.size() || !isDigit(rest[serial.size()]);
}

bool fitsAnyKind(std::string_view name, std::string_view serial) noexcept {
    return std::any_of(kinds.begin(), kinds.end(),
                       [&](KindOfFile const& kind) { return fits(name, kind, serial); });
}

} // namespace

FileName::FileName(KindOfFile const& kind, std::string_view stem) noexcept {
    append(kind.prefix);
    append(stem);
    append(kind.suffix);
    m_characters[m_length] = '\0';
}

void FileName::append(std::string_view piece) noexcept {
    std::size_t const room = m_characters.size() - 1 - m_length;
    std::size_t const length = std::min(piece.size(), room);
    std::memcpy(m_characters.data() + m_length, piece.data(), length);
    m_length += length;
}

FileName descriptionName(int serial) noexcept {
    return {kinds.front(), SerialText(serial).view()};
}

FileName descriptionName(unsigned long serial) noexcept {
    return {kinds.front(), SerialText(serial).view()};
}

bool belongsTo(std::string_view name, unsigned long serial) noexcept {
    return fitsAnyKind(name, SerialText(serial).view());
}

bool belongsTo(std::string_view name, int serial) noexcept {
    return fitsAnyKind(name, SerialText(serial).view());
}

} // namespace zel::set
