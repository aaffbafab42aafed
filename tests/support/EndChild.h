/// @file
/// The end of a forked child.
#pragma once

namespace support {

/// Ends a process as _exit() does, but writes the counters of the coverage build first.
[[noreturn]] void endChild(int status);

} // namespace support
