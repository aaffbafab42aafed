/// @file
/// The bytes of a tar archive, decompressed.
#pragma once

#include "tool/sources/unpack/Input.h"

#include <archive.h>
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace unpack {

/// How a file is compressed.
enum class Compression {
    none,  ///< not as a whole
    gzip,  ///< by gzip
    other, ///< by xz or zstd
};

/// @return How a file is compressed, by its first bytes.
Compression compressionOf(Input& input);

/// Decompresses a file from its start to its end, and looks at all checksums on the way: the
/// archive library does not look at those of gzip.
class TarStream {
public:
    /// @param input The file. Must outlive this. @throws std::bad_alloc
    TarStream(Input& input, Compression compression);
    ~TarStream();
    TarStream(TarStream const&) = delete;
    TarStream& operator=(TarStream const&) = delete;

    /// @return The next bytes, until the next call; empty at the end; nothing when they are damaged
    ///         or cannot be read.
    std::optional<std::string_view> next() noexcept;

    /// Reads to the end. @return Whether nothing was damaged on the way.
    bool drain() noexcept;

    /// @return Whether the bytes could not be read to their end.
    bool isDamaged() const noexcept { return m_isFailed; }

    /// @param members Bytes up to the end of the last member.
    /// @return Whether the bytes so far end as every tar archive does, with two blocks of zeros
    /// behind
    ///         the last member.
    bool endsAsTar(std::int64_t members) const noexcept {
        return m_zeros >= endOfTar && m_read - members >= endOfTar;
    }

private:
    static constexpr std::int64_t endOfTar = 1024;

    std::optional<std::string_view> inflated() noexcept;
    bool beginMember() noexcept;
    std::optional<std::string_view> filtered() noexcept;
    void countZeros(std::string_view bytes) noexcept;

    Input& m_input;
    Compression m_compression;
    std::vector<char> m_bytes;
    std::int64_t m_read = 0;
    std::int64_t m_zeros = 0; // at the end of what was read
    z_stream m_gzip{};
    bool m_isMemberDone = false; // of the gzip file, which may have several
    bool m_isGzipOpen = false;
    ArchiveReader m_filter;
    bool m_isFailed = false;
};

} // namespace unpack
