/// @file
/// The names in the hidden folder of a calibration directory.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zel::store {

/// The hidden folder.
constexpr char const* hiddenName = ".zentho-cali";
/// The file that is locked, in the hidden folder. It holds the holder's process id.
constexpr char const* lockName = "lock";
/// The file with the sums of the files beside it, and the same text signed inline.
constexpr char const* sumsName = "SHA256SUMS";
constexpr char const* signedSumsName = "SHA256SUMS.asc";

/// The folder of staged files, in the hidden folder. They are named by numbers, because the
/// installer searches subfolders, too, and must not find them under their final names.
constexpr char const* stageName = "stage";

/// @return Name of a camera's record. @throws std::bad_alloc
std::string recordName(unsigned long serial);
/// @return Name of a camera's journal. @throws std::bad_alloc
std::string journalName(unsigned long serial);

/// @return Serial number of the camera whose record this is; nothing for other names.
std::optional<unsigned long> serialOfRecord(std::string_view name) noexcept;
/// @return Serial number of the camera whose journal this is; nothing for other names.
std::optional<unsigned long> serialOfJournal(std::string_view name) noexcept;

/// @return A serial number in decimal, without sign and leading zeros, 1 to 2147483647; nothing for
///         other text.
std::optional<unsigned long> serialFrom(std::string_view digits) noexcept;

/// @return Whether a folder is of the store's own: the hidden one of a calibration directory, or
/// one
///         beside a mirror, which has the mirror's name in its own.
bool isOurFolder(std::string_view name) noexcept;

/// The longest name of a file, in bytes.
constexpr std::size_t longestName = 255;

/// @return Whether a name can be that of a file in the calibration directory: 1 to 255 bytes, no
///         slash, no null character.
bool isPlainName(std::string_view name) noexcept;

} // namespace zel::store
