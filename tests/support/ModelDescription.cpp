#include "tests/support/ModelDescription.h"

#include "tests/support/ModelReader.h"

#include <cmath>
#include <fstream>
#include <memory>
#include <utility>

namespace support {

namespace {

using Optic = ModelDescription::Optic;
using TemperatureRange = ModelDescription::TemperatureRange;

unsigned short narrow(int value) {
    return static_cast<unsigned short>(static_cast<unsigned int>(value) & 0xffffU);
}

short narrowSigned(int value) {
    int const low = narrow(value);
    return static_cast<short>(low < 32768 ? low : low - 65536);
}

int readInt(ModelReader& reader, char const* name, int initial) {
    reader.getInt(name, &initial);
    return initial;
}

float readFloat(ModelReader& reader, char const* name, float initial) {
    reader.getFloat(name, &initial);
    return initial;
}

std::string readText(ModelReader& reader, char const* name) {
    char* text = nullptr;
    reader.getString(name, &text);
    std::unique_ptr<char[]> const owned(text);
    return text != nullptr ? text : "";
}

std::vector<double> readConstants(ModelReader& reader) {
    std::vector<double> constants;
    auto const word = [&](char const* name, int initial) {
        constants.push_back(narrow(readInt(reader, name, initial)));
    };
    auto const real = [&](char const* name, float initial) {
        constants.push_back(static_cast<double>(readFloat(reader, name, initial)));
    };
    reader.setNode();
    reader.setNode("Main");
    word("TecA", 3400);
    word("TecB", 400);
    word("TecC", 400);
    word("TecD", 120);
    real("TempTEC_Step", 5.0F);
    real("TempTECOffset", 294.5F);
    real("TempTECGain", 13.055F);
    real("TempFlagOffset", 0.0F);
    real("TempChipFactor", 1.0F);
    real("TempChipOffset", 0.0F);
    real("TempBoxOffset", 0.0F);
    real("TempOpticsOffset", 0.0F);
    real("TempProcOffset", 0.0F);
    real("TempHouseOffset", 0.0F);
    real("PifInOffset", 0.0F);
    real("PifInGain", 1.0F);
    real("PifOutOffset", 0.0F);
    real("PifOutGain", 1.0F);
    constants.push_back(narrowSigned(readInt(reader, "AddedOffset", 0)));
    real("BindTempChipToTempFlagOffset", 0.8F);
    word("FlagCycles", 10);
    word("FlagCycles_Ignore", 2);
    real("AlphaLowTemp", 23.0F);
    real("AlphaLowFactor", 1.0F);
    return constants;
}

void readExtendedRange(ModelReader& reader, TemperatureRange& range) {
    range.extendedLow = range.low;
    float low = -100.0F;
    if (reader.getFloat("TempLoExt", &low) && !(range.low < low))
        range.extendedLow = low;
    range.extendedHigh = range.high;
    float high = -100.0F;
    if (reader.getFloat("TempHiExt", &high) && !(high < range.high))
        range.extendedHigh = high;
}

void readFrameRates(ModelReader& reader, TemperatureRange& range) {
    if (!reader.setNode("Framerates"))
        return;
    range.frameRates.emplace();
    int const count = static_cast<int>(reader.getNodeCount("Framerate"));
    for (int k = 0; k < count; ++k) {
        range.frameRates->push_back(0);
        if (reader.setNode("Framerate", k)) {
            range.frameRates->back() = narrow(readInt(reader, "FR", 0));
            reader.resetNode();
        }
    }
    reader.resetNode();
}

void readTableParams(ModelReader& reader, TemperatureRange& range) {
    if (!reader.setNode("TableParams"))
        return;
    range.normalize = readInt(reader, "Normalize", 0) != 0;
    range.t1 = readInt(reader, "T1", 0);
    range.t3 = readInt(reader, "T3", 0);
    range.e1 = narrow(readInt(reader, "E1", 0));
    range.e3 = narrow(readInt(reader, "E3", 0));
    range.lambda = static_cast<double>(readFloat(reader, "Lambda", 0.0F));
    reader.resetNode();
}

TemperatureRange readRange(ModelReader& reader) {
    TemperatureRange range;
    range.fid = narrow(readInt(reader, "Fid", 0));
    range.skim = narrow(readInt(reader, "Skim", 0));
    range.low = readFloat(reader, "TempLo", 0.0F);
    range.high = readFloat(reader, "TempHi", 0.0F);
    readExtendedRange(reader, range);
    readFrameRates(reader, range);
    range.decimal = narrow(readInt(reader, "Decimal", 1));
    readTableParams(reader, range);
    return range;
}

std::vector<TemperatureRange> customaryRanges() {
    std::vector<TemperatureRange> ranges(3);
    ranges[0].low = -20.0F;
    ranges[0].high = 100.0F;
    ranges[1].high = 250.0F;
    ranges[2].low = 150.0F;
    ranges[2].high = 900.0F;
    return ranges;
}

bool saysTrue(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + 'a' - 'A');
    }
    return text == "true";
}

Optic readOptic(ModelReader& reader, int index) {
    Optic optic;
    optic.ranges = customaryRanges();
    if (!reader.setNode("OpticsDef", index))
        return optic;
    optic.fieldOfView = readInt(reader, "FOV", 0);
    optic.serial = readInt(reader, "SerNo", 0);
    optic.text = readText(reader, "Text");
    optic.samplePointCalibrated = saysTrue(readText(reader, "SamplePointCali"));
    if (reader.setNode("TempRanges")) {
        optic.ranges.clear();
        int const count = static_cast<int>(reader.getNodeCount("TemperatureRange"));
        for (int j = 0; j < count; ++j) {
            optic.ranges.emplace_back();
            if (reader.setNode("TemperatureRange", j)) {
                optic.ranges.back() = readRange(reader);
                reader.resetNode();
            }
        }
        reader.resetNode();
    }
    reader.resetNode();
    return optic;
}

std::string limitInName(float limit) {
    double const absolute = std::fabs(static_cast<double>(limit));
    int const digits = std::isnan(limit)          ? 0
                       : absolute >= 2147483647.0 ? 2147483647
                                                  : static_cast<int>(absolute);
    return (limit < 0.0F ? "M" : "") + std::to_string(digits);
}

/// A text as a formatter with room for 260 characters cuts it.
std::string cut(std::string const& text) {
    return text.substr(0, 259);
}

bool canBeOpened(std::string const& path) {
    return std::ifstream(path).is_open();
}

/// The directories of tests are so short that no path is cut.
std::string ifMissing(std::string const& directory, std::string const& name) {
    return canBeOpened(directory + "/" + name) ? "" : name + ";";
}

} // namespace

bool ModelDescription::load(std::string const& directory, int serial) {
    ModelReader reader;
    std::string const path = directory + "/Cali-" + std::to_string(serial) + ".xml";
    if (!reader.open(path.c_str(), "CaliData"))
        return false;
    constants = readConstants(reader);
    reader.setNode();
    reader.setNode("Temperature");
    reader.setNode("Optics");
    int const count = static_cast<int>(reader.getNodeCount("OpticsDef"));
    for (int i = 0; i < count; ++i) {
        optics.push_back(readOptic(reader, i));
    }
    return true;
}

Optic const* ModelDescription::find(int fieldOfView, std::string const& text) const {
    for (Optic const& optic : optics) {
        if (optic.fieldOfView == fieldOfView && optic.text == text)
            return &optic;
    }
    return nullptr;
}

namespace {

/// The frame rates of the first range with these limits; a single 0 when it is not split by them.
std::vector<unsigned short> frameRatesOf(Optic const& optic, float low, float high) {
    for (TemperatureRange const& range : optic.ranges) {
        if (range.low != low || range.high != high)
            continue;
        if (!range.frameRates || range.frameRates->empty())
            return {0};
        return *range.frameRates;
    }
    return {0};
}

} // namespace

std::string ModelDescription::missingFiles(std::string const& directory, int serial) const {
    std::string missing;
    for (Optic const& listed : optics) {
        Optic const& first = *find(listed.fieldOfView, listed.text);
        for (TemperatureRange const& range : first.ranges) {
            for (unsigned short const rate : frameRatesOf(first, range.low, range.high)) {
                std::string const stem = cut(
                    std::to_string(serial) + "-" + std::to_string(listed.fieldOfView) +
                    (listed.text.empty() ? "" : "-" + listed.text) + "-" + limitInName(range.low) +
                    "-" + limitInName(range.high) + (rate != 0 ? "-" + std::to_string(rate) : ""));
                missing += ifMissing(directory, cut("Cali-" + stem + ".dat"));
                if (!listed.samplePointCalibrated)
                    missing += ifMissing(directory, cut("Kennlinie-" + stem + ".prn"));
            }
        }
    }
    return missing;
}

} // namespace support
