#include "tests/support/ConfigurationText.h"

namespace support {

std::string configurationText(std::string const& serial, std::string const& directory,
                              std::string const& fieldOfView) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<imager xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
           " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">\n"
           "  <serial>" +
           serial +
           "</serial>   <!-- Provide serial number, if you attach more than one"
           " camera -->\n"
           "  <videoformatindex>0</videoformatindex> <!-- index of the used video format (USB"
           " enpoint) -->\n"
           "  <formatspath>/usr/share/libzentho</formatspath>\n"
           "  <calipath>" +
           directory +
           "</calipath>\n"
           "  <!-- Uncomment the following lines to specify user-defined parameters for the desired"
           " optic\n"
           "       and temperature range. Be aware to specify meaningful parameters.\n"
           "       See documentation for further information: https://docs.zentho.example/\n"
           "       By default, the first available optic and the first meaningful temperature range"
           " are selected.\n"
           "  -->\n"
           "  <!--\n"
           "  <fov>" +
           fieldOfView +
           "</fov>\n"
           "  <temperature>\n"
           "    <min>-20</min>\n"
           "    <max>100</max>\n"
           "  </temperature>\n"
           "  <optics_text></optics_text>\n"
           "  -->\n"
           "  <framerate>32.0</framerate>             <!-- scaled down frame rate, must be less or"
           " equal than camera frame rate -->\n"
           "  <bispectral>0</bispectral>              <!-- 0=only thermal sensor, 1=bispectral"
           " technology (only VK50/VK53) -->\n"
           "  <average>0</average>                    <!-- average callback frames over"
           " intermediate frames -->\n"
           "  <autoflag>\n"
           "    <enable>1</enable>\n"
           "    <mininterval>15.0</mininterval>\n"
           "    <maxinterval>0.0</maxinterval>\n"
           "  </autoflag>\n"
           "  <pifmode>0</pifmode>                    <!-- 0=Image capture (default), 1=Flag"
           " control -->\n"
           "  <tchipmode>0</tchipmode>                <!-- 0=Floating (default), 1=Auto, 2=Fixed"
           " value -->\n"
           "  <tchipfixedvalue>40.0</tchipfixedvalue> <!-- Fixed value for tchipmode=2 -->\n"
           "</imager>\n";
}

} // namespace support
