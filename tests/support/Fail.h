#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace support {

/// Throws std::system_error with the reason that the last call gave.
/// @param what What did not work.
[[noreturn]] inline void fail(std::string const& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace support
