#include "sdk/manager/Configuration.h"

#include "imgproc/Description.h"
#include "sdk/SimpleXML.h"
#include "sdk/xml/Reader.h"
#include "sdk/xml/ReaderAccess.h"

namespace zel {

// The outcome of the descents is not examined: an incomplete description suggests what the last
// element found holds.
Suggestion readSuggestion(xml::Reader& description) {
    Suggestion suggestion;
    description.selectRoot();
    for (char const* const name : {"Temperature", "Optics", "OpticsDef"})
        description.enter(name);
    description.readNumber("FOV", &suggestion.fov);

    description.selectRoot();
    for (char const* const name :
         {"Temperature", "Optics", "OpticsDef", "TempRanges", "TemperatureRange"}) {
        description.enter(name);
    }
    description.readNumber("TempLo", &suggestion.minimum);
    description.readNumber("TempHi", &suggestion.maximum);
    return suggestion;
}

Suggestion readSuggestion(std::string const& path) noexcept try {
    SimpleXML xml;
    if (!xml.open(path.c_str(), descriptionRoot))
        return {};
    return readSuggestion(xml::ReaderAccess::of(xml));
} catch (...) {
    return {}; // GCOVR_EXCL_LINE: no element of these names needs memory to be found
}

namespace {

/// The text before and after the optic and its range.
std::string textAround(unsigned long serial, std::string const& calibrationDir,
                       std::string const& formatsDir, std::string const& selection,
                       std::string const& framerate) {
    // clang-format off
    return std::string(R"(<?xml version="1.0" encoding="UTF-8"?>
<imager xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:xsd="http://www.w3.org/2001/XMLSchema">
  <serial>)") + std::to_string(serial) + R"(</serial>   <!-- Provide serial number, if you attach more than one camera -->
  <videoformatindex>0</videoformatindex> <!-- index of the used video format (USB enpoint) -->
  <formatspath>)" + formatsDir + R"(</formatspath>
  <calipath>)" + calibrationDir + R"(</calipath>
)" + selection + R"(  <framerate>)" + framerate + R"(</framerate>             <!-- scaled down frame rate, must be less or equal than camera frame rate -->
  <bispectral>0</bispectral>              <!-- 0=only thermal sensor, 1=bispectral technology (only VK50/VK53) -->
  <average>0</average>                    <!-- average callback frames over intermediate frames -->
  <autoflag>
    <enable>1</enable>
    <mininterval>15.0</mininterval>
    <maxinterval>0.0</maxinterval>
  </autoflag>
  <pifmode>0</pifmode>                    <!-- 0=Image capture (default), 1=Flag control -->
  <tchipmode>0</tchipmode>                <!-- 0=Floating (default), 1=Auto, 2=Fixed value -->
  <tchipfixedvalue>40.0</tchipfixedvalue> <!-- Fixed value for tchipmode=2 -->
</imager>
)";
    // clang-format on
}

std::string selectionText(std::string const& fieldOfView, std::string const& minimum,
                          std::string const& maximum, std::string const& opticsText) {
    return "  <fov>" + fieldOfView + "</fov>\n  <temperature>\n    <min>" + minimum +
           "</min>\n    <max>" + maximum + "</max>\n  </temperature>\n  <optics_text>" +
           opticsText + "</optics_text>\n";
}

constexpr char const* usualFramerate = "32.0";

} // namespace

std::string configurationText(unsigned long serial, std::string const& calibrationDir,
                              std::string const& formatsDir, Suggestion const& suggested) {
    std::string const comment =
        "  <!-- Uncomment the following lines to specify user-defined parameters for the desired"
        " optic\n"
        "       and temperature range. Be aware to specify meaningful parameters.\n"
        "       See documentation for further information: " ZENTHO_DOCUMENTATION_URL "\n"
        "       By default, the first available optic and the first meaningful temperature range"
        " are selected.\n"
        "  -->\n";
    std::string const selection =
        selectionText(std::to_string(suggested.fov), std::to_string(suggested.minimum),
                      std::to_string(suggested.maximum), "");
    return textAround(serial, calibrationDir, formatsDir,
                      comment + "  <!--\n" + selection + "  -->\n", usualFramerate);
}

std::string configurationText(unsigned long serial, std::string const& calibrationDir,
                              std::string const& formatsDir, Selection const& selected) {
    return textAround(serial, calibrationDir, formatsDir,
                      selectionText(selected.fieldOfView, selected.minimum, selected.maximum,
                                    selected.opticsText),
                      selected.framerate.empty() ? usualFramerate : selected.framerate);
}

} // namespace zel
