#include "imgproc/NameStem.h"

#include "util/StringHelpers.h"

#include <cmath>
#include <limits>

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

} // namespace

int formatNameStem(char* buffer, unsigned int bufferSize, int serial, int fov, char const* text,
                   Range range, std::uint16_t framerate) noexcept {
    char const* const shownText = text != nullptr ? text : "";
    char const* const separator = shownText[0] != '\0' ? "-" : "";
    // Formatting ignores surplus arguments, such as the frame rate here.
    char const* const format = framerate != 0 ? "%i-%i%s%s-%s%i-%s%i-%i" : "%i-%i%s%s-%s%i-%s%i";
    return tsnprintf(buffer, bufferSize, format, serial, fov, separator, shownText,
                     signLetter(range.lo), magnitude(range.lo), signLetter(range.hi),
                     magnitude(range.hi), framerate);
}
