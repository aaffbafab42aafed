#include "tool/sources/unpack/TarStream.h"

#include <algorithm>
#include <new>

namespace unpack {

namespace {

constexpr std::size_t room = 262144;
constexpr int gzipOnly = 15 + 16; // the largest window, and gzip's header

bool startsWith(std::string_view text, std::string_view start) noexcept {
    return text.substr(0, start.size()) == start;
}

} // namespace

Compression compressionOf(Input& input) {
    auto const start = input.next();
    input.moveTo(0);
    if (!start)
        return Compression::none;
    if (startsWith(*start, "\x1F\x8B"))
        return Compression::gzip;
    for (std::string_view const mark : {std::string_view("\xFD"
                                                         "7zXZ\0",
                                                         6),
                                        std::string_view("\x28\xB5\x2F\xFD")}) {
        if (startsWith(*start, mark))
            return Compression::other;
    }
    // A file of zstd may begin with a frame that is skipped.
    bool const isSkipped = start->size() >= 4 && (start->front() & 0xF0) == 0x50 &&
                           start->substr(1, 3) == "\x2A\x4D\x18";
    return isSkipped ? Compression::other : Compression::none;
}

TarStream::TarStream(Input& input, Compression compression)
    : m_input(input), m_compression(compression), m_bytes(room) {
    if (compression == Compression::gzip) {
        if (inflateInit2(&m_gzip, gzipOnly) != Z_OK)
            throw std::bad_alloc(); // GCOVR_EXCL_LINE: no test lets the memory of this run out
        m_isGzipOpen = true;
    } else if (compression == Compression::other) {
        m_filter = newReader();
        archive* const filter = m_filter.get();
        archive_read_support_filter_xz(filter);
        archive_read_support_filter_zstd(filter);
        archive_read_support_format_raw(filter);
        archive_entry* entry = nullptr;
        m_isFailed = input.openWith(filter, false) != ARCHIVE_OK ||
                     archive_read_next_header(filter, &entry) != ARCHIVE_OK;
    }
}

TarStream::~TarStream() {
    if (m_isGzipOpen)
        inflateEnd(&m_gzip);
}

std::optional<std::string_view> TarStream::next() noexcept {
    if (m_isFailed)
        return std::nullopt;
    auto bytes = m_compression == Compression::none   ? m_input.next()
                 : m_compression == Compression::gzip ? inflated()
                                                      : filtered();
    m_isFailed = !bytes;
    if (bytes)
        countZeros(*bytes);
    return bytes;
}

std::optional<std::string_view> TarStream::inflated() noexcept {
    m_gzip.next_out = reinterpret_cast<Bytef*>(m_bytes.data());
    m_gzip.avail_out = static_cast<uInt>(m_bytes.size());
    while (m_gzip.avail_out == m_bytes.size()) {
        auto const piece = m_input.next();
        if (!piece || (piece->empty() && !m_isMemberDone))
            return std::nullopt;
        if (piece->empty())
            break;
        if (m_isMemberDone) {
            // What was written to a tape may be followed by zeros, or by another member.
            auto const zeros = std::min(piece->find_first_not_of('\0'), piece->size());
            m_input.giveBack(piece->size() - zeros);
            if (zeros != 0)
                continue;
            inflateReset(&m_gzip); // fails only for what is no stream
            m_isMemberDone = false;
            continue;
        }
        m_gzip.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece->data()));
        m_gzip.avail_in = static_cast<uInt>(piece->size());
        int const result = inflate(&m_gzip, Z_NO_FLUSH);
        m_input.giveBack(m_gzip.avail_in);
        if (result != Z_OK && result != Z_STREAM_END)
            return std::nullopt;
        m_isMemberDone = result == Z_STREAM_END;
    }
    return std::string_view(m_bytes.data(), m_bytes.size() - m_gzip.avail_out);
}

std::optional<std::string_view> TarStream::filtered() noexcept {
    la_ssize_t const count = archive_read_data(m_filter.get(), m_bytes.data(), m_bytes.size());
    if (count < 0)
        return std::nullopt;
    return std::string_view(m_bytes.data(), static_cast<std::size_t>(count));
}

void TarStream::countZeros(std::string_view bytes) noexcept {
    auto const size = static_cast<std::int64_t>(bytes.size());
    auto const last = bytes.find_last_not_of('\0');
    m_zeros = last == std::string_view::npos ? m_zeros + size
                                             : size - 1 - static_cast<std::int64_t>(last);
    m_read += size;
}

bool TarStream::drain() noexcept {
    for (;;) {
        auto const bytes = next();
        if (!bytes)
            return false;
        if (bytes->empty())
            return true;
    }
}

} // namespace unpack
