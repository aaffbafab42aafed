/// @file
/// The text of a camera configuration.
#pragma once

#include <string>

namespace zel::xml {
class Reader;
}

namespace zel {

/// An optic, a temperature range and a frame rate, for the camera's programs to use.
struct Selection {
    std::string fieldOfView; ///< field of view
    std::string minimum;     ///< low limit of the range
    std::string maximum;     ///< high limit of the range
    std::string opticsText;  ///< the optic's text, as in the description; may be empty
    std::string framerate;   ///< in hertz; empty for the template's
};

/// The optic and temperature range that a configuration suggests in a comment.
struct Suggestion {
    int fov = 0;       ///< field of view
    int minimum = -20; ///< low limit of the range
    int maximum = 100; ///< high limit of the range
};

/// @param description A calibration description that is loaded; its selection changes.
/// @return What it says of its first optic and that one's first temperature range; the defaults
///         where it says nothing.
/// @throws std::bad_alloc
Suggestion readSuggestion(xml::Reader& description);

/// @param path Path of a calibration description.
/// @return What it suggests; the defaults when it cannot be read.
Suggestion readSuggestion(std::string const& path) noexcept;

/// @return The configuration's XML text, 31 lines.
/// @throws std::bad_alloc
std::string configurationText(unsigned long serial, std::string const& calibrationDir,
                              std::string const& formatsDir, Suggestion const& suggested);

/// As the other form, with a selection that holds instead of a suggestion in a comment; 27 lines.
/// @return The configuration's XML text.
/// @throws std::bad_alloc
std::string configurationText(unsigned long serial, std::string const& calibrationDir,
                              std::string const& formatsDir, Selection const& selected);

} // namespace zel
