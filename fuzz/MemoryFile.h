/// @file
/// Where a fuzz target puts its input for operations that read a file.
#pragma once

#include "util/Logger.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

namespace fuzz {

/// Ends the fuzzer, which then keeps the input.
inline void require(bool holds, char const* claim) {
    if (holds)
        return;
    std::fprintf(stderr, "Does not hold: %s\n", claim);
    std::abort();
}

/// A file in memory, which needs no disk and no cleaning up.
class MemoryFile {
public:
    MemoryFile() : m_descriptor(memfd_create("input", MFD_CLOEXEC)) {
        require(m_descriptor >= 0, "there is memory for the input");
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

    void write(std::string_view bytes) const {
        bool const emptied = ftruncate(m_descriptor, 0) == 0;
        auto const written = pwrite(m_descriptor, bytes.data(), bytes.size(), 0);
        require(emptied && written == static_cast<ssize_t>(bytes.size()), "the input is written");
    }

private:
    int m_descriptor;
};

/// Lets the logger compose every message and show none.
inline void silenceTheLogger() {
    using thalvo::Logger;
    Logger::getInstance()->configure(
        "/dev/null", static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF), 3,
        3);
}

/// The bytes of an input as text.
inline std::string_view text(std::uint8_t const* data, std::size_t size) {
    return {reinterpret_cast<char const*>(data), size};
}

} // namespace fuzz
