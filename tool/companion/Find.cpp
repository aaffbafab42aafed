#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Files.h"

#include "sdk/manager/CameraSearch.h"
#include "util/Logger.h"

#include <cstring>

#include <unistd.h>

namespace companion {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* sourceFile = "tool/companion/Find";

/// @return The first camera in directory order that has this serial number, or any for 0; 0 when
///         there is none.
/// @throws Failure when the device tree cannot be searched.
unsigned long findCamera(unsigned long wanted) {
    unsigned long found = 0;
    int const error = zel::forEachCamera([&](zel::CameraEntry const& entry) {
        if (entry.error == 0) {
            report(LogLevel::debug, sourceFile, __LINE__, "Found device with serial ",
                   entry.serialText);
        }
        if (wanted == 0 || entry.serial == wanted)
            found = entry.serial;
        return found == 0;
    });
    if (error != 0) // only when the tree vanished after it was checked
        throw systemFailure("Cannot use the USB device tree", zel::usbDevices, // GCOVR_EXCL_LINE
                            error);                                            // GCOVR_EXCL_LINE
    return found;
}

Result run(Options const& options, Terminal const& /*terminal*/) {
    requireDirectory(zel::usbDevices, R_OK | X_OK, "USB device tree");
    if (unsigned long const serial = findCamera(options.serial); serial != 0) {
        std::string const text = std::to_string(serial);
        return {Status::yes, text + "\n", {{"serial", serial}, {"attached", true}}, {}};
    }
    if (options.serial == 0) {
        return {
            Status::no, "", {{"serial", nullptr}, {"attached", false}}, {"No camera is attached."}};
    }
    return {Status::no,
            "",
            {{"serial", options.serial}, {"attached", false}},
            {"Camera " + std::to_string(options.serial) + " is not attached."}};
}

} // namespace

Command const find{
    "find",
    "Find the first attached camera, or tell whether a certain one is attached",
    "0 found, 1 not",
    "zentho-cali find",
    addOptionalSerial,
    run,
};

} // namespace companion
