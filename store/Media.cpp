#include "store/Media.h"

#include "store/Files.h"
#include "store/Lines.h"
#include "store/Stop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

namespace zel::store {

namespace {

constexpr char const* mountTable = "/proc/self/mountinfo";
constexpr std::size_t largestTable = std::size_t{16} * 1024 * 1024;
constexpr std::size_t mountPointField = 4;

std::string_view fieldOf(std::string_view line, std::size_t index) noexcept {
    for (; index > 0; --index)
        line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
    return line.substr(0, line.find(' '));
}

/// Undoes the kernel's escapes: a blank, tab, line break or backslash is written as a backslash and
/// three octal digits. No other backslash is left in its table.
std::string withoutOctal(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string_view const digits = text.substr(i + 1, 3);
        if (text[i] != '\\' || digits.size() != 3) {
            plain += text[i];
            continue;
        }
        int const code = (digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0');
        plain += static_cast<char>(code);
        i += digits.size();
    }
    return plain;
}

bool isMedium(std::string_view path) noexcept {
    constexpr std::array<std::string_view, 3> places{"/media", "/run/media", "/mnt"};
    return std::any_of(places.begin(), places.end(), [&](std::string_view place) {
        auto const rest = after(place, path);
        return rest && (rest->empty() || rest->front() == '/');
    });
}

} // namespace

std::set<std::string> mountedMedia() {
    auto const table = readWhole(AT_FDCWD, mountTable, largestTable);
    if (!table)
        stop("Cannot read", mountTable, errno);
    std::set<std::string> media;
    forEachLine(*table, [&](std::string_view line) {
        std::string path = withoutOctal(fieldOf(line, mountPointField));
        if (isMedium(path))
            media.insert(std::move(path));
    });
    return media;
}

} // namespace zel::store
