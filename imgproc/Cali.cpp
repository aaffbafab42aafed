#include "imgproc/Cali.h"

#include "sdk/SimpleXML.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr char const* sourceFile = "imgproc/Cali";

using thalvo::LogLevel;
using thalvo::report;
using zel::SimpleXML;

// The typed reads start from the field's own value, so an element that holds no number leaves it.

/// Stores an integer element, truncated to the field's width; a missing one leaves the field.
template <class Field>
void readInt(SimpleXML& xml, char const* name, Field& field) noexcept {
    int value = static_cast<int>(field);
    if (xml.getInt(name, &value))
        field = static_cast<Field>(value);
}

/// Stores a floating-point element; a missing one leaves the field.
/// @return Whether the element is there.
template <class Field>
bool readFloat(SimpleXML& xml, char const* name, Field& field) noexcept {
    float value = static_cast<float>(field);
    if (!xml.getFloat(name, &value))
        return false;
    field = value;
    return true;
}

/// @return A copy of an element's text, or null.
std::unique_ptr<char[]> readText(SimpleXML const& xml, char const* name) {
    auto const text = xml.getText(name);
    if (!text)
        return nullptr;
    auto copy = std::make_unique<char[]>(text->size() + 1);
    std::copy(text->begin(), text->end(), copy.get());
    return copy;
}

void reportTecValues(MainSection const& main) noexcept {
    report(LogLevel::debug, sourceFile, __LINE__, "Calibration data A: ", main.TecA,
           " B:", main.TecB, " C:", main.TecC, " D:", main.TecD);
}

void readMainSection(SimpleXML& xml, MainSection& main) {
    xml.setNode();
    xml.setNode("Main");
    readInt(xml, "TecA", main.TecA);
    readInt(xml, "TecB", main.TecB);
    readInt(xml, "TecC", main.TecC);
    readInt(xml, "TecD", main.TecD);
    reportTecValues(main);
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
void readExtendedRange(SimpleXML& xml, TempRangeDefinition& definition) noexcept {
    Range const& range = definition.range;
    Range& extended = definition.extRange;
    bool const hasLow = readFloat(xml, "TempLoExt", extended.lo);
    extended.lo = hasLow ? std::min(extended.lo, range.lo) : range.lo;
    bool const hasHigh = readFloat(xml, "TempHiExt", extended.hi);
    extended.hi = hasHigh ? std::max(extended.hi, range.hi) : range.hi;
}

/// @return The selected range's frame rates; no list without a `Framerates` element.
std::optional<std::vector<std::uint16_t>> readFramerates(SimpleXML& xml) {
    if (!xml.setNode("Framerates"))
        return std::nullopt;
    std::vector<std::uint16_t> framerates(xml.getNodeCount("Framerate"), 0);
    for (std::size_t k = 0; k < framerates.size(); ++k) {
        if (!xml.setNode("Framerate", static_cast<int>(k)))
            continue; // GCOVR_EXCL_LINE: the reader finds what it has counted
        readInt(xml, "FR", framerates[k]);
        xml.resetNode();
    }
    xml.resetNode();
    return framerates;
}

void readTableParams(SimpleXML& xml, TableParams& params) noexcept {
    if (!xml.setNode("TableParams"))
        return;
    readInt(xml, "Normalize", params.Normalize);
    readInt(xml, "T1", params.T1);
    readInt(xml, "T3", params.T3);
    readInt(xml, "E1", params.E1);
    readInt(xml, "E3", params.E3);
    readFloat(xml, "Lambda", params.Lambda);
    xml.resetNode();
}

void readTempRange(SimpleXML& xml, TempRangeDefinition& definition) {
    readInt(xml, "Fid", definition.Fid);
    readInt(xml, "Skim", definition.Skim);
    readFloat(xml, "TempLo", definition.range.lo);
    readFloat(xml, "TempHi", definition.range.hi);
    readExtendedRange(xml, definition);
    definition.framerates = readFramerates(xml);
    readInt(xml, "Decimal", definition.Decimal);
    readTableParams(xml, definition.tableParams);
}

TempRangeTable readTempRanges(SimpleXML& xml) {
    std::vector<TempRangeDefinition> ranges(xml.getNodeCount("TemperatureRange"));
    for (std::size_t j = 0; j < ranges.size(); ++j) {
        if (!xml.setNode("TemperatureRange", static_cast<int>(j)))
            continue; // GCOVR_EXCL_LINE: the reader finds what it has counted
        readTempRange(xml, ranges[j]);
        xml.resetNode();
    }
    return TempRangeTable(std::move(ranges));
}

bool readSamplePointCali(SimpleXML const& xml) {
    auto const text = readText(xml, "SamplePointCali");
    return text != nullptr && tstrcmp(tstrlwr(text.get()), "true") == 0;
}

TempRangeTable defaultTempRanges() {
    static constexpr std::array<Range, 3> limits{
        {{-20.0F, 100.0F}, {0.0F, 250.0F}, {150.0F, 900.0F}}};
    std::vector<TempRangeDefinition> ranges(limits.size());
    for (std::size_t i = 0; i < limits.size(); ++i)
        ranges[i].range = limits[i];
    return TempRangeTable(std::move(ranges));
}

void readOptic(SimpleXML& xml, OpticsDefinition& definition) {
    readInt(xml, "FOV", definition.FOV);
    readInt(xml, "SerNo", definition.SerNo);
    definition.Text = readText(xml, "Text");
    definition.SamplePointCali = readSamplePointCali(xml);
    if (!xml.setNode("TempRanges")) {
        definition.tempRanges = defaultTempRanges();
        return;
    }
    definition.tempRanges = readTempRanges(xml);
    xml.resetNode();
}

OpticsTable readOptics(SimpleXML& xml) {
    xml.setNode();
    xml.setNode("Temperature");
    xml.setNode("Optics");
    std::vector<OpticsDefinition> table(xml.getNodeCount("OpticsDef"));
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (!xml.setNode("OpticsDef", static_cast<int>(i))) {
            // GCOVR_EXCL_START: the reader finds what it has counted
            table[i].tempRanges = defaultTempRanges();
            continue;
            // GCOVR_EXCL_STOP
        }
        readOptic(xml, table[i]);
        xml.resetNode();
    }
    return OpticsTable(std::move(table));
}

bool isEmpty(char const* text) noexcept {
    return text == nullptr || tstrlen(text) == 0;
}

char const* orEmpty(char const* text) noexcept {
    return text != nullptr ? text : "";
}

bool matchesLeniently(char const* opticText, char const* requested) noexcept {
    return isEmpty(opticText) || isEmpty(requested) || tstrcmp(opticText, requested) == 0;
}

/// @return The range with exactly these limits, or null.
TempRangeDefinition const* findRange(OpticsDefinition const* optic, float lo, float hi) noexcept {
    return optic != nullptr ? optic->tempRanges.find({lo, hi}) : nullptr;
}

/// @return The range at an index, or null.
TempRangeDefinition const* rangeAt(OpticsDefinition const* optic, int index) noexcept {
    if (optic == nullptr || index < 0)
        return nullptr;
    auto const position = static_cast<std::size_t>(index);
    return position < optic->tempRanges.size() ? &optic->tempRanges[position] : nullptr;
}

Range* newRange(Range const& range) noexcept {
    return new (std::nothrow) Range(range);
}

constexpr Range emptySpan{1000000.0F, -1000000.0F};

void widen(Range& span, OpticsDefinition const& optic) noexcept {
    for (auto const& definition : optic.tempRanges) {
        span.lo = std::min(span.lo, definition.range.lo);
        span.hi = std::max(span.hi, definition.range.hi);
    }
}

/// @return The limit's absolute value without its fraction, the largest integer when it is larger.
int magnitude(float limit) noexcept {
    float const absolute = std::fabs(limit);
    if (!(absolute < static_cast<float>(std::numeric_limits<int>::max()))) {
        return std::isnan(absolute) ? 0 : std::numeric_limits<int>::max();
    }
    return static_cast<int>(absolute);
}

/// The letter keeps a second minus sign out of the stem. It follows the limit, not its digits.
char const* signLetter(float limit) noexcept {
    return limit < 0.0F ? "M" : "";
}

} // namespace

bool OpticIdentity::equal(OPTICS const& a, OPTICS const& b) noexcept {
    return a.fov == b.fov && tstrcmp(orEmpty(a.text), orEmpty(b.text)) == 0;
}

bool OpticIdentity::less(OPTICS const& a, OPTICS const& b) noexcept {
    if (a.fov != b.fov)
        return a.fov < b.fov;
    return tstrcmp(orEmpty(a.text), orEmpty(b.text)) < 0;
}

ConfigCali* ConfigCali::_this = nullptr;

ConfigCali* ConfigCali::getInstance() noexcept {
    if (_this != nullptr)
        return _this;
    try {
        _this = new ConfigCali;
    } catch (...) {
        return nullptr;
    }
    return _this;
}

ConfigCali::ConfigCali() {
    resetContent();
}

void ConfigCali::resetContent() {
    auto freshMain = std::make_unique<MainSection>();
    std::vector<OpticsDefinition> defaultOptics(1);
    defaultOptics.front().FOV = 30;
    defaultOptics.front().tempRanges = defaultTempRanges();
    auto freshOptics = std::make_unique<OpticsTable>(std::move(defaultOptics));
    mainSection = std::move(freshMain);
    optics = std::move(freshOptics);
}

bool ConfigCali::isLoaded(int serialNumber) const noexcept {
    return loaded && serial == serialNumber;
}

int ConfigCali::load(char const* path, int serialNumber) noexcept try {
    if (isLoaded(serialNumber)) {
        report(LogLevel::debug, sourceFile, __LINE__, "Calibration XML file already loaded.");
        return 0;
    }
    if (path == nullptr)
        return loadFailed;
    if (loaded) {
        report(LogLevel::debug, sourceFile, __LINE__, "Serial number has changed (", serialNumber,
               "), reload Calibration XML.");
        loaded = false;
        serial = -1;
        *optics = OpticsTable(); // gone even without memory for the initial content
        resetContent();
    }

    SimpleXML xml;
    std::array<char, 20> base{};
    tsnprintf(base.data(), static_cast<unsigned int>(base.size()), "Cali-%i", serialNumber);
    report(LogLevel::debug, sourceFile, __LINE__, "Calibration directory path: ", path);
    report(LogLevel::debug, sourceFile, __LINE__, "Calibration file name: ", base.data(), ".xml");
    if (!xml.open(path, base.data(), "CaliData"))
        return loadFailed;

    MainSection main = *mainSection;
    readMainSection(xml, main);
    *optics = readOptics(xml);
    *mainSection = main;
    loaded = true;
    serial = serialNumber;
    return 0;
} catch (...) {
    return loadFailed;
}

int ConfigCali::getOpticsCount() const noexcept {
    return static_cast<int>(optics->size());
}

int ConfigCali::getOpticsIndex(OPTICS const* optic) const noexcept {
    if (optic == nullptr)
        return -1;
    auto const* const found = findOptic(optic->fov, optic->text);
    return found != nullptr ? optics->indexOf(found) : -1;
}

int ConfigCali::getOpticsIndex(int fov, char const* text) const noexcept {
    auto const found = std::find_if(optics->begin(), optics->end(), [&](auto const& definition) {
        return definition.FOV == fov && matchesLeniently(definition.Text.get(), text);
    });
    return found != optics->end() ? static_cast<int>(found - optics->begin()) : -1;
}

OPTICS* ConfigCali::getOptics(int index) const noexcept {
    if (index < 0 || static_cast<std::size_t>(index) >= optics->size())
        return nullptr;
    auto const& definition = (*optics)[static_cast<std::size_t>(index)];
    return new (std::nothrow) OPTICS{definition.FOV, definition.Text.get()};
}

OpticsDefinition const* ConfigCali::findOptic(int fov, char const* text) const noexcept {
    return optics->find({fov, text});
}

int ConfigCali::getTempRangeCount(OPTICS const* optic) const noexcept {
    return optic != nullptr ? getTempRangeCount(optic->fov, optic->text) : -1;
}

int ConfigCali::getTempRangeCount(int fov, char const* text) const noexcept {
    auto const* const optic = findOptic(fov, text);
    return optic != nullptr ? static_cast<int>(optic->tempRanges.size()) : -1;
}

int ConfigCali::getTempRangeIndex(OPTICS const* optic, Range const* range) const noexcept {
    if (optic == nullptr || range == nullptr)
        return -1;
    return getTempRangeIndex(optic->fov, optic->text, range->lo, range->hi);
}

int ConfigCali::getTempRangeIndex(int fov, char const* text, float lo, float hi) const noexcept {
    auto const* const optic = findOptic(fov, text);
    auto const* const range = findRange(optic, lo, hi);
    return range != nullptr ? optic->tempRanges.indexOf(range) : -1;
}

Range* ConfigCali::getTempRange(OPTICS const* optic, int index) const noexcept {
    return optic != nullptr ? getTempRange(optic->fov, optic->text, index) : nullptr;
}

Range* ConfigCali::getTempRange(int fov, char const* text, int index) const noexcept {
    auto const* const range = rangeAt(findOptic(fov, text), index);
    return range != nullptr ? newRange(range->range) : nullptr;
}

Range* ConfigCali::getExtendedTempRange(OPTICS const* optic, int index) const noexcept {
    return optic != nullptr ? getExtendedTempRange(optic->fov, optic->text, index) : nullptr;
}

Range* ConfigCali::getExtendedTempRange(int fov, char const* text, int index) const noexcept {
    auto const* const range = rangeAt(findOptic(fov, text), index);
    return range != nullptr ? newRange(range->extRange) : nullptr;
}

Range* ConfigCali::getExtendedTempRange(int fov, char const* text, float lo,
                                        float hi) const noexcept {
    return getExtendedTempRange(fov, text, getTempRangeIndex(fov, text, lo, hi));
}

Range* ConfigCali::getTempRangeOverAll(OPTICS const* optic) const noexcept {
    if (optic == nullptr)
        return nullptr;
    auto const* const definition = findOptic(optic->fov, optic->text);
    if (definition == nullptr)
        return nullptr;
    Range span = emptySpan;
    widen(span, *definition);
    return newRange(span);
}

Range* ConfigCali::getTempRangeOverAll() const noexcept {
    Range span = emptySpan;
    for (auto const& definition : *optics)
        widen(span, definition);
    return newRange(span);
}

unsigned short ConfigCali::getTempRangeDecimal(int fov, char const* text, float lo,
                                               float hi) const noexcept {
    auto const* const range = findRange(findOptic(fov, text), lo, hi);
    return range != nullptr ? range->Decimal : static_cast<unsigned short>(0);
}

int ConfigCali::getFramerateCount(OPTICS const* optic, Range const* range) const noexcept {
    if (optic == nullptr || range == nullptr)
        return -1;
    auto const* const found = findRange(findOptic(optic->fov, optic->text), range->lo, range->hi);
    if (found == nullptr)
        return -1;
    return found->framerates ? static_cast<int>(found->framerates->size()) : 0;
}

int ConfigCali::getFramerateIndex(OPTICS const* optic, Range const* range,
                                  unsigned short framerate) const noexcept {
    if (optic == nullptr || range == nullptr)
        return -1;
    return getFramerateIndex(optic->fov, optic->text, range->lo, range->hi, framerate);
}

int ConfigCali::getFramerateIndex(int fov, char const* text, float lo, float hi,
                                  unsigned short framerate) const noexcept {
    auto const* const range = findRange(findOptic(fov, text), lo, hi);
    if (range == nullptr || !range->framerates)
        return -1;
    auto const& listed = *range->framerates;
    auto const hit = std::find(listed.begin(), listed.end(), framerate);
    return hit != listed.end() ? static_cast<int>(hit - listed.begin()) : -2;
}

unsigned short ConfigCali::getFramerate(OPTICS const* optic, Range const* range,
                                        int index) const noexcept {
    if (index < 0 || index >= getFramerateCount(optic, range))
        return 0;
    auto const* const found = findRange(findOptic(optic->fov, optic->text), range->lo, range->hi);
    return (*found->framerates)[static_cast<std::size_t>(index)];
}

bool ConfigCali::checkFramerate(OPTICS const* optic, Range const* range,
                                unsigned short& framerate) const noexcept {
    if (optic == nullptr || range == nullptr) {
        framerate = 0;
        return true;
    }
    return checkFramerate(optic->fov, optic->text, range->lo, range->hi, framerate);
}

bool ConfigCali::checkFramerate(int fov, char const* text, float lo, float hi,
                                unsigned short& framerate) const noexcept {
    int const index = getFramerateIndex(fov, text, lo, hi, framerate);
    if (index >= 0)
        return true;
    framerate = 0;
    return index == -1; // such a range is not split by frame rate
}

bool ConfigCali::caliFilenameString(int serial, int fov, char const* text, Range const* range,
                                    unsigned short framerate, char* buffer,
                                    int bufferSize) noexcept {
    if (range == nullptr)
        return false;
    return caliFilenameString(serial, fov, text, range->lo, range->hi, framerate, buffer,
                              bufferSize);
}

bool ConfigCali::caliFilenameString(int serial, int fov, char const* text, float lo, float hi,
                                    unsigned short framerate, char* buffer,
                                    int bufferSize) noexcept {
    if (buffer == nullptr || bufferSize < 0)
        return false;
    char const* const separator = isEmpty(text) ? "" : "-";
    // The formatter ignores an argument that the format does not name.
    char const* const format = framerate != 0 ? "%i-%i%s%s-%s%i-%s%i-%i" : "%i-%i%s%s-%s%i-%s%i";
    return tsnprintf(buffer, static_cast<unsigned int>(bufferSize), format, serial, fov, separator,
                     orEmpty(text), signLetter(lo), magnitude(lo), signLetter(hi), magnitude(hi),
                     framerate) > 0;
}
