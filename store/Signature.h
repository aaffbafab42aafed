/// @file
/// Signing a text inline.
#pragma once

#include "store/Reporter.h"

#include <string>
#include <string_view>

namespace zel::store {

/// Has `gpg`, found along PATH, sign a text inline. No shell is involved.
/// @param text     The text: whole lines, none of which begins with a hyphen.
/// @param key      What `gpg` knows the key by.
/// @param reporter Asked whether to go on while `gpg` runs.
/// @return The signed text. @throws Stop
std::string signedInline(std::string const& text, std::string const& key, Reporter& reporter);

/// @return Whether a signed text is signed inline and holds exactly this text. Whether the
///         signature is good is not asked.
bool holdsInline(std::string_view signedText, std::string_view text) noexcept;

} // namespace zel::store
