/// @file
/// The end of a forked child.
#pragma once

namespace support {

/// Ends a process as _exit() does, but writes the counters of what the tests reached
/// first.
[[noreturn]] void endChild(int status);

} // namespace support
