#include "store/Sha256.h"

#include <charconv>

namespace zel::store {

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
    char const* position = digits.data();
    for (std::uint8_t& byte : digest) {
        auto const [end, error] = std::from_chars(position, position + 2, byte, 16);
        if (error != std::errc() || end != position + 2)
            return std::nullopt;
        position += 2;
    }
    return digest;
}

} // namespace zel::store
