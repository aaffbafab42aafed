/// @file
/// SHA-256 (FIPS 180-4).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nettle/sha2.h>

namespace zel::store {

/// A SHA-256 hash.
using Digest = std::array<std::uint8_t, SHA256_DIGEST_SIZE>;

/// Computes a hash piece by piece.
class Sha256 {
public:
    Sha256() noexcept { sha256_init(&m_state); }

    /// Adds bytes.
    void add(std::string_view bytes) noexcept {
        sha256_update(&m_state, bytes.size(), reinterpret_cast<std::uint8_t const*>(bytes.data()));
    }
    /// @return The hash of all bytes so far. Resets the object.
    Digest finish() noexcept {
        Digest digest;
        sha256_digest(&m_state, digest.size(), digest.data());
        return digest;
    }

private:
    sha256_ctx m_state;
};

/// @return A hash in lower-case hexadecimal digits. @throws std::bad_alloc
std::string hexadecimal(Digest const& digest);

/// @return The hash that 64 hexadecimal digits stand for, or nothing for any other text.
std::optional<Digest> digestFrom(std::string_view digits) noexcept;

} // namespace zel::store
