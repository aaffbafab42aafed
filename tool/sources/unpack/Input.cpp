#include "tool/sources/unpack/Input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>

#include <sys/stat.h>
#include <unistd.h>

namespace unpack {

namespace {

la_ssize_t readInput(archive* reader, void* input, void const** bytes) {
    auto const piece = static_cast<Input*>(input)->next();
    if (!piece) {
        archive_set_error(reader, static_cast<Input*>(input)->error(), "The file cannot be read");
        return ARCHIVE_FATAL;
    }
    *bytes = piece->data();
    return static_cast<la_ssize_t>(piece->size());
}

la_int64_t skipInput(archive* /*reader*/, void* input, la_int64_t count) {
    auto& file = *static_cast<Input*>(input);
    auto const left = std::max<std::int64_t>(file.size() - file.offset(), 0);
    auto const skipped = std::min<std::int64_t>(count, left);
    file.moveTo(file.offset() + skipped);
    return skipped;
}

la_int64_t seekInput(archive* /*reader*/, void* input, la_int64_t offset, int whence) {
    auto& file = *static_cast<Input*>(input);
    // The library itself adds up what is sought from where it is.
    std::int64_t const from = whence == SEEK_END ? file.size() : 0;
    // A place outside the file is that of a damaged archive, in which the library then finds fault.
    file.moveTo(from + std::clamp<std::int64_t>(offset, -from, file.size() - from));
    return file.offset();
}

} // namespace

ArchiveReader newReader() {
    ArchiveReader reader(archive_read_new());
    if (reader == nullptr)
        throw std::bad_alloc(); // GCOVR_EXCL_LINE: no test lets the memory of this run out
    return reader;
}

Input::Input(int file) noexcept : m_file(file) {
    struct stat status {};
    if (fstat(file, &status) == 0)
        m_size = status.st_size;
}

std::optional<std::string_view> Input::next() noexcept {
    ssize_t count = -1;
    do
        count = pread(m_file, m_bytes.data(), m_bytes.size(), m_offset);
    while (count < 0 && errno == EINTR);
    if (count < 0) {
        m_error = errno;
        return std::nullopt;
    }
    m_offset += count;
    return std::string_view(m_bytes.data(), static_cast<std::size_t>(count));
}

int Input::openWith(archive* reader, bool seeks) noexcept {
    if (seeks) {
        archive_read_set_seek_callback(reader, seekInput);
        archive_read_set_skip_callback(reader, skipInput);
    }
    archive_read_set_read_callback(reader, readInput);
    archive_read_set_callback_data(reader, this);
    return archive_read_open1(reader);
}

} // namespace unpack
