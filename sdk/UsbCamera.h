/// @file
/// The attributes of a USB device in sysfs.
#pragma once

#include <optional>
#include <string>

namespace zel {

/// Tells a camera from other devices by its vendor and product identifier, each compared with the
/// whole first line of its attribute file.
/// @param device Directory of the device's attributes.
/// @return Whether both files can be opened and hold a camera's identifiers.
/// @throws std::bad_alloc
bool isCamera(std::string const& device);

/// @param device Directory of the device's attributes.
/// @return The first line of the serial number's attribute file, as it stands; nothing when that
///         cannot be opened.
/// @throws std::bad_alloc
std::optional<std::string> usbSerialText(std::string const& device);

} // namespace zel
