/// @file
/// The record of an installed set.
#pragma once

#include "store/Names.h"
#include "store/Sums.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

/// A file as recorded.
struct RecordedFile {
    std::uint64_t size; ///< in bytes
    Digest digest;      ///< sum of its bytes
};

/// Says what was installed, from where and when. Its text can be read by `sha256sum -c` in the
/// calibration directory; sizes, source and date stand in comment lines.
struct Record {
    std::string source;              ///< path of the source; may be empty
    std::string date;                ///< in ISO 8601
    Names names;                     ///< the names of its files
    std::vector<RecordedFile> files; ///< what is recorded of them, in the order of the names

    /// Adds a file, or replaces what is recorded of it. @throws std::bad_alloc
    void add(std::string_view name, RecordedFile const& file);
    /// @return What is recorded of a file; null when it is not recorded.
    RecordedFile const* find(std::string_view name) const noexcept;

    /// @return The record's text, sorted by name. @throws std::bad_alloc
    std::string text() const;

    /// Reads a record. Its text is not trusted: files of other cameras and unknown lines are
    /// ignored. The size of a file stands before its sum, as text() writes it.
    /// @param text   Its text.
    /// @param serial Serial number of the camera.
    /// @return The record; nothing when a file lacks its size or its sum, or none is left.
    /// @throws std::bad_alloc
    static std::optional<Record> from(std::string_view text, unsigned long serial);
};

/// The largest text of a record that is read, in bytes: a hundred thousand files.
constexpr std::size_t largestRecord = std::size_t{64} * 1024 * 1024;

/// @return A time, in ISO 8601 and UTC: "2026-11-22T01:07:22Z". @throws std::bad_alloc
std::string dateOf(std::time_t time);

/// @return The time of a date as dateOf() writes it; nothing for other text. @throws std::bad_alloc
std::optional<std::time_t> timeOf(std::string const& date);

/// @return The date of now. @throws std::bad_alloc
std::string now();

} // namespace zel::store
