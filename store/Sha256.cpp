#include "store/Sha256.h"

namespace zel::store {

namespace {

/// Without branches, so that compilers can do several digits at a time.
/// @return The value of a hexadecimal digit, or 16 for any other character.
constexpr std::uint8_t valueOf(char c) noexcept {
    auto const decimal = static_cast<std::uint8_t>(c - '0');
    auto const letter = static_cast<std::uint8_t>((c | 0x20) - 'a');
    auto const other = static_cast<std::uint8_t>(letter < 6 ? letter + 10 : 0x10);
    return decimal < 10 ? decimal : other;
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
    unsigned int all = 0;
    for (std::size_t i = 0; i < digest.size(); ++i) {
        unsigned int const high = valueOf(digits[2 * i]);
        unsigned int const low = valueOf(digits[2 * i + 1]);
        all |= high | low;
        digest[i] = static_cast<std::uint8_t>(high << 4U | low);
    }
    return all < 0x10 ? std::optional(digest) : std::nullopt;
}

} // namespace zel::store
