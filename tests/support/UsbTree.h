#pragma once

#include <optional>
#include <string>

namespace support {

constexpr char const* usbDevices = "/sys/bus/usb/devices";

/// The attribute files of a USB device, as they stand; an attribute without a value has no file.
struct UsbDevice {
    std::optional<std::string> vendor;
    std::optional<std::string> product;
    std::optional<std::string> serial;
};

/// A camera whose serial file holds this line.
UsbDevice camera(std::string const& serialLine);

/// Replaces the machine's buses by a USB bus without devices. Only inside inPrivateNamespaces.
void emptyUsbTree();

/// Makes a device directory away from the device list, without listing it.
/// @return The directory.
std::string makeUsbDevice(std::string const& entry, UsbDevice const& device);

/// Lists a directory or file of the tree under this entry name, by a relative link as sysfs does.
void listUsbEntry(std::string const& entry, std::string const& target);

/// Makes the device and lists it.
void attach(std::string const& entry, UsbDevice const& device);

} // namespace support
