/// @file
/// Size and sum of a file.
#pragma once

#include "store/Files.h"
#include "store/Record.h"
#include "store/Reporter.h"

#include <string>

namespace zel::store {

/// Reads every byte of a file.
/// @param file     The open file.
/// @param path     Its path, for messages.
/// @param reporter Told of the bytes.
/// @return Its size and the sum of its bytes. @throws Stop when it cannot be read
RecordedFile readSum(OpenedFile const& file, std::string const& path, Reporter& reporter);

} // namespace zel::store
