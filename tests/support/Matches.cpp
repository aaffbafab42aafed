#include "tests/support/Matches.h"

#include <regex>

namespace support {

bool hasMatch(std::string const& text, std::string const& pattern) {
    return std::regex_search(text, std::regex(pattern));
}

std::set<std::string> matches(std::string const& text, std::string const& pattern) {
    std::regex const expression(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator hit(text.begin(), text.end(), expression), end; hit != end; ++hit)
        found.insert(hit->str(1));
    return found;
}

} // namespace support
