#include "bench/readers/Fill.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include <expat.h>

namespace bench {

namespace {

/// Builds no tree: the records are filled while the elements are parsed.
struct Builder {
    MainSection mainSection;
    std::vector<OpticsDefinition> optics;
    std::vector<TempRangeDefinition> ranges;
    bool hasLow = false;
    bool hasHigh = false;
    std::string text; // of the innermost element so far
};

struct MainField {
    char const* name;
    void (*set)(MainSection& main, char const* text);
};

template <auto field>
void setInteger(MainSection& main, char const* text) {
    using Field = std::decay_t<decltype(main.*field)>;
    main.*field = static_cast<Field>(std::atoi(text));
}

template <auto field>
void setNumber(MainSection& main, char const* text) {
    main.*field = std::strtof(text, nullptr);
}

constexpr std::array mainFields{
    MainField{"TecA", setInteger<&MainSection::TecA>},
    MainField{"TecB", setInteger<&MainSection::TecB>},
    MainField{"TecC", setInteger<&MainSection::TecC>},
    MainField{"TecD", setInteger<&MainSection::TecD>},
    MainField{"TempTEC_Step", setNumber<&MainSection::TempTEC_Step>},
    MainField{"TempTECOffset", setNumber<&MainSection::TempTECOffset>},
    MainField{"TempTECGain", setNumber<&MainSection::TempTECGain>},
    MainField{"TempFlagOffset", setNumber<&MainSection::TempFlagOffset>},
    MainField{"TempChipFactor", setNumber<&MainSection::TempChipFactor>},
    MainField{"TempChipOffset", setNumber<&MainSection::TempChipOffset>},
    MainField{"TempBoxOffset", setNumber<&MainSection::TempBoxOffset>},
    MainField{"TempOpticsOffset", setNumber<&MainSection::TempOpticsOffset>},
    MainField{"TempProcOffset", setNumber<&MainSection::TempProcOffset>},
    MainField{"TempHouseOffset", setNumber<&MainSection::TempHouseOffset>},
    MainField{"PifInOffset", setNumber<&MainSection::PifInOffset>},
    MainField{"PifInGain", setNumber<&MainSection::PifInGain>},
    MainField{"PifOutOffset", setNumber<&MainSection::PifOutOffset>},
    MainField{"PifOutGain", setNumber<&MainSection::PifOutGain>},
    MainField{"AddedOffset", setInteger<&MainSection::AddedOffset>},
    MainField{"BindTempChipToTempFlagOffset",
              setNumber<&MainSection::BindTempChipToTempFlagOffset>},
    MainField{"FlagCycles", setInteger<&MainSection::FlagCycles>},
    MainField{"FlagCycles_Ignore", setInteger<&MainSection::FlagCycles_Ignore>},
    MainField{"AlphaLowTemp", setNumber<&MainSection::AlphaLowTemp>},
    MainField{"AlphaLowFactor", setNumber<&MainSection::AlphaLowFactor>},
};

void setMainField(MainSection& main, std::string_view name, char const* text) {
    for (auto const& field : mainFields) {
        if (name == field.name)
            return field.set(main, text);
    }
}

std::uint16_t shortInteger(char const* text) {
    return static_cast<std::uint16_t>(std::atoi(text));
}

void setRangeField(Builder& builder, std::string_view name, char const* text) {
    TempRangeDefinition& range = builder.ranges.back();
    if (name == "FR") {
        range.framerates->back() = shortInteger(text);
    } else if (name == "Fid") {
        range.Fid = shortInteger(text);
    } else if (name == "Skim") {
        range.Skim = shortInteger(text);
    } else if (name == "TempLo") {
        range.range.lo = std::strtof(text, nullptr);
    } else if (name == "TempHi") {
        range.range.hi = std::strtof(text, nullptr);
    } else if (name == "TempLoExt") {
        range.extRange.lo = std::strtof(text, nullptr);
        builder.hasLow = true;
    } else if (name == "TempHiExt") {
        range.extRange.hi = std::strtof(text, nullptr);
        builder.hasHigh = true;
    } else if (name == "Decimal") {
        range.Decimal = shortInteger(text);
    } else if (name == "Normalize") {
        range.tableParams.Normalize = std::atoi(text) != 0;
    } else if (name == "T1") {
        range.tableParams.T1 = std::atoi(text);
    } else if (name == "T3") {
        range.tableParams.T3 = std::atoi(text);
    } else if (name == "E1") {
        range.tableParams.E1 = shortInteger(text);
    } else if (name == "E3") {
        range.tableParams.E3 = shortInteger(text);
    } else if (name == "Lambda") {
        range.tableParams.Lambda = std::strtof(text, nullptr);
    }
}

void setOpticField(OpticsDefinition& optic, std::string_view name, char const* text) {
    if (name == "FOV") {
        optic.FOV = std::atoi(text);
    } else if (name == "SerNo") {
        optic.SerNo = std::atoi(text);
    } else if (name == "Text") {
        optic.Text = copyOf(text);
    } else if (name == "SamplePointCali") {
        optic.SamplePointCali = strcasecmp(text, "true") == 0;
    }
}

void endRange(Builder& builder) {
    TempRangeDefinition& range = builder.ranges.back();
    range.extRange.lo =
        builder.hasLow ? std::min(range.extRange.lo, range.range.lo) : range.range.lo;
    range.extRange.hi =
        builder.hasHigh ? std::max(range.extRange.hi, range.range.hi) : range.range.hi;
}

void XMLCALL startElement(void* user, XML_Char const* rawName, XML_Char const**) {
    auto& builder = *static_cast<Builder*>(user);
    std::string_view const name = rawName;
    builder.text.clear();
    if (name == "OpticsDef") {
        builder.optics.emplace_back();
    } else if (name == "TemperatureRange") {
        builder.ranges.emplace_back();
        builder.hasLow = builder.hasHigh = false;
    } else if (name == "Framerates") {
        builder.ranges.back().framerates.emplace();
    } else if (name == "Framerate") {
        builder.ranges.back().framerates->push_back(0);
    }
}

void XMLCALL endElement(void* user, XML_Char const* rawName) {
    auto& builder = *static_cast<Builder*>(user);
    std::string_view const name = rawName;
    if (name == "TemperatureRange") {
        endRange(builder);
    } else if (name == "TempRanges") {
        builder.optics.back().tempRanges = TempRangeTable(std::exchange(builder.ranges, {}));
    } else if (!builder.ranges.empty()) {
        setRangeField(builder, name, builder.text.c_str());
    } else if (!builder.optics.empty()) {
        setOpticField(builder.optics.back(), name, builder.text.c_str());
    } else {
        setMainField(builder.mainSection, name, builder.text.c_str());
    }
    builder.text.clear();
}

void XMLCALL characters(void* user, XML_Char const* text, int length) {
    static_cast<Builder*>(user)->text.append(text, static_cast<std::size_t>(length));
}

struct FreeParser {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

} // namespace

Records loadWithExpat(std::string const& directory, int serial) {
    Builder builder;
    std::unique_ptr<XML_ParserStruct, FreeParser> const parser(XML_ParserCreate(nullptr));
    XML_SetUserData(parser.get(), &builder);
    XML_SetElementHandler(parser.get(), startElement, endElement);
    XML_SetCharacterDataHandler(parser.get(), characters);

    std::unique_ptr<std::FILE, CloseFile> const file(
        std::fopen(descriptionPath(directory, serial).c_str(), "re"));
    if (file == nullptr)
        throw std::runtime_error("expat's description cannot be opened");
    constexpr int piece = 65536;
    for (bool more = true; more;) {
        void* const buffer = XML_GetBuffer(parser.get(), piece);
        auto const length = static_cast<int>(std::fread(buffer, 1, piece, file.get()));
        more = length == piece;
        if (XML_ParseBuffer(parser.get(), length, more ? 0 : 1) != XML_STATUS_OK)
            throw std::runtime_error("expat cannot read the description");
    }
    return {builder.mainSection, OpticsTable(std::move(builder.optics))};
}

} // namespace bench
