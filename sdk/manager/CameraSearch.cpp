#include "sdk/manager/CameraSearch.h"

#include "util/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {

namespace {

// Far more than the page that an attribute of sysfs has at most. Reading ends there, so that
// nothing else in its place can fill the memory.
constexpr std::size_t longestLine = 65536;

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

/// @return The first line of a file, without its newline; nothing when it cannot be opened.
std::optional<std::string> firstLine(int devices, std::string const& path) {
    auto const file = FileDescriptor::openForReading(path.c_str(), devices);
    if (!file.valid())
        return std::nullopt;

    std::string line;
    std::array<char, 4096> piece;
    while (line.size() < longestLine) {
        ssize_t const count = read(file.get(), piece.data(), piece.size());
        if (count <= 0)
            break;
        std::string_view const bytes(piece.data(), static_cast<std::size_t>(count));
        auto const newline = bytes.find('\n');
        line.append(bytes.substr(0, newline));
        if (newline != std::string_view::npos)
            break;
    }
    return line;
}

bool isCamera(int devices, std::string const& entry) {
    return firstLine(devices, entry + "/idVendor") == cameraVendor &&
           firstLine(devices, entry + "/idProduct") == cameraProduct;
}

bool isDotEntry(std::string_view entry) noexcept {
    return entry == "." || entry == "..";
}

/// @return What there is to tell about an entry; nothing when it is no camera.
std::optional<CameraEntry> examine(int devices, std::string const& entry) {
    if (isDotEntry(entry))
        return std::nullopt;
    struct stat status {};
    if (fstatat(devices, entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return CameraEntry{errno, {}, 0};
    // sysfs presents every device and interface as a link; the latter lack the identifiers.
    if (!S_ISLNK(status.st_mode) || !isCamera(devices, entry))
        return std::nullopt;
    auto text = firstLine(devices, entry + "/serial");
    if (!text)
        return std::nullopt;
    unsigned long const serial = std::strtoul(text->c_str(), nullptr, 10);
    return CameraEntry{0, std::move(*text), serial};
}

} // namespace

int forEachCamera(std::function<bool(CameraEntry const&)> const& visit) {
    Directory const devices(opendir(usbDevices));
    if (devices == nullptr)
        return errno;
    while (dirent const* const entry = readdir(devices.get())) {
        auto const met = examine(dirfd(devices.get()), entry->d_name);
        if (met && !visit(*met))
            break;
    }
    return 0;
}

} // namespace zel
