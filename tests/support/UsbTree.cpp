#include "tests/support/UsbTree.h"

#include "tests/support/Namespace.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>

namespace support {

namespace {

void writeAttribute(std::string const& path, std::optional<std::string> const& value) {
    if (value) {
        writeFile(path, *value);
    }
}

} // namespace

UsbDevice camera(std::string const& serialLine) {
    return {"0403\n", "de37\n", serialLine};
}

void emptyUsbTree() {
    mountTmpfs("/sys/bus");
    std::filesystem::create_directories(usbDevices);
}

std::string makeUsbDevice(std::string const& entry, UsbDevice const& device) {
    auto const directory = "/sys/bus/controller/usb1/" + entry;
    std::filesystem::create_directories(directory);
    writeAttribute(directory + "/idVendor", device.vendor);
    writeAttribute(directory + "/idProduct", device.product);
    writeAttribute(directory + "/serial", device.serial);
    return directory;
}

void listUsbEntry(std::string const& entry, std::string const& target) {
    auto const relative = std::filesystem::path(target).lexically_relative(usbDevices);
    std::filesystem::create_symlink(relative, std::string(usbDevices) + "/" + entry);
}

void attach(std::string const& entry, UsbDevice const& device) {
    listUsbEntry(entry, makeUsbDevice(entry, device));
}

} // namespace support
