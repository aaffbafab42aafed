/// @file
/// The files that a camera's set consists of, and their names.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zel::set {

/// The largest serial number of a camera; the smallest is 1.
constexpr unsigned long largestSerial = 2147483647;

/// @return Whether a camera can have the serial number.
constexpr bool isSerial(unsigned long serial) noexcept {
    return serial >= 1 && serial <= largestSerial;
}

/// A kind of file.
enum class FileKind {
    description, ///< the calibration description
    data,        ///< calibration data
    curve,       ///< a characteristic curve
};

/// How many files of a kind a set has.
enum class Need {
    oncePerCamera,               ///< one; its stem is the serial number
    everyDataSet,                ///< one per data set, with the data set's stem
    unlessSamplePointCalibrated, ///< the same, but none for optics that are calibrated by sample
                                 ///< points
};

/// What is known about a kind of file. A name is the prefix, a stem and the suffix.
struct KindOfFile {
    FileKind kind;           ///< which kind it is
    std::string_view prefix; ///< what its names begin with; the serial number follows
    std::string_view suffix; ///< what they end with
    Need need;               ///< how many there are
};

/// Every kind of file, in the order in which the files of one data set are checked: the description
/// first, and kinds of one prefix next to each other.
inline constexpr std::array<KindOfFile, 3> kinds{{
    {FileKind::description, "Cali-", ".xml", Need::oncePerCamera},
    {FileKind::data, "Cali-", ".dat", Need::everyDataSet},
    {FileKind::curve, "Kennlinie-", ".prn", Need::unlessSamplePointCalibrated},
}};
static_assert(kinds.front().kind == FileKind::description);

/// Room for a file name, in characters, with its terminator; a longer name is cut.
constexpr std::size_t nameRoom = 260;

/// A file's name, in a buffer of its own.
class FileName {
public:
    /// @param kind A kind of file.
    /// @param stem The stem of the name.
    FileName(KindOfFile const& kind, std::string_view stem) noexcept;

    /// @return The name, terminated.
    char const* c_str() const noexcept { return m_characters.data(); }
    /// @return The name.
    std::string_view view() const noexcept { return {m_characters.data(), m_length}; }

private:
    void append(std::string_view piece) noexcept;

    std::array<char, nameRoom> m_characters;
    std::size_t m_length = 0;
};

/// @param serial Serial number of a camera.
/// @return The name of its description.
FileName descriptionName(int serial) noexcept;
/// @copydoc descriptionName(int)
FileName descriptionName(unsigned long serial) noexcept;

/// Checks whether a file belongs to a camera. A longer serial number that begins with the camera's
/// is another camera's.
/// @param name   Name of a file.
/// @param serial Serial number of a camera.
/// @return Whether the file belongs to exactly this camera.
bool belongsTo(std::string_view name, unsigned long serial) noexcept;

/// As the other form, for the serial number as the names in a description have it: beyond
/// 2147483647 it is negative.
/// @param name   Name of a file.
/// @param serial Serial number of a camera.
/// @return Whether the file belongs to exactly this camera.
bool belongsTo(std::string_view name, int serial) noexcept;

/// Finds out whose a file is, by a name whose letters may have another case: some file systems of
/// sticks keep names in capitals.
/// @param name Name of a file.
/// @return Serial number of the camera, 1 to 2147483647; nothing for a file of no camera.
std::optional<unsigned long> ownerOf(std::string_view name) noexcept;

/// @param name Name of a camera's file; its letters may have another case.
/// @return The name with the prefix, and the suffix if it is one of the prefix's kinds, as they are
///         spelt. @throws std::bad_alloc
std::string inProperCase(std::string_view name);

/// @return The name with small letters instead of the capitals A to Z. @throws std::bad_alloc
std::string inLowerCase(std::string_view name);

} // namespace zel::set
