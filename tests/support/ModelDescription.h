/// @file
/// A second loader of descriptions and a second completeness check, written for plainness only.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace support {

/// What ConfigCali and the completeness check are compared with: step by step over a
/// ModelReader, with every lookup a walk from the first record. It shares no code with the product.
struct ModelDescription {
    struct TemperatureRange {
        unsigned short fid = 0;
        unsigned short skim = 0;
        float low = 0.0F;
        float high = 0.0F;
        float extendedLow = -100.0F;
        float extendedHigh = -100.0F;
        std::optional<std::vector<unsigned short>> frameRates;
        unsigned short decimal = 1;
        bool normalize = false;
        double t1 = 0.0;
        double t3 = 0.0;
        unsigned short e1 = 0;
        unsigned short e3 = 0;
        double lambda = 0.0;
    };

    struct Optic {
        int fieldOfView = 0;
        int serial = 0;
        std::string text; // empty for a missing one: both identify the same optic
        bool samplePointCalibrated = false;
        std::vector<TemperatureRange> ranges;
    };

    /// Reads `Cali-<serial>.xml`. @return Whether it can be read.
    bool load(std::string const& directory, int serial);

    /// The names of the missing files, each followed by a ';'.
    std::string missingFiles(std::string const& directory, int serial) const;

    /// The constants of the main section, in the order in which they are read.
    std::vector<double> constants;
    std::vector<Optic> optics;

private:
    Optic const* find(int fieldOfView, std::string const& text) const;
};

} // namespace support
