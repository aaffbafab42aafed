/// @file
/// How the paths of configuration, description and calibration files are formed.
#pragma once

#include <array>
#include <cstddef>

namespace zel {

/// Capacity, in characters, with which path buffers are passed to the bounded string helpers.
constexpr short pathCapacity = 260;

/// Room that createConfigFilepath() may write to for a given capacity, terminator included: a
/// working directory of twice the capacity, "/Imager/", and a name and a suffix of the capacity.
/// @param capacity The capacity passed, in characters.
/// @return Characters of storage the buffer needs.
constexpr unsigned int pathRoom(short capacity) noexcept {
    return 4U * static_cast<unsigned int>(capacity) + 16U;
}

/// Storage of a path handled with #pathCapacity. It is larger than that capacity, since the bounded
/// helpers limit each piece and not the whole text. Make it zero-filled: `PathBuffer path{};`.
using PathBuffer = std::array<char, pathRoom(pathCapacity)>;

/// The size passed to `getcwd(3)` for a given capacity, as if characters had two bytes: callers
/// depend on which directories fit.
/// @param capacity The capacity passed, in characters; not negative.
/// @return Characters, terminator included.
constexpr std::size_t workingDirectoryRoom(short capacity) noexcept {
    return static_cast<std::size_t>(capacity) * 2 + 1;
}

/// Forms "directory/name" + suffix, and creates the directory's last component when it is missing.
///
/// An empty directory stands for the sub-directory "Imager" of the current one. Nothing is
/// normalised: a directory that ends in '/' gives a doubled slash.
/// @param out      Receives the path; needs room for pathRoom(@p capacity) characters. Partly
///                 written when the result is false.
/// @param dir      Directory, without a trailing '/'.
/// @param capacity Limits each piece of the path, in characters.
/// @param name     File name.
/// @param suffix   Appended to the name; may be empty.
/// @return false when the working directory is unavailable or longer than twice the capacity, when
///         a pointer is null or @p capacity negative; else true.
bool createConfigFilepath(char* out, char const* dir, short capacity, char const* name,
                          char const* suffix) noexcept;

} // namespace zel
