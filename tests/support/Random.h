/// @file
/// Numbers for tests that try many cases.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace support {

/// Chooses by a seed, the same on every machine.
class Random {
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    int below(int limit) { return static_cast<int>(m_engine() % static_cast<unsigned int>(limit)); }
    int between(int low, int high) { return low + below(high - low + 1); }
    bool chance(int percent) { return below(100) < percent; }
    /// An offset into the text, its end included.
    std::size_t placeIn(std::string const& text) {
        return static_cast<std::size_t>(below(static_cast<int>(text.size()) + 1));
    }
    /// The result refers into the texts.
    std::string const& oneOf(std::vector<std::string> const& texts) {
        return texts[static_cast<std::size_t>(below(static_cast<int>(texts.size())))];
    }

private:
    std::mt19937 m_engine;
};

} // namespace support
