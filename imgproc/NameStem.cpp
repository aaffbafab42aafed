#include "imgproc/NameStem.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>

namespace {

/// @return The limit's absolute value without its fraction; the largest integer when it is larger,
///         0 when it is not a number.
int magnitude(float limit) noexcept {
    float const absolute = std::fabs(limit);
    if (std::isnan(absolute))
        return 0;
    constexpr int largest = std::numeric_limits<int>::max();
    return absolute < static_cast<float>(largest) ? static_cast<int>(absolute) : largest;
}

/// A minus sign would look like the hyphens that separate the parts of a stem. The letter depends
/// on the limit, not on the digits: -0.5 becomes M0.
char const* signLetter(float limit) noexcept {
    return limit < 0.0F ? "M" : "";
}

/// Writes a stem piece by piece, as far as there is room, and counts all of it. `printf(3)` would
/// take a third of the time of a walk over the files of a set.
class Stem {
public:
    Stem(char* buffer, std::size_t room) noexcept : m_buffer(buffer), m_room(room) {}

    Stem& operator<<(std::string_view piece) noexcept {
        if (m_length < m_room)
            piece.copy(m_buffer + m_length, m_room - m_length);
        m_length += piece.size();
        return *this;
    }

    Stem& operator<<(int number) noexcept {
        std::array<char, 16> digits;
        char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        return *this << std::string_view(digits.data(),
                                         static_cast<std::size_t>(end - digits.data()));
    }

    /// Terminates the stem. @return Its length, also when it was cut.
    int end() noexcept {
        if (m_room != 0)
            m_buffer[std::min(m_length, m_room - 1)] = '\0';
        return static_cast<int>(m_length);
    }

private:
    char* m_buffer;
    std::size_t m_room;
    std::size_t m_length = 0;
};

} // namespace

int formatNameStem(char* buffer, unsigned int bufferSize, int serial, int fov, char const* text,
                   Range range, std::uint16_t framerate) noexcept {
    Stem stem(buffer, bufferSize);
    stem << serial << "-" << fov;
    if (text != nullptr && text[0] != '\0')
        stem << "-" << text;
    for (float const limit : {range.lo, range.hi})
        stem << "-" << signLetter(limit) << magnitude(limit);
    if (framerate != 0)
        stem << "-" << int{framerate};
    return stem.end();
}
