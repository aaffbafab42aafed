#pragma once

#include <set>
#include <string>

namespace support {

// A source file that uses std::regex takes two seconds more to compile, so only this one does.

/// @return Whether a part of the text matches the regular expression.
bool hasMatch(std::string const& text, std::string const& pattern);

/// @return What the first group of the regular expression matches, all over the text.
std::set<std::string> matches(std::string const& text, std::string const& pattern);

} // namespace support
