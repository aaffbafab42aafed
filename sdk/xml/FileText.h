/// @file
/// The bytes of a file.
#pragma once

#include "util/FileDescriptor.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace zel::xml {

/// Text in a buffer of its own, followed by a null character. Characters that are rare are looked
/// for once, while the file is read, so that later steps can skip their search.
struct FileText {
    std::unique_ptr<char[]> characters; ///< the buffer
    std::size_t size = 0;               ///< characters of text in it
    bool hasNulls = false;              ///< whether there may be a null character in the text
    bool hasReturns = false;            ///< whether there may be a carriage return in it

    /// @return The text.
    std::string_view view() const noexcept { return {characters.get(), size}; }
};

/// Reads a whole file.
/// @param file      An open file, read from its current offset. Anything but a regular file, such
///                  as a directory or a pipe, counts as empty.
/// @param sizeLimit The largest size accepted, in bytes.
/// @return The text; nothing, with `errno` set, when the file cannot be read or is larger (EFBIG).
/// @throws std::bad_alloc
std::optional<FileText> readText(FileDescriptor const& file, std::size_t sizeLimit);

} // namespace zel::xml
