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

std::string configurationText(unsigned long serial, std::string const& calibrationDir,
                              std::string const& formatsDir, Suggestion const& suggested) {
    // clang-format off
    return std::string(R"(<?xml version="1.0" encoding="UTF-8"?>
<imager xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:xsd="http://www.w3.org/2001/XMLSchema">
  <serial>)") + std::to_string(serial) + R"(</serial>   <!-- Provide serial number, if you attach more than one camera -->
  <videoformatindex>0</videoformatindex> <!-- index of the used video format (USB enpoint) -->
  <formatspath>)" + formatsDir + R"(</formatspath>
  <calipath>)" + calibrationDir + R"(</calipath>
  <!-- Uncomment the following lines to specify user-defined parameters for the desired optic
       and temperature range. Be aware to specify meaningful parameters.
       See documentation for further information: )" ZENTHO_DOCUMENTATION_URL R"(
       By default, the first available optic and the first meaningful temperature range are selected.
  -->
  <!--
  <fov>)" + std::to_string(suggested.fov) + R"(</fov>
  <temperature>
    <min>)" + std::to_string(suggested.minimum) + R"(</min>
    <max>)" + std::to_string(suggested.maximum) + R"(</max>
  </temperature>
  <optics_text></optics_text>
  -->
  <framerate>32.0</framerate>             <!-- scaled down frame rate, must be less or equal than camera frame rate -->
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

} // namespace zel
