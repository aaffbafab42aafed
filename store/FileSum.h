/// @file
/// Reading, hashing and comparing whole files.
#pragma once

#include "store/Files.h"
#include "store/Record.h"
#include "store/Reporter.h"

#include <optional>
#include <string>

namespace zel::store {

/// Reads every byte of a file.
/// @param file     The open file.
/// @param path     Its path, for messages.
/// @param reporter Told how many bytes were read.
/// @return Its size and its hash. @throws Stop if it cannot be read
RecordedFile readSum(OpenedFile const& file, std::string const& path, Reporter& reporter);

/// Compares two files, and computes their common hash on the way.
/// @param left, right        The open files.
/// @param leftPath, rightPath Their paths, for messages.
/// @param reporter           Told of the bytes.
/// @return The hash of both, or nothing if they differ. @throws Stop if one cannot be read
std::optional<Digest> sumIfSame(OpenedFile const& left, std::string const& leftPath,
                                OpenedFile const& right, std::string const& rightPath,
                                Reporter& reporter);

/// @return Whether two files have the same bytes. Parameters are those of sumIfSame().
bool haveSameBytes(OpenedFile const& left, std::string const& leftPath, OpenedFile const& right,
                   std::string const& rightPath, Reporter& reporter);

} // namespace zel::store
