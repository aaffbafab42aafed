/// @file
/// The elements of a document, for contents that a support::Camera does not make.
#pragma once

#include <string>

namespace support {

/// An element on one line: "<FOV>23</FOV>".
inline std::string element(std::string const& name, std::string const& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

/// An element whose tags have lines of their own, as its content should have.
inline std::string block(std::string const& name, std::string const& content) {
    return "<" + name + ">\n" + content + "</" + name + ">\n";
}

inline std::string repeated(std::string const& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

} // namespace support
