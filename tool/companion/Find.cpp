#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"

#include "sdk/IRCalibrationManager.h"

#include <unistd.h>

namespace companion {

namespace {

Result run(Options const& options, Terminal const& /*terminal*/) {
    // A tree that cannot be searched and one without a camera give the same answer in the library.
    requireDirectory("/sys/bus/usb/devices", R_OK | X_OK, "USB device tree");
    WorkingDirectory const home; // which the search leaves
    unsigned long serial = options.serial;
    if (manager().findSerial(serial)) {
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
