#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Files.h"

#include "sdk/manager/CameraSearch.h"
#include "util/Logger.h"

#include <algorithm>
#include <vector>

#include <unistd.h>

namespace companion {

namespace {

using thalvo::LogLevel;
using thalvo::report;
using Serials = std::vector<unsigned long>;

/// @param serial Serial number that is searched for; 0 for any.
/// @param all    Whether to go on after the first.
/// @return The cameras found, in directory order.
/// @throws Failure when the device tree cannot be searched.
Serials findCameras(unsigned long serial, bool all) {
    Serials found;
    int const error = zel::forEachCamera([&](zel::CameraEntry const& entry) {
        if (entry.error == 0) {
            report(LogLevel::debug, "tool/companion/Find", __LINE__, "Found device with serial ",
                   entry.serialText);
        }
        bool const fits = entry.serial != 0 && (serial == 0 || entry.serial == serial);
        if (fits && std::find(found.begin(), found.end(), entry.serial) == found.end())
            found.push_back(entry.serial);
        return all || found.empty();
    });
    if (error != 0) // only when the tree vanished after it was checked
        throw systemFailure("Cannot use the USB device tree", zel::usbDevices, // GCOVR_EXCL_LINE
                            error);                                            // GCOVR_EXCL_LINE
    return found;
}

Result tellAll(Serials const& found) {
    Result result;
    Json& cameras = result.members["cameras"] = Json::array();
    for (unsigned long const serial : found) {
        cameras.push_back({{"serial", serial}, {"attached", true}});
        result.text += std::to_string(serial) + "\n";
    }
    return result;
}

Result tellOne(Serials const& found, unsigned long wanted) {
    Result result;
    unsigned long const serial = found.empty() ? wanted : found.front();
    result.members["serial"] = serial != 0 ? Json(serial) : Json(nullptr);
    result.members["attached"] = !found.empty();
    if (!found.empty())
        result.text = std::to_string(serial) + "\n";
    return result;
}

void addFindOptions(CLI::App& parser, Options& options) {
    addSerialOrAll(parser, options, "Every attached camera");
}

Result runFind(Options const& options, Terminal const& /*terminal*/) {
    requireDirectory(zel::usbDevices, R_OK | X_OK, "USB device tree");
    Serials const found = findCameras(options.serial, options.all);
    Result result = options.all ? tellAll(found) : tellOne(found, options.serial);
    if (!found.empty())
        return result;
    answerNo(result);
    if (options.serial == 0)
        result.closing.emplace_back("No camera is attached.");
    else
        result.closing.push_back("Camera " + std::to_string(options.serial) + " is not attached.");
    return result;
}

} // namespace

Command const find{
    "find",
    "Find the first attached camera, every one, or tell whether a certain one is attached",
    "0 found, 1 not",
    "zentho-cali find",
    addFindOptions,
    runFind,
};

} // namespace companion
