#include "store/Sha256.h"

namespace zel::store {

namespace {

/// @return The value of a hexadecimal digit, or 16 for any other character.
constexpr unsigned int valueOf(char c) noexcept {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned int>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned int>(c - 'a' + 10);
    return c >= 'A' && c <= 'F' ? static_cast<unsigned int>(c - 'A' + 10) : 0x10U;
}

} // namespace

std::string hexadecimal(Digest const& digest) {
    constexpr char const* digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * digest.size());
    for (std::uint8_t const byte : digest) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

std::optional<Digest> digestFrom(std::string_view digits) noexcept {
    Digest digest;
    if (digits.size() != 2 * digest.size())
        return std::nullopt;
    unsigned int valid = 0xFU;
    for (std::size_t i = 0; i < digest.size(); ++i) {
        unsigned int const high = valueOf(digits[2 * i]);
        unsigned int const low = valueOf(digits[2 * i + 1]);
        valid |= high | low;
        digest[i] = static_cast<std::uint8_t>((high << 4U | low) & 0xFFU);
    }
    return valid == 0xFU ? std::optional(digest) : std::nullopt;
}

} // namespace zel::store
