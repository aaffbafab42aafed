#include "imgproc/Description.h"

#include "sdk/xml/Reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

namespace {

using zel::xml::Loading;
using zel::xml::Reader;

// Initial room, so that a typical description needs one allocation per list.
constexpr std::size_t usualRanges = 4;
constexpr std::size_t usualFramerates = 2;

// Each read starts from the field's current value, which stays when the element holds no number.

/// Stores an integer element, truncated to the field's width; without one the field keeps its
/// value.
template <class Field>
void readInt(Reader& xml, std::string_view name, Field& field) {
    int value = static_cast<int>(field);
    if (xml.readNumber(name, &value))
        field = static_cast<Field>(value);
}

/// Stores a floating-point element; without one the field keeps its value.
/// @return Whether there is such an element.
template <class Field>
bool readFloat(Reader& xml, std::string_view name, Field& field) {
    float value = static_cast<float>(field);
    if (!xml.readNumber(name, &value))
        return false;
    field = value;
    return true;
}

/// @return A copy of an element's text, or null.
std::unique_ptr<char[]> readText(Reader const& xml, std::string_view name) {
    auto const text = xml.childText(name);
    if (!text)
        return nullptr;
    auto copy = std::make_unique<char[]>(text->size() + 1);
    std::copy(text->begin(), text->end(), copy.get());
    return copy;
}

void readMainSection(Reader& xml, MainSection& main) {
    xml.selectRoot();
    xml.enter("Main");
    readInt(xml, "TecA", main.TecA);
    readInt(xml, "TecB", main.TecB);
    readInt(xml, "TecC", main.TecC);
    readInt(xml, "TecD", main.TecD);
    readFloat(xml, "TempTEC_Step", main.TempTEC_Step);
    readFloat(xml, "TempTECOffset", main.TempTECOffset);
    readFloat(xml, "TempTECGain", main.TempTECGain);
    readFloat(xml, "TempFlagOffset", main.TempFlagOffset);
    readFloat(xml, "TempChipFactor", main.TempChipFactor);
    readFloat(xml, "TempChipOffset", main.TempChipOffset);
    readFloat(xml, "TempBoxOffset", main.TempBoxOffset);
    readFloat(xml, "TempOpticsOffset", main.TempOpticsOffset);
    readFloat(xml, "TempProcOffset", main.TempProcOffset);
    readFloat(xml, "TempHouseOffset", main.TempHouseOffset);
    readFloat(xml, "PifInOffset", main.PifInOffset);
    readFloat(xml, "PifInGain", main.PifInGain);
    readFloat(xml, "PifOutOffset", main.PifOutOffset);
    readFloat(xml, "PifOutGain", main.PifOutGain);
    readInt(xml, "AddedOffset", main.AddedOffset);
    readFloat(xml, "BindTempChipToTempFlagOffset", main.BindTempChipToTempFlagOffset);
    readInt(xml, "FlagCycles", main.FlagCycles);
    readInt(xml, "FlagCycles_Ignore", main.FlagCycles_Ignore);
    readFloat(xml, "AlphaLowTemp", main.AlphaLowTemp);
    readFloat(xml, "AlphaLowFactor", main.AlphaLowFactor);
}

/// The extended range always contains the range itself.
void readExtendedRange(Reader& xml, TempRangeDefinition& definition) {
    Range const& range = definition.range;
    Range& extended = definition.extRange;
    bool const hasLow = readFloat(xml, "TempLoExt", extended.lo);
    extended.lo = hasLow ? std::min(extended.lo, range.lo) : range.lo;
    bool const hasHigh = readFloat(xml, "TempHiExt", extended.hi);
    extended.hi = hasHigh ? std::max(extended.hi, range.hi) : range.hi;
}

/// @return The selected range's frame rates; no list without a `Framerates` element.
std::optional<std::vector<std::uint16_t>> readFramerates(Reader& xml) {
    if (!xml.enter("Framerates"))
        return std::nullopt;
    std::vector<std::uint16_t> framerates;
    framerates.reserve(usualFramerates);
    xml.forEach("Framerate", [&] { readInt(xml, "FR", framerates.emplace_back()); });
    xml.leave();
    return framerates;
}

void readTableParams(Reader& xml, TableParams& params) {
    if (!xml.enter("TableParams"))
        return;
    readInt(xml, "Normalize", params.Normalize);
    readInt(xml, "T1", params.T1);
    readInt(xml, "T3", params.T3);
    readInt(xml, "E1", params.E1);
    readInt(xml, "E3", params.E3);
    readFloat(xml, "Lambda", params.Lambda);
    xml.leave();
}

void readTempRange(Reader& xml, TempRangeDefinition& definition) {
    readInt(xml, "Fid", definition.Fid);
    readInt(xml, "Skim", definition.Skim);
    readFloat(xml, "TempLo", definition.range.lo);
    readFloat(xml, "TempHi", definition.range.hi);
    readExtendedRange(xml, definition);
    definition.framerates = readFramerates(xml);
    readInt(xml, "Decimal", definition.Decimal);
    readTableParams(xml, definition.tableParams);
}

/// @return The selected optic's ranges; the default ones without a `TempRanges` element.
TempRangeTable readTempRanges(Reader& xml) {
    if (!xml.enter("TempRanges"))
        return defaultTempRanges();
    std::vector<TempRangeDefinition> ranges;
    ranges.reserve(usualRanges);
    xml.forEach("TemperatureRange", [&] { readTempRange(xml, ranges.emplace_back()); });
    xml.leave();
    return TempRangeTable(std::move(ranges));
}

/// @return Whether a text reads "true" in any letter case.
bool readsTrue(std::string_view text) noexcept {
    constexpr std::string_view lower = "true";
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char c, char wanted) {
                          bool const isCapital = c >= 'A' && c <= 'Z';
                          return (isCapital ? static_cast<char>(c - 'A' + 'a') : c) == wanted;
                      });
}

OpticsDefinition readOptic(Reader& xml) {
    OpticsDefinition optic{0, 0, nullptr, -1.0, false, TempRangeTable()};
    readInt(xml, "FOV", optic.FOV);
    readInt(xml, "SerNo", optic.SerNo);
    optic.Text = readText(xml, "Text");
    optic.SamplePointCali = readsTrue(xml.childText("SamplePointCali").value_or(""));
    optic.tempRanges = readTempRanges(xml);
    return optic;
}

OpticsTable readOptics(Reader& xml) {
    xml.selectRoot();
    xml.enter("Temperature");
    xml.enter("Optics");
    std::vector<OpticsDefinition> optics;
    xml.forEach("OpticsDef", [&] { optics.push_back(readOptic(xml)); });
    return OpticsTable(std::move(optics));
}

} // namespace

TempRangeTable defaultTempRanges() {
    static constexpr std::array<Range, 3> limits{
        {{-20.0F, 100.0F}, {0.0F, 250.0F}, {150.0F, 900.0F}}};
    std::vector<TempRangeDefinition> ranges(limits.size());
    for (std::size_t i = 0; i < limits.size(); ++i)
        ranges[i].range = limits[i];
    return TempRangeTable(std::move(ranges));
}

Description collectDescription(Reader& xml, MainSection const& main) {
    Description description{main, {}};
    readMainSection(xml, description.main);
    description.optics = readOptics(xml);
    return description;
}

DescriptionOutcome readDescription(zel::FileDescriptor const& file, std::size_t sizeLimit) noexcept
    try {
    Reader xml;
    Loading const loading = xml.load(file, descriptionRoot, sizeLimit);
    if (loading == Loading::unreadable)
        return {std::nullopt, DescriptionFailure::unreadable, errno, false};
    if (loading == Loading::malformed)
        return {std::nullopt, DescriptionFailure::malformed, 0, false};
    return {collectDescription(xml, MainSection()), std::nullopt, 0, xml.isRootClosed()};
} catch (...) {
    return {std::nullopt, DescriptionFailure::noMemory, 0, false};
}
