#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace support {

/// How many descriptors this process has open, the one that counts them included.
inline std::ptrdiff_t openDescriptors() {
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

} // namespace support
