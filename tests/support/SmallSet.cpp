#include "tests/support/SmallSet.h"

#include "tests/support/Camera.h"
#include "tests/support/TemporaryDirectory.h"

namespace support {

std::string descriptionName(unsigned long serial) {
    return "Cali-" + std::to_string(serial) + ".xml";
}

std::string dataName(unsigned long serial) {
    return "Cali-" + std::to_string(serial) + "-23-M20-100.dat";
}

std::string curveName(unsigned long serial) {
    return "Kennlinie-" + std::to_string(serial) + "-23-M20-100.prn";
}

std::string smallDescription() {
    return camera(0)
        .optic(23)
        .range(-20, 100)
        .description(); // which does not tell the serial number
}

void writeSmallSet(std::string const& directory, unsigned long serial) {
    writeFile(directory + "/" + descriptionName(serial), smallDescription());
    writeFile(directory + "/" + dataName(serial), dataName(serial));
    writeFile(directory + "/" + curveName(serial), curveName(serial));
}

} // namespace support
