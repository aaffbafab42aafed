#include "tests/support/SmallSet.h"

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
    return R"(<CaliData>
<Temperature>
<Optics>
<OpticsDef>
<FOV>23</FOV>
<TempRanges>
<TemperatureRange>
<TempLo>-20</TempLo>
<TempHi>100</TempHi>
</TemperatureRange>
</TempRanges>
</OpticsDef>
</Optics>
</Temperature>
</CaliData>
)";
}

void writeSmallSet(std::string const& directory, unsigned long serial) {
    writeFile(directory + "/" + descriptionName(serial), smallDescription());
    writeFile(directory + "/" + dataName(serial), dataName(serial));
    writeFile(directory + "/" + curveName(serial), curveName(serial));
}

} // namespace support
