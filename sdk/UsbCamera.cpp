#include "sdk/UsbCamera.h"

#include "util/FileDescriptor.h"

#include <array>
#include <cstddef>
#include <string_view>

#include <unistd.h>

namespace zel {

namespace {

constexpr std::string_view cameraVendor = "0403";
constexpr std::string_view cameraProduct = "de37";

// sysfs hands out no more than a page at a time; a line is cut there so that nothing else that
// stands in its place can fill the memory.
constexpr std::size_t longestLine = 65536;

std::optional<std::string> firstLine(std::string const& path) {
    auto const file = FileDescriptor::openForReading(path.c_str());
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

} // namespace

bool isCamera(std::string const& device) {
    return firstLine(device + "/idVendor") == cameraVendor &&
           firstLine(device + "/idProduct") == cameraProduct;
}

std::optional<std::string> usbSerialText(std::string const& device) {
    return firstLine(device + "/serial");
}

} // namespace zel
