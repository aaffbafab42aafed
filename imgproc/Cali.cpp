#include "imgproc/Cali.h"

#include "imgproc/Description.h"
#include "imgproc/NameStem.h"
#include "sdk/SimpleXML.h"
#include "sdk/xml/ReaderAccess.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace {

using thalvo::LogLevel;
using thalvo::report;
using zel::SimpleXML;

constexpr char const* sourceFile = "imgproc/Cali";

bool isEmpty(char const* text) noexcept {
    return text == nullptr || tstrlen(text) == 0;
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

OpticsTable initialOptics() {
    std::vector<OpticsDefinition> optics(1);
    optics.front().FOV = 30;
    return OpticsTable(std::move(optics));
}

} // namespace

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

ConfigCali::ConfigCali()
    : mainSection(std::make_unique<MainSection>()),
      optics(std::make_unique<OpticsTable>(initialOptics())) {}

ConfigCali::~ConfigCali() {
    if (_this == this)
        _this = nullptr;
}

bool ConfigCali::isLoaded(int serialNumber) const noexcept {
    return loaded && serial == serialNumber;
}

void ConfigCali::forget() noexcept {
    loaded = false;
    serial = -1;
    *mainSection = MainSection();
    try {
        *optics = initialOptics();
    } catch (...) {
        *optics = OpticsTable();
    }
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
        forget();
    }

    SimpleXML xml;
    std::array<char, 20> base{};
    tsnprintf(base.data(), static_cast<unsigned int>(base.size()), "Cali-%i", serialNumber);
    report(LogLevel::debug, sourceFile, __LINE__, "Calibration directory path: ", path);
    report(LogLevel::debug, sourceFile, __LINE__, "Calibration file name: ", base.data(), ".xml");
    if (!xml.open(path, base.data(), descriptionRoot))
        return loadFailed;

    auto description = collectDescription(zel::xml::ReaderAccess::of(xml), *mainSection);
    *mainSection = description.main;
    *optics = std::move(description.optics);
    loaded = true;
    serial = serialNumber;
    report(LogLevel::debug, sourceFile, __LINE__, "Calibration data A: ", mainSection->TecA,
           " B:", mainSection->TecB, " C:", mainSection->TecC, " D:", mainSection->TecD);
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
    return formatNameStem(buffer, static_cast<unsigned int>(bufferSize), serial, fov, text,
                          {lo, hi}, framerate) > 0;
}
