#include "sdk/xml/FileText.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include <sys/stat.h>
#include <unistd.h>

namespace zel::xml {

namespace {

constexpr std::size_t pieceSize = 65536; // stays in the cache while it is searched

bool contains(std::string_view text, char searched) noexcept {
    return text.find(searched) != std::string_view::npos;
}

/// @return Room for a text of this size, not initialised, and the null character after it.
FileText roomFor(std::size_t size) {
    FileText text;
    text.characters.reset(new char[size + 1]);
    text.size = size;
    return text;
}

/// Reads until the room is full or the file ends. @return false on an error.
bool fill(FileText& text, FileDescriptor const& file) noexcept {
    std::size_t filled = 0;
    while (filled < text.size) {
        char* const at = text.characters.get() + filled;
        ssize_t const count = read(file.get(), at, std::min(pieceSize, text.size - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            break;
        std::string_view const piece(at, static_cast<std::size_t>(count));
        text.hasNulls = text.hasNulls || contains(piece, '\0');
        text.hasReturns = text.hasReturns || contains(piece, '\r');
        filled += piece.size();
    }
    text.size = filled;
    text.characters[filled] = '\0';
    return true;
}

} // namespace

std::optional<FileText> readText(FileDescriptor const& file, std::size_t sizeLimit) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        return std::nullopt;
    auto const size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    if (size > sizeLimit) {
        errno = EFBIG;
        return std::nullopt;
    }
    FileText text = roomFor(static_cast<std::size_t>(size));
    if (!fill(text, file))
        return std::nullopt;
    return text;
}

} // namespace zel::xml
