/// @file
/// The archive as a file.
#pragma once

#include <archive.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace unpack {

/// Frees what the archive library made.
struct ArchiveFreer {
    void operator()(archive* made) const noexcept { archive_read_free(made); }
};

/// A reader of archives.
using ArchiveReader = std::unique_ptr<archive, ArchiveFreer>;

/// @return A new one. @throws std::bad_alloc
ArchiveReader newReader();

/// Reads an open file from an offset of its own: others may read the same open file.
class Input {
public:
    /// @param file The open file.
    explicit Input(int file) noexcept;

    /// @return The next piece, until the next call; empty at the end; nothing when it cannot be
    ///         read, which error() then tells.
    std::optional<std::string_view> next() noexcept;
    /// Gives back the last bytes of the last piece, which next() then gives again.
    void giveBack(std::size_t count) noexcept { m_offset -= static_cast<std::int64_t>(count); }
    /// Continues at another place.
    void moveTo(std::int64_t offset) noexcept { m_offset = offset; }

    /// @return Where the next piece begins.
    std::int64_t offset() const noexcept { return m_offset; }
    /// @return The size of the file.
    std::int64_t size() const noexcept { return m_size; }
    /// @return The error number of the last failure; 0 without any.
    int error() const noexcept { return m_error; }

    /// Has the archive library read from here.
    /// @param seeks Whether it may move.
    /// @return What it says.
    int openWith(archive* reader, bool seeks) noexcept;

private:
    int m_file;
    std::int64_t m_offset = 0;
    std::int64_t m_size = 0;
    int m_error = 0;
    std::array<char, 65536> m_bytes;
};

} // namespace unpack
