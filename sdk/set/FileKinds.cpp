#include "sdk/set/FileKinds.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <system_error>

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

char lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalButForCase(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

/// @return The serial number at the start of a text, without leading zeros, which names do not
/// have.
std::optional<unsigned long> serialAt(std::string_view text) noexcept {
    int serial = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), serial);
    if (error != std::errc() || serial <= 0 || text.front() == '0')
        return std::nullopt;
    return static_cast<unsigned long>(serial);
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

std::optional<unsigned long> ownerOf(std::string_view name) noexcept {
    for (KindOfFile const& kind : kinds) {
        if (equalButForCase(name.substr(0, kind.prefix.size()), kind.prefix))
            return serialAt(name.substr(kind.prefix.size()));
    }
    return std::nullopt;
}

std::string inProperCase(std::string_view name) {
    std::string proper(name);
    for (KindOfFile const& kind : kinds) {
        if (!equalButForCase(name.substr(0, kind.prefix.size()), kind.prefix))
            continue;
        proper.replace(0, kind.prefix.size(), kind.prefix);
        auto const suffixAt = name.size() - std::min(kind.suffix.size(), name.size());
        if (equalButForCase(name.substr(suffixAt), kind.suffix))
            proper.replace(suffixAt, kind.suffix.size(), kind.suffix);
    }
    return proper;
}

std::string inLowerCase(std::string_view name) {
    std::string lowered(name);
    std::transform(name.begin(), name.end(), lowered.begin(), lower);
    return lowered;
}

} // namespace zel::set
