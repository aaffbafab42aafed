#pragma once

#include "imgproc/Cali.h"

#include <array>
#include <cstdint>
#include <string>

namespace bench {

/// What every reader reads a description into.
struct Records {
    MainSection mainSection;
    OpticsTable optics;
};

/// Reads Cali-<serial>.xml and walks every optic, range and frame rate of it.
/// @return The sum over what the walk found. Throws when the file cannot be read.
using LoadAndWalk = std::uint64_t (*)(std::string const& directory, int serial);

/// Reads the same into records, to compare the readers outside the measurement.
using Load = Records (*)(std::string const& directory, int serial);

struct Reader {
    char const* name;
    LoadAndWalk loadAndWalk;
    Load load;
};

Records loadWithPugixml(std::string const& directory, int serial);
Records loadWithTinyxml2(std::string const& directory, int serial);
Records loadWithLibxml2(std::string const& directory, int serial);
Records loadWithExpat(std::string const& directory, int serial);

/// The product first, then pugixml, tinyxml2, libxml2 and expat.
std::array<Reader, 5> const& readers();

/// A sum over every field of the records.
std::uint64_t digest(Records const& records);

/// The description's path.
std::string descriptionPath(std::string const& directory, int serial);

} // namespace bench
