/// @file
/// Reads an archive and tells its members.
#pragma once

#include "util/Frames.h"

#include <cstdint>
#include <string_view>

namespace unpack {

/// Which members are told.
struct Wanted {
    bool namesOnly = false;   ///< of descriptions, and only their names
    unsigned long serial = 0; ///< camera whose files are unpacked, and sums; 0: every camera's.
                              ///< Of other cameras' descriptions the names are told.
};

/// Reads an archive to its end: zip, 7z, tar, and tar compressed with gzip, xz or zstd.
/// @param archive The open archive. Its offset does not matter and is not changed.
/// @param wanted  Which members are told.
/// @param out     Told of them. The last frame says how it ended; when the pipe is gone, there is
///                none.
void unpack(int archive, Wanted const& wanted, zel::frames::FrameWriter const& out) noexcept;

} // namespace unpack
