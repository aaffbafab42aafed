/// @file
/// The search for attached cameras in the USB device tree of sysfs
/// (https://docs.kernel.org/admin-guide/sysfs-rules.html).
#pragma once

#include <functional>
#include <string>

namespace zel {

/// The USB device tree: a directory with a link for each device and interface.
constexpr char const* usbDevices = "/sys/bus/usb/devices";

/// USB vendor identifier of the cameras, as sysfs shows it.
constexpr char const* cameraVendor = "0403";
/// USB product identifier of the cameras, likewise.
constexpr char const* cameraProduct = "de37";

/// What the search met at one entry of the device tree.
struct CameraEntry {
    /// `errno` of an entry whose status cannot be taken; 0 for a camera.
    int error;
    /// The first line of the camera's serial number file, as it stands.
    std::string serialText;
    /// The number at the start of that text, after blanks; 0 without one.
    unsigned long serial;
};

/// Visits the attached cameras, and the entries whose status cannot be taken, in the order in which
/// the directory lists them. A camera is known by its vendor and product identifier; one without a
/// serial number file is passed over. Every file is opened relative to the directory: the working
/// directory neither matters nor changes. Safe from several threads.
/// @param visit Called for each; the search ends when it returns false.
/// @return 0, or the `errno` of a device tree that cannot be listed.
/// @throws std::bad_alloc, and whatever @p visit throws
int forEachCamera(std::function<bool(CameraEntry const&)> const& visit);

} // namespace zel
