/// @file
/// The mounted media.
#pragma once

#include <set>
#include <string>

namespace zel::store {

/// @return The mount points at or below `/media`, `/run/media` and `/mnt`, as
///         `/proc/self/mountinfo` (`proc(5)`) names them. @throws Stop when that cannot be read.
std::set<std::string> mountedMedia();

} // namespace zel::store
