#include "imgproc/Cali.h"

#include "sdk/IRLogger.h"
#include "tests/support/Camera.h"
#include "tests/support/Elements.h"
#include "tests/support/Log.h"
#include "tests/support/LogLines.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using support::block;
using support::camera;
using support::debugLogOf;
using support::element;
using support::repeated;
using support::TemporaryDirectory;
using support::writeFile;

namespace {

constexpr int accessDenied = -2147024891; // 0x80070005
constexpr int serial = 14080045;

using Limits = std::pair<float, float>;

Limits const noSpan{1000000.0F, -1000000.0F};

/// Takes over a record that was handed out.
std::optional<Limits> taken(Range* range) {
    std::unique_ptr<Range> const owned(range);
    if (!owned)
        return std::nullopt;
    return Limits(owned->lo, owned->hi);
}

Limits limits(Range const& range) {
    return {range.lo, range.hi};
}

std::string descriptionPath(TemporaryDirectory const& directory, int serialNumber = serial) {
    return directory.path() + "/Cali-" + std::to_string(serialNumber) + ".xml";
}

int load(ConfigCali& cali, TemporaryDirectory const& directory, int serialNumber = serial) {
    return cali.load(directory.path().c_str(), serialNumber);
}

/// The description in memory after it was loaded from a file.
std::unique_ptr<ConfigCali> loaded(std::string const& description) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory), description);
    auto cali = std::make_unique<ConfigCali>();
    EXPECT_EQ(load(*cali, directory), 0);
    return cali;
}

std::unique_ptr<ConfigCali> loaded(support::Camera const& camera) {
    return loaded(camera.description());
}

std::string description(std::string const& content) {
    return block("CaliData", content + "\n");
}

std::string withMain(std::string const& elements) {
    return description(element("Main", elements));
}

std::string withOptics(std::string const& optics) {
    return description(element("Temperature", element("Optics", optics)));
}

std::string withOptic(std::string const& elements) {
    return withOptics(element("OpticsDef", elements));
}

std::string withRanges(std::string const& ranges) {
    return withOptic(element("TempRanges", ranges));
}

std::string withRange(std::string const& elements) {
    return withRanges(element("TemperatureRange", elements));
}

std::string withTableParams(std::string const& elements) {
    return withRange(element("TableParams", elements));
}

OpticsDefinition const& opticOf(ConfigCali const& cali, std::size_t index = 0) {
    if (index >= cali.optics->size())
        throw std::out_of_range("no such optic");
    return (*cali.optics)[index];
}

TempRangeDefinition const& rangeOf(ConfigCali const& cali, std::size_t index = 0) {
    auto const& ranges = opticOf(cali).tempRanges;
    if (index >= ranges.size())
        throw std::out_of_range("no such range");
    return ranges[index];
}

std::vector<Limits> rangesOf(OpticsDefinition const& optic) {
    std::vector<Limits> all;
    for (auto const& definition : optic.tempRanges)
        all.push_back(limits(definition.range));
    return all;
}

std::vector<Limits> const defaultRanges{{-20.0F, 100.0F}, {0.0F, 250.0F}, {150.0F, 900.0F}};

/// The text of an optic, in a form that shows when there is none.
std::string textOf(OpticsDefinition const& optic) {
    return optic.Text ? optic.Text.get() : "(null)";
}

/// Field of view and text of each optic, as "30" or "30 X".
std::vector<std::string> opticsOf(ConfigCali const& cali) {
    std::vector<std::string> all;
    for (auto const& optic : *cali.optics)
        all.push_back(std::to_string(optic.FOV) +
                      (optic.Text ? std::string(" ") + optic.Text.get() : ""));
    return all;
}

OPTICS optic(int fov, char const* text = nullptr) {
    return {fov, const_cast<char*>(text)}; // the queries do not change it
}

int opticsIndex(ConfigCali const& cali, OPTICS const& handle) {
    return cali.getOpticsIndex(&handle);
}

std::vector<double> valuesOf(MainSection const& main) {
    return {static_cast<double>(main.TecA),
            static_cast<double>(main.TecB),
            static_cast<double>(main.TecC),
            static_cast<double>(main.TecD),
            static_cast<double>(main.TempTEC_Step),
            static_cast<double>(main.spare),
            static_cast<double>(main.TempTECOffset),
            static_cast<double>(main.TempTECGain),
            static_cast<double>(main.TempFlagOffset),
            static_cast<double>(main.TempChipFactor),
            static_cast<double>(main.TempChipOffset),
            static_cast<double>(main.TempBoxOffset),
            static_cast<double>(main.TempOpticsOffset),
            static_cast<double>(main.TempProcOffset),
            static_cast<double>(main.TempHouseOffset),
            static_cast<double>(main.PifInOffset),
            static_cast<double>(main.PifInGain),
            static_cast<double>(main.PifOutOffset),
            static_cast<double>(main.PifOutGain),
            static_cast<double>(main.AddedOffset),
            static_cast<double>(main.BindTempChipToTempFlagOffset),
            static_cast<double>(main.FlagCycles),
            static_cast<double>(main.FlagCycles_Ignore),
            static_cast<double>(main.AlphaLowTemp),
            static_cast<double>(main.AlphaLowFactor)};
}

std::vector<double> const mainDefaults{
    3400, 400, 400, 120, 5.0, 10.0, 294.5, static_cast<double>(13.055F), 0.0, 1.0, 0.0,  0.0, 0.0,
    0.0,  0.0, 0.0, 1.0, 0.0, 1.0,  0,     static_cast<double>(0.8F),    10,  2,   23.0, 1.0};

/// The elements of the main section in the order of the fields.
std::vector<std::string> const mainElements{"TecA",
                                            "TecB",
                                            "TecC",
                                            "TecD",
                                            "TempTEC_Step",
                                            "spare",
                                            "TempTECOffset",
                                            "TempTECGain",
                                            "TempFlagOffset",
                                            "TempChipFactor",
                                            "TempChipOffset",
                                            "TempBoxOffset",
                                            "TempOpticsOffset",
                                            "TempProcOffset",
                                            "TempHouseOffset",
                                            "PifInOffset",
                                            "PifInGain",
                                            "PifOutOffset",
                                            "PifOutGain",
                                            "AddedOffset",
                                            "BindTempChipToTempFlagOffset",
                                            "FlagCycles",
                                            "FlagCycles_Ignore",
                                            "AlphaLowTemp",
                                            "AlphaLowFactor"};
constexpr std::size_t spareElement = 5;

void expectDefaults(decltype(TempRangeDefinition::tableParams) const& params) {
    EXPECT_EQ(params.T1, 0.0);
    EXPECT_EQ(params.T3, 0.0);
    EXPECT_EQ(params.E1, 0);
    EXPECT_EQ(params.E3, 0);
    EXPECT_EQ(params.Lambda, 0.0);
    EXPECT_EQ(params.spare1, 0.0);
    EXPECT_EQ(params.spare2, -100.0);
    EXPECT_EQ(params.spare3, 0);
    EXPECT_FALSE(params.Normalize);
}

} // namespace

// What a description holds before it is loaded

TEST(ConfigCaliInitially, IsLoadedForNoSerialNumber) {
    ConfigCali const cali;
    EXPECT_FALSE(cali.loaded);
    EXPECT_EQ(cali.serial, -1);
    EXPECT_FALSE(cali.isLoaded(-1));
}

TEST(ConfigCaliInitially, HoldsOneOpticOfFieldOfView30WithTheDefaultRanges) {
    ConfigCali const cali;
    EXPECT_EQ(cali.getOpticsCount(), 1);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"30"}));
    EXPECT_EQ(opticOf(cali).SerNo, 0);
    EXPECT_EQ(opticOf(cali).spare, -1.0);
    EXPECT_FALSE(opticOf(cali).SamplePointCali);
    EXPECT_EQ(rangesOf(opticOf(cali)), defaultRanges);
}

TEST(ConfigCaliInitially, HasDefaultRangesThatSayNothingElse) {
    ConfigCali const cali;
    for (std::size_t i = 0; i < 3; ++i) {
        auto const& range = rangeOf(cali, i);
        EXPECT_EQ(range.Fid, 0);
        EXPECT_EQ(range.Skim, 0);
        EXPECT_EQ(limits(range.extRange), (Limits{-100.0F, -100.0F}));
        EXPECT_FALSE(range.framerates.has_value());
        EXPECT_EQ(range.Decimal, 1);
        expectDefaults(range.tableParams);
    }
}

TEST(ConfigCaliInitially, HasTheDefaultMainSection) {
    EXPECT_EQ(valuesOf(*ConfigCali().mainSection), mainDefaults);
}

TEST(ConfigCaliInstance, IsOneForAllAndStartsWithTheInitialContent) {
    auto const* const cali = ConfigCali::getInstance();
    ASSERT_NE(cali, nullptr);
    EXPECT_EQ(cali, ConfigCali::getInstance());
    EXPECT_FALSE(cali->loaded);
    EXPECT_EQ(opticsOf(*cali), (std::vector<std::string>{"30"}));
}

// Loading as such

TEST(LoadCali, CountsAsLoadedForThisSerialNumberOnly) {
    auto const cali = loaded(camera(serial).optic(23)); // expects 0
    EXPECT_EQ(cali->serial, serial);
    EXPECT_TRUE(cali->isLoaded(serial));
    EXPECT_FALSE(cali->isLoaded(serial + 1));
}

TEST(LoadCali, ReadsTheFileNamedAfterANegativeSerialNumber) {
    TemporaryDirectory const directory;
    writeFile(directory.path() + "/Cali--2147483648.xml", withOptic("<FOV>7</FOV>"));
    writeFile(directory.path() + "/Cali--1.xml", withOptic("<FOV>8</FOV>"));
    ConfigCali cali;
    EXPECT_EQ(load(cali, directory, std::numeric_limits<int>::min()), 0);
    ConfigCali other; // -1 is its initial serial number
    EXPECT_EQ(load(other, directory, -1), 0);
    EXPECT_EQ(opticsOf(other), (std::vector<std::string>{"8"}));
}

TEST(LoadCali, FindsOpticsInTheRootNamedCaliDataAndTheElementsBelow) {
    std::string const optic = "<OpticsDef><FOV>23</FOV></OpticsDef>";
    std::pair<std::string, int> const cases[] = {
        {withOptics(optic), 1},
        {description(optic), 1},
        {"<Calidata>\n<Optics>" + optic + "</Optics>\n</Calidata>\n", 0},
        {withOptics(""), 0},
        {withMain("<TecA>1</TecA>"), 0},
        {"", 0}};
    for (auto const& [text, count] : cases) {
        auto const cali = loaded(text);
        EXPECT_EQ(cali->getOpticsCount(), count) << text;
        EXPECT_TRUE(cali->isLoaded(serial)) << text;
    }
}

TEST(LoadCali, ReadsADescriptionWithWindowsLineEndsByteOrderMarkAndComments) {
    auto const cali = loaded("\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<CaliData version=\"2\">\r\n"
                             "<Temperature><Optics>\r\n"
                             "<!-- <OpticsDef><FOV>1</FOV></OpticsDef> <!-- twice --> -->\r\n"
                             "<OpticsDef><FOV>\r\n  23\r\n</FOV></OpticsDef>\r\n"
                             "</Optics></Temperature>\r\n</CaliData>");
    EXPECT_EQ(opticsOf(*cali), (std::vector<std::string>{"23"}));
}

TEST(LoadCali, MakesTheLastComponentOfAMissingDirectory) {
    TemporaryDirectory const directory;
    auto const missing = directory.path() + "/cali";
    ConfigCali cali;
    cali.load(missing.c_str(), serial);
    EXPECT_TRUE(std::filesystem::is_directory(missing));
}

TEST(LoadCali, GivesAccessDeniedWithoutAPath) {
    EXPECT_EQ(ConfigCali().load(nullptr, serial), accessDenied);
    EXPECT_EQ(int{ConfigCali::loadFailed}, accessDenied);
}

TEST(LoadCali, KeepsTheInitialContentWhenTheFirstLoadFails) {
    for (bool const missing : {true, false}) {
        TemporaryDirectory const directory;
        if (!missing)
            writeFile(descriptionPath(directory), description("<!-- open"));
        ConfigCali cali;
        EXPECT_EQ(load(cali, directory), accessDenied);
        EXPECT_FALSE(cali.loaded);
        EXPECT_FALSE(cali.isLoaded(serial));
        EXPECT_EQ(cali.serial, -1);
        EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"30"}));
        EXPECT_EQ(rangesOf(opticOf(cali)), defaultRanges);
    }
}

TEST(LoadCali, KeepsWhatTheMainSectionHeldBeforeTheFirstLoadWhereElementsAreMissing) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory), withMain("<TecB>2</TecB>"));
    ConfigCali cali;
    cali.mainSection->TecA = 7;
    load(cali, directory);
    EXPECT_EQ(cali.mainSection->TecA, 7);
}

TEST(LoadCali, SucceedsAtTheNextAttemptOnceTheFileIsThere) {
    TemporaryDirectory const directory;
    ConfigCali cali;
    load(cali, directory);
    camera(serial).optic(23).writeInto(directory.path());
    EXPECT_EQ(load(cali, directory), 0);
}

// Loading again

TEST(LoadCaliAgain, NeitherReadsNorNeedsTheFileOfTheLoadedSerialNumber) {
    TemporaryDirectory const directory;
    TemporaryDirectory const empty;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory);
    camera(serial).optic(54).writeInto(directory.path());
    EXPECT_EQ(load(cali, directory), 0);
    EXPECT_EQ(load(cali, empty), 0);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"23"}));
}

TEST(LoadCaliAgain, ReplacesAllByWhatAnotherCameraHas) {
    TemporaryDirectory const directory;
    camera(1).mainSection().optic(23).optic(54).writeInto(directory.path());
    camera(2).optic(80).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory, 1);
    load(cali, directory, 2);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"80"}));
    EXPECT_EQ(valuesOf(*cali.mainSection), mainDefaults);
    EXPECT_FALSE(cali.isLoaded(1));
    EXPECT_TRUE(cali.isLoaded(2));
}

namespace {

/// A description that was loaded and then given up for a camera whose file is missing, or not
/// well-formed.
struct FailedReload {
    explicit FailedReload(bool missing = true) {
        camera(1).mainSection().optic(23).text("X").range(5, 6).writeInto(directory.path());
        if (!missing)
            writeFile(descriptionPath(directory, 2), description("<!-- open"));
        load(cali, directory, 1);
        status = load(cali, directory, 2);
    }

    TemporaryDirectory directory;
    ConfigCali cali;
    int status = 0;
};

} // namespace

TEST(LoadCaliAgain, GoesBackToTheInitialContentWhenTheReloadFails) {
    for (bool const missing : {true, false}) {
        FailedReload const failed(missing);
        EXPECT_EQ(failed.status, accessDenied);
        EXPECT_FALSE(failed.cali.isLoaded(1));
        EXPECT_FALSE(failed.cali.isLoaded(2));
        EXPECT_FALSE(failed.cali.loaded);
        EXPECT_EQ(failed.cali.serial, -1);
        EXPECT_EQ(opticsOf(failed.cali), (std::vector<std::string>{"30"}));
        EXPECT_EQ(rangesOf(opticOf(failed.cali)), defaultRanges);
        EXPECT_EQ(valuesOf(*failed.cali.mainSection), mainDefaults);
    }
}

TEST(LoadCaliAgain, ReadsTheFirstCamerasFileAnewAfterAFailedReload) {
    FailedReload failed;
    camera(1).optic(99).writeInto(failed.directory.path());
    EXPECT_EQ(load(failed.cali, failed.directory, 1), 0);
    EXPECT_EQ(opticsOf(failed.cali), (std::vector<std::string>{"99"}));
}

// The main section

TEST(MainSectionOfADescription, StaysAtItsDefaultsWhereElementsAreMissingOrHoldNoNumber) {
    EXPECT_EQ(valuesOf(*loaded(camera(serial).optic(23))->mainSection), mainDefaults);
    std::string empty;
    std::string words;
    for (auto const& name : mainElements) {
        empty += element(name, "");
        words += element(name, "none");
    }
    for (auto const& elements : {std::string(), empty, words})
        EXPECT_EQ(valuesOf(*loaded(withMain(elements))->mainSection), mainDefaults);
}

TEST(MainSectionOfADescription, TakesEachElementIntoTheFieldOfItsNameAndNoOther) {
    for (std::size_t i = 0; i < mainElements.size(); ++i) {
        SCOPED_TRACE(mainElements[i]);
        auto const cali = loaded(withMain(element(mainElements[i], "77")));
        auto expected = mainDefaults;
        if (i != spareElement)
            expected[i] = 77;
        EXPECT_EQ(valuesOf(*cali->mainSection), expected);
    }
}

TEST(MainSectionOfADescription, TakesAllElementsInAnyOrder) {
    std::string elements;
    std::vector<double> expected;
    for (std::size_t i = 0; i < mainElements.size(); ++i) {
        elements.insert(0, element(mainElements[i], std::to_string(101 + i)));
        expected.push_back(static_cast<double>(101 + i));
    }
    expected[spareElement] = 10.0;
    EXPECT_EQ(valuesOf(*loaded(withMain(elements))->mainSection), expected);
}

TEST(MainSectionOfADescription, Reads16BitIntegersInTheBaseOfTheirPrefix) {
    struct {
        char const* text;
        int withoutSign, withSign;
    } const cases[] = {{"65541", 5, 5},
                       {"-1", 65535, -1},
                       {"131072", 0, 0},
                       {"2147483647", 65535, -1},
                       {"-65535", 1, 1},
                       {"65536", 0, 0},
                       {"40000", 40000, -25536},
                       {"-12", 65524, -12},
                       {"0x1A", 26, 26},
                       {"010", 8, 8},
                       {"3.9", 3, 3}};
    for (auto const& [text, withoutSign, withSign] : cases) {
        SCOPED_TRACE(text);
        std::string elements;
        for (auto const* name :
             {"TecA", "TecB", "TecC", "TecD", "AddedOffset", "FlagCycles", "FlagCycles_Ignore"})
            elements += element(name, text);
        auto const cali = loaded(withMain(elements));
        auto const& main = *cali->mainSection;
        for (int const value : {+main.TecA, +main.TecB, +main.TecC, +main.TecD, +main.FlagCycles,
                                +main.FlagCycles_Ignore})
            EXPECT_EQ(value, withoutSign);
        EXPECT_EQ(main.AddedOffset, withSign);
    }
}

TEST(MainSectionOfADescription, ReadsFractionsInSinglePrecision) {
    EXPECT_EQ(loaded(withMain("<TempTECGain>-0.1</TempTECGain>"))->mainSection->TempTECGain, -0.1F);
}

TEST(MainSectionOfADescription, IsReadFromTheRootWhenThereIsNoMainElement) {
    EXPECT_EQ(loaded(description("<TecA>7</TecA>"))->mainSection->TecA, 7);
}

// Optics of a description

TEST(OpticsOfADescription, AreReadInTheOrderOfTheFile) {
    auto const cali = loaded(camera(serial).optic(54).text("Macro").optic(23).optic(-80).text("W"));
    EXPECT_EQ(cali->getOpticsCount(), 3);
    EXPECT_EQ(opticsOf(*cali), (std::vector<std::string>{"54 Macro", "23", "-80 W"}));
}

TEST(OpticsOfADescription, MayBeAsManyAsTheFileHas) {
    auto const cali = loaded(withOptics(repeated("<OpticsDef>\n</OpticsDef>\n", 1000)));
    EXPECT_EQ(cali->getOpticsCount(), 1000);
}

TEST(OpticsOfADescription, HaveADefaultWhereAnElementIsMissingOrHoldsNoNumber) {
    for (auto const* elements : {"", "<FOV>wide</FOV><SerNo></SerNo>", "<spare>3</spare>"}) {
        auto const cali = loaded(withOptic(elements));
        auto const& optic = opticOf(*cali);
        EXPECT_EQ(optic.FOV, 0);
        EXPECT_EQ(optic.SerNo, 0);
        EXPECT_EQ(optic.Text, nullptr);
        EXPECT_FALSE(optic.SamplePointCali);
        EXPECT_EQ(optic.spare, -1.0);
    }
}

TEST(OpticsOfADescription, HaveTheirSerialNumber) {
    EXPECT_EQ(opticOf(*loaded(withOptic("<SerNo>-2147483648</SerNo>"))).SerNo,
              std::numeric_limits<int>::min());
}

TEST(OpticsOfADescription, HaveTheirTextByteForByteButForTheLineBreaksOfTheFile) {
    std::pair<std::string, std::string> const cases[] = {{"", ""},
                                                         {" Gr\xF6\xDF"
                                                          "e &amp; \t1% ",
                                                          " Gr\xF6\xDF"
                                                          "e &amp; \t1% "},
                                                         {"a\nb\r\nc", "ab\nc"}};
    for (auto const& [inFile, expected] : cases)
        EXPECT_EQ(textOf(opticOf(*loaded(withOptic(element("Text", inFile))))), expected);
}

TEST(OpticsOfADescription, KeepTheDefaultRangesOnlyWithoutTempRanges) {
    auto const cali = loaded(camera(serial)
                                 .optic(23)
                                 .optic(54)
                                 .range(150, 900)
                                 .range(1.5, 2.5)
                                 .optic(80)
                                 .withoutRanges());
    EXPECT_EQ(rangesOf(opticOf(*cali, 0)), defaultRanges);
    EXPECT_EQ(rangesOf(opticOf(*cali, 1)), (std::vector<Limits>{{150.0F, 900.0F}, {1.5F, 2.5F}}));
    EXPECT_EQ(rangesOf(opticOf(*cali, 2)), std::vector<Limits>{});
}

TEST(OpticsOfADescription, MayHaveAsManyRangesAsTheFileHas) {
    auto const cali =
        loaded(withRanges(repeated("<TemperatureRange>\n</TemperatureRange>\n", 1000)));
    EXPECT_EQ(opticOf(*cali).tempRanges.size(), 1000U);
}

TEST(OpticsOfADescription, AreSamplePointCalibratedForTrueInAnyLetterCaseAndNothingElse) {
    std::pair<char const*, bool> const cases[] = {
        {"true", true}, {"TRUE", true},   {"True", true},   {"tRuE", true},
        {"yes", false}, {"1", false},     {"", false},      {"false", false},
        {"tru", false}, {"truee", false}, {" true", false}, {"true ", false}};
    for (auto const& [answer, expected] : cases) {
        auto const cali = loaded(camera(serial).optic(23).samplePointCalibrated(answer).optic(54));
        EXPECT_EQ(opticOf(*cali, 0).SamplePointCali, expected) << '"' << answer << '"';
        EXPECT_FALSE(opticOf(*cali, 1).SamplePointCali);
    }
}

// Ranges of a description

TEST(RangeOfADescription, TakesEachOfItsElements) {
    auto const cali = loaded(withRange("<Fid>4</Fid><Skim>5</Skim><TempLo>-20.5</TempLo>"
                                       "<TempHi>100.25</TempHi><Decimal>2</Decimal>"));
    auto const& range = rangeOf(*cali);
    EXPECT_EQ(range.Fid, 4);
    EXPECT_EQ(range.Skim, 5);
    EXPECT_EQ(limits(range.range), (Limits{-20.5F, 100.25F}));
    EXPECT_EQ(range.Decimal, 2);
}

TEST(RangeOfADescription, HasADefaultWhereAnElementIsMissingOrHoldsNoNumber) {
    for (auto const* elements : {"", "<Fid>no</Fid><TempLo></TempLo><Decimal>one</Decimal>"}) {
        auto const cali = loaded(withRange(elements));
        auto const& range = rangeOf(*cali);
        EXPECT_EQ(range.Fid, 0);
        EXPECT_EQ(range.Skim, 0);
        EXPECT_EQ(limits(range.range), (Limits{0.0F, 0.0F}));
        EXPECT_EQ(range.Decimal, 1);
    }
}

TEST(RangeOfADescription, TruncatesItsIntegersTo16Bits) {
    auto const cali = loaded(withRange("<Fid>65537</Fid><Skim>-1</Skim><Decimal>65536</Decimal>"));
    EXPECT_EQ(rangeOf(*cali).Fid, 1);
    EXPECT_EQ(rangeOf(*cali).Skim, 65535);
    EXPECT_EQ(rangeOf(*cali).Decimal, 0);
}

TEST(RangeOfADescription, TakesNothingFromItsNeighbour) {
    auto const cali =
        loaded(withRanges("<TemperatureRange><Fid>4</Fid><TempHi>100</TempHi><Decimal>3</Decimal>"
                          "<Framerates></Framerates></TemperatureRange><TemperatureRange>"
                          "<TempLo>-20</TempLo></TemperatureRange>"));
    auto const& first = rangeOf(*cali, 0);
    auto const& second = rangeOf(*cali, 1);
    EXPECT_EQ(limits(first.range), (Limits{0.0F, 100.0F}));
    EXPECT_EQ(limits(second.range), (Limits{-20.0F, 0.0F}));
    EXPECT_EQ(second.Fid, 0);
    EXPECT_EQ(second.Decimal, 1);
    EXPECT_FALSE(second.framerates.has_value());
}

TEST(RangeOfADescription, IsExtendedButNeverCut) {
    std::pair<std::string, Limits> const cases[] = {
        {"", {0.0F, 100.0F}},
        {"<TempLoExt>-10</TempLoExt>", {-10.0F, 100.0F}},
        {"<TempHiExt>110</TempHiExt>", {0.0F, 110.0F}},
        {"<TempLoExt>-1.5</TempLoExt><TempHiExt>100.5</TempHiExt>", {-1.5F, 100.5F}},
        {"<TempLoExt>10</TempLoExt>", {0.0F, 100.0F}},
        {"<TempHiExt>90</TempHiExt>", {0.0F, 100.0F}},
        // What holds no number counts as -100.
        {"<TempLoExt>low</TempLoExt><TempHiExt>high</TempHiExt>", {-100.0F, 100.0F}}};
    for (auto const& [elements, expected] : cases) {
        auto const cali = loaded(withRange("<TempLo>0</TempLo><TempHi>100</TempHi>" + elements));
        EXPECT_EQ(limits(rangeOf(*cali).extRange), expected) << elements;
    }
}

TEST(FrameRatesOfADescription, AreReadInTheOrderOfTheFileAndTruncatedTo16Bits) {
    using FrameRates = std::optional<std::vector<std::uint16_t>>;
    auto const list = [](std::string const& content) {
        return element("Framerates", content);
    };
    auto const rate = [](std::string const& value) {
        return element("Framerate", value);
    };
    std::pair<std::string, FrameRates> const cases[] = {
        {"", std::nullopt},
        {list(""), FrameRates(std::in_place)},
        {list(rate("<FR>80</FR>") + rate("<FR>27</FR>")), {{80, 27}}},
        {list(rate("") + rate("<FR>27</FR>") + rate("<FR>fast</FR>")), {{0, 27, 0}}},
        {list(rate("<FR>65563</FR>") + rate("<FR>-1</FR>")), {{27, 65535}}},
        {list(repeated("<Framerate><FR>9</FR>\n</Framerate>\n", 1000)),
         std::vector<std::uint16_t>(1000, 9)}};
    for (auto const& [elements, expected] : cases)
        EXPECT_EQ(rangeOf(*loaded(withRange(elements))).framerates, expected) << elements;
}

TEST(FrameRatesOfADescription, LeaveTheElementsAfterThemToTheRange) {
    auto const cali =
        loaded(withRange("<Framerates><Framerate><FR>27</FR></Framerate></Framerates>"
                         "<Decimal>3</Decimal><TableParams><E1>4</E1></TableParams>"));
    EXPECT_EQ(rangeOf(*cali).Decimal, 3);
    EXPECT_EQ(rangeOf(*cali).tableParams.E1, 4);
}

TEST(TableParamsOfADescription, TakeEachOfTheirElements) {
    auto const cali = loaded(withTableParams(
        "<Normalize>1</Normalize><T1>-20</T1><T3>100</T3><E1>6120</E1><E3>14800</E3>"
        "<Lambda>10.6</Lambda>"));
    auto const& params = rangeOf(*cali).tableParams;
    EXPECT_TRUE(params.Normalize);
    EXPECT_EQ(params.T1, -20.0);
    EXPECT_EQ(params.T3, 100.0);
    EXPECT_EQ(params.E1, 6120);
    EXPECT_EQ(params.E3, 14800);
    EXPECT_EQ(params.Lambda, static_cast<double>(10.6F)); // read in single precision
}

TEST(TableParamsOfADescription, HaveADefaultForEveryElementThatIsMissingAndTheirSpares) {
    for (auto const* elements :
         {"", "<spare1>1</spare1><spare2>2</spare2><spare3>3</spare3><spare>4</spare>"}) {
        auto const cali = loaded(withTableParams(elements));
        expectDefaults(rangeOf(*cali).tableParams);
    }
}

TEST(TableParamsOfADescription, ReadTheirTemperaturesAsIntegersAndTheirEmissionsAs16Bits) {
    struct {
        char const* text;
        double temperature;
        int emission;
    } const cases[] = {{"12.75", 12.0, 12},
                       {"0x10", 16.0, 16},
                       {"16777217", 16777217.0, 1}, // more than single precision holds
                       {"-2147483647", -2147483647.0, 1},
                       {"65537", 65537.0, 1},
                       {"-2", -2.0, 65534}};
    for (auto const& [text, temperature, emission] : cases) {
        SCOPED_TRACE(text);
        auto const cali = loaded(withTableParams(element("T1", text) + element("T3", text) +
                                                 element("E1", text) + element("E3", text)));
        auto const& params = rangeOf(*cali).tableParams;
        EXPECT_EQ(params.T1, temperature);
        EXPECT_EQ(params.T3, temperature);
        EXPECT_EQ(params.E1, emission);
        EXPECT_EQ(params.E3, emission);
    }
}

TEST(TableParamsOfADescription, NormalizeForAnyNumberButZero) {
    std::pair<char const*, bool> const cases[] = {{"1", true},     {"2", true},  {"-1", true},
                                                  {"65536", true}, {"0", false}, {"", false},
                                                  {"true", false}};
    for (auto const& [text, expected] : cases) {
        auto const cali = loaded(withTableParams(element("Normalize", text)));
        EXPECT_EQ(rangeOf(*cali).tableParams.Normalize, expected) << text;
    }
}

TEST(TableParamsOfADescription, LeaveTheNextRangeToBeRead) {
    auto const cali = loaded(withRanges(
        repeated("<TemperatureRange><TableParams><E1>4</E1></TableParams></TemperatureRange>", 2)));
    EXPECT_EQ(rangeOf(*cali, 1).tableParams.E1, 4);
}

// Messages

namespace {

std::string debugLine(std::string const& message) {
    return "DEBUG [imgproc/Cali:LINE] @ TIMEs :" + message;
}

std::vector<std::string> messagesOfLoading(TemporaryDirectory const& directory, int serialNumber,
                                           std::string const& tecValues) {
    return {debugLine("Calibration directory path: " + directory.path()),
            debugLine("Calibration file name: Cali-" + std::to_string(serialNumber) + ".xml"),
            debugLine("Calibration data " + tecValues)};
}

} // namespace

TEST(LoadCaliLog, NamesDirectoryFileAndTecValues) {
    TemporaryDirectory const directory;
    camera(serial).mainSection().optic(23).writeInto(directory.path());
    ConfigCali cali;
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              messagesOfLoading(directory, serial, "A: 3410 B:410 C:405 D:118"));
}

TEST(LoadCaliLog, NamesTheDefaultTecValuesWhenTheyAreMissing) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              messagesOfLoading(directory, serial, "A: 3400 B:400 C:400 D:120"));
}

TEST(LoadCaliLog, NamesTecValuesAsTheyAreStored) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory),
              withMain("<TecA>65541</TecA><TecB>-1</TecB><TecC>0x10</TecC><TecD>0</TecD>"));
    ConfigCali cali;
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              messagesOfLoading(directory, serial, "A: 5 B:65535 C:16 D:0"));
}

TEST(LoadCaliLog, SaysThatTheDescriptionIsLoadedAlready) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory);
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              (std::vector<std::string>{debugLine("Calibration XML file already loaded.")}));
}

TEST(LoadCaliLog, NamesTheNewSerialNumberBeforeItReloads) {
    TemporaryDirectory const directory;
    camera(1).optic(23).writeInto(directory.path());
    camera(-2).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory, 1);
    auto expected = messagesOfLoading(directory, -2, "A: 3400 B:400 C:400 D:120");
    expected.insert(expected.begin(),
                    debugLine("Serial number has changed (-2), reload Calibration XML."));
    EXPECT_EQ(debugLogOf([&] { load(cali, directory, -2); }), expected);
}

TEST(LoadCaliLog, DoesNotCallTheSerialNumberChangedAfterAFailedLoad) {
    TemporaryDirectory const directory;
    camera(2).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory, 1);
    EXPECT_EQ(debugLogOf([&] { load(cali, directory, 2); }),
              messagesOfLoading(directory, 2, "A: 3400 B:400 C:400 D:120"));
}

TEST(LoadCaliLog, DoesNotCallTheSerialNumberChangedAfterAFailedReload) {
    FailedReload failed;
    EXPECT_EQ(debugLogOf([&] { load(failed.cali, failed.directory, 1); }),
              messagesOfLoading(failed.directory, 1, "A: 3410 B:410 C:405 D:118"));
}

TEST(LoadCaliLog, LeavesTheReportOfAMissingFileToTheReader) {
    TemporaryDirectory const directory;
    ConfigCali cali;
    EXPECT_EQ(
        debugLogOf([&] { load(cali, directory); }),
        (std::vector<std::string>{debugLine("Calibration directory path: " + directory.path()),
                                  debugLine("Calibration file name: Cali-14080045.xml"),
                                  "DEBUG [sdk/SimpleXML:LINE] @ TIMEs :Failed to open file " +
                                      descriptionPath(directory)}));
}

TEST(LoadCaliLog, LeavesTheReportOfAFileThatIsNotWellFormedToTheReader) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory), description("<!-- open"));
    ConfigCali cali;
    EXPECT_EQ(
        debugLogOf([&] { load(cali, directory); }),
        (std::vector<std::string>{debugLine("Calibration directory path: " + directory.path()),
                                  debugLine("Calibration file name: Cali-14080045.xml"),
                                  "ERROR [sdk/SimpleXML:LINE] @ TIMEs :<!-- open",
                                  "ERROR [sdk/SimpleXML:LINE] @ TIMEs :Format of file " +
                                      descriptionPath(directory) +
                                      " is wrong. Verify, that the XML document is well-formed!"}));
}

TEST(LoadCaliLog, SaysNothingBelowTheDebugLevel) {
    TemporaryDirectory const directory;
    camera(1).mainSection().optic(23).writeInto(directory.path());
    ConfigCali cali;
    EXPECT_EQ(support::logOf([&] {
                  load(cali, directory, 1);
                  load(cali, directory, 1);
                  load(cali, directory, 2);
              }),
              std::vector<std::string>{});
}

TEST(LoadCaliLog, NamesTheSourceLineThatWritesEachMessage) {
    TemporaryDirectory const directory;
    camera(1).optic(23).writeInto(directory.path());
    camera(2).optic(23).writeInto(directory.path());
    ConfigCali cali;
    zel::IRLogger::setVerbosity(zel::IRLOG_DEBUG, zel::IRLOG_OFF, nullptr);
    auto const log = support::lines(support::standardErrorOf([&] {
        load(cali, directory, 1);
        load(cali, directory, 1);
        load(cali, directory, 2);
    }));
    auto const source = support::lines(support::readFile(ZENTHO_SOURCE_DIR "/imgproc/Cali.cpp"));
    ASSERT_EQ(log.size(), 8U); // of five kinds
    std::set<std::size_t> distinct;
    for (auto const& line : log) {
        auto const number = support::sourceLine(line);
        distinct.insert(number);
        EXPECT_NE(source.at(number - 1).find("__LINE__"), std::string::npos) << line;
    }
    EXPECT_EQ(distinct.size(), 5U);
}

TEST(CaliQueries, LogNothing) {
    auto const cali = loaded(camera(serial).optic(23));
    EXPECT_EQ(debugLogOf([&] {
                  auto const unknown = optic(99);
                  Range const range{1.0F, 2.0F};
                  unsigned short rate = 50;
                  cali->getOpticsIndex(&unknown);
                  cali->getTempRangeIndex(&unknown, &range);
                  cali->getTempRangeDecimal(99, nullptr, 1.0F, 2.0F);
                  cali->checkFramerate(&unknown, &range, rate);
              }),
              std::vector<std::string>{});
}

// Optics

namespace {

/// A question about an optic, and the index that answers it.
struct OpticQuestion {
    int fov;
    char const* text;
    int index;
};

template <std::size_t Count>
void expectIndexes(support::Camera const& camera, OpticQuestion const (&questions)[Count]) {
    auto const cali = loaded(camera);
    for (auto const& [fov, text, index] : questions)
        EXPECT_EQ(opticsIndex(*cali, optic(fov, text)), index)
            << fov << ' ' << (text != nullptr ? text : "(null)");
}

template <std::size_t Count>
void expectLenientIndexes(support::Camera const& camera, OpticQuestion const (&questions)[Count]) {
    auto const cali = loaded(camera);
    for (auto const& [fov, text, index] : questions)
        EXPECT_EQ(cali->getOpticsIndex(fov, text), index)
            << fov << ' ' << (text != nullptr ? text : "(null)");
}

} // namespace

TEST(OpticsIndex, IsThatOfTheOpticWithTheTextOfTheHandle) {
    expectIndexes(camera(serial).optic(23).text("M").optic(30).optic(30).text("T"),
                  {{30, nullptr, 1},
                   {30, "", 1},
                   {30, "T", 2},
                   {30, "X", -1},
                   {30, "M", -1},
                   {31, nullptr, -1},
                   {23, nullptr, -1}});
    EXPECT_EQ(ConfigCali().getOpticsIndex(nullptr), -1);
}

TEST(OpticsIndex, TakesAnEmptyTextOfTheOpticForNone) {
    expectIndexes(camera(serial).optic(30).text(""), {{30, nullptr, 0}, {30, "", 0}});
}

TEST(OpticsIndex, ComparesTheWholeTextWithItsLetterCase) {
    expectIndexes(camera(serial).optic(30).text("Macro"),
                  {{30, "Mac", -1}, {30, "Macros", -1}, {30, "macro", -1}, {30, "Macro", 0}});
}

TEST(OpticsIndex, IsThatOfTheFirstOfEqualOptics) {
    expectIndexes(camera(serial).optic(23).optic(30).text("T").optic(30).text("T"), {{30, "T", 1}});
}

TEST(LenientOpticsIndex, TakesAMissingTextOnEitherSideForAnyText) {
    expectLenientIndexes(camera(serial).optic(30).optic(30).text("T"),
                         {{30, "T", 0}, {30, "X", 0}});
    expectLenientIndexes(camera(serial).optic(30).text("").optic(30).text("T"), {{30, "T", 0}});
    expectLenientIndexes(camera(serial).optic(23).optic(30).text("T").optic(30),
                         {{30, nullptr, 1}, {30, "", 1}, {31, nullptr, -1}});
}

TEST(LenientOpticsIndex, PassesOverOpticsWithAnotherText) {
    expectLenientIndexes(camera(serial).optic(30).text("S").optic(30).text("T"),
                         {{30, "T", 1}, {30, "X", -1}});
}

TEST(GetOptics, GivesANewHandleWithTheDescriptionsOwnText) {
    auto const cali = loaded(camera(serial).optic(23).optic(54).text("Macro"));
    std::unique_ptr<OPTICS> const handle(cali->getOptics(1));
    std::unique_ptr<OPTICS> const again(cali->getOptics(1));
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(handle, again);
    EXPECT_EQ(handle->fov, 54);
    EXPECT_EQ(handle->text, opticOf(*cali, 1).Text.get());
    EXPECT_STREQ(handle->text, "Macro");
}

TEST(GetOptics, GivesANullTextForAnOpticWithout) {
    std::unique_ptr<OPTICS> const handle(ConfigCali().getOptics(0));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->text, nullptr);
}

TEST(GetOptics, GivesNullForAnIndexOutsideTheTable) {
    ConfigCali const cali;
    for (int const index : {-1, 1, 2})
        EXPECT_EQ(cali.getOptics(index), nullptr) << index;
}

// Ranges. Each query is asked through records and through plain arguments.

namespace {

int rangeCount(ConfigCali const& cali, int fov, char const* text = nullptr) {
    auto const handle = optic(fov, text);
    int const count = cali.getTempRangeCount(&handle);
    EXPECT_EQ(cali.getTempRangeCount(fov, text), count);
    return count;
}

int rangeIndex(ConfigCali const& cali, int fov, char const* text, float lo, float hi) {
    auto const handle = optic(fov, text);
    Range const range{lo, hi};
    int const index = cali.getTempRangeIndex(&handle, &range);
    EXPECT_EQ(cali.getTempRangeIndex(fov, text, lo, hi), index);
    return index;
}

std::optional<Limits> rangeAt(ConfigCali const& cali, int fov, char const* text, int index) {
    auto const handle = optic(fov, text);
    auto const range = taken(cali.getTempRange(&handle, index));
    EXPECT_EQ(taken(cali.getTempRange(fov, text, index)), range);
    return range;
}

std::optional<Limits> extendedAt(ConfigCali const& cali, int fov, char const* text, int index) {
    auto const handle = optic(fov, text);
    auto const range = taken(cali.getExtendedTempRange(&handle, index));
    EXPECT_EQ(taken(cali.getExtendedTempRange(fov, text, index)), range);
    return range;
}

std::optional<Limits> spanOf(ConfigCali const& cali, int fov, char const* text = nullptr) {
    auto const handle = optic(fov, text);
    return taken(cali.getTempRangeOverAll(&handle));
}

/// Two optics of one field of view, which the exact rule tells apart; their ranges differ.
std::unique_ptr<ConfigCali> twinOptics() {
    return loaded(camera(serial)
                      .optic(30)
                      .range(-20, 100)
                      .extendedTo(-25, 110)
                      .optic(30)
                      .text("T")
                      .range(0, 250)
                      .range(150, 900)
                      .extendedTo(140, 950));
}

} // namespace

TEST(TempRangeCount, IsThatOfTheExactOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(rangeCount(*cali, 30), 1);
    EXPECT_EQ(rangeCount(*cali, 30, "T"), 2);
    EXPECT_EQ(rangeCount(*loaded(camera(serial).optic(30).withoutRanges()), 30), 0);
}

TEST(TempRangeCount, IsMinusOneForAnUnknownOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(rangeCount(*cali, 31), -1);
    EXPECT_EQ(rangeCount(*cali, 30, "X"), -1);
    EXPECT_EQ(cali->getTempRangeCount(nullptr), -1);
}

TEST(TempRangeIndex, IsThatOfTheRangeWithExactlyTheseLimits) {
    struct {
        float lo, hi;
        int index;
    } const cases[] = {{-20.0F, 100.0F, 0},  {0.0F, 250.0F, 1},     {150.0F, 900.0F, 2},
                       {-0.0F, 250.0F, 1},   {-20.0F, 100.5F, -1},  {-20.000002F, 100.0F, -1},
                       {-20.0F, 250.0F, -1}, {-100.0F, -100.0F, -1}}; // not the extended limits
    for (auto const& [lo, hi, index] : cases)
        EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, lo, hi), index) << lo << ' ' << hi;
    EXPECT_EQ(rangeIndex(*twinOptics(), 30, nullptr, -25.0F, 110.0F), -1);
}

TEST(TempRangeIndex, FindsTheRangesOfTheExactOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(rangeIndex(*cali, 30, "T", 150.0F, 900.0F), 1);
    EXPECT_EQ(rangeIndex(*cali, 30, nullptr, 150.0F, 900.0F), -1);
    EXPECT_EQ(rangeIndex(*cali, 31, nullptr, -20.0F, 100.0F), -1);
}

TEST(TempRangeIndex, IsThatOfTheFirstOfEqualRanges) {
    auto const cali = loaded(camera(serial).optic(30).range(1, 2).range(3, 4).range(3, 4));
    EXPECT_EQ(rangeIndex(*cali, 30, nullptr, 3.0F, 4.0F), 1);
}

TEST(TempRangeIndex, IsMinusOneWithoutARecord) {
    ConfigCali const cali;
    auto const handle = optic(30);
    Range const range{-20.0F, 100.0F};
    EXPECT_EQ(cali.getTempRangeIndex(nullptr, &range), -1);
    EXPECT_EQ(cali.getTempRangeIndex(&handle, nullptr), -1);
}

TEST(TempRange, IsACopyOfTheRangeAtTheIndex) {
    EXPECT_EQ(rangeAt(*twinOptics(), 30, "T", 1), (Limits{150.0F, 900.0F}));
    ConfigCali const cali;
    std::unique_ptr<Range> const first(cali.getTempRange(30, nullptr, 0));
    std::unique_ptr<Range> const second(cali.getTempRange(30, nullptr, 0));
    EXPECT_NE(first, second);
}

TEST(ExtendedTempRange, IsACopyOfTheExtendedRangeAtTheIndex) {
    EXPECT_EQ(extendedAt(*twinOptics(), 30, "T", 0), (Limits{0.0F, 250.0F})); // extends nothing
    EXPECT_EQ(extendedAt(*twinOptics(), 30, "T", 1), (Limits{140.0F, 950.0F}));
    EXPECT_EQ(extendedAt(ConfigCali(), 30, nullptr, 0), (Limits{-100.0F, -100.0F}));
}

TEST(TempRangeAndExtendedTempRange, AreNullForAnUnknownOpticOrIndex) {
    for (auto const& at : {rangeAt, extendedAt}) {
        EXPECT_EQ(at(*twinOptics(), 30, "X", 0), std::nullopt);
        EXPECT_EQ(at(ConfigCali(), 30, nullptr, -1), std::nullopt);
        EXPECT_EQ(at(ConfigCali(), 30, nullptr, 3), std::nullopt);
    }
    EXPECT_EQ(ConfigCali().getTempRange(nullptr, 0), nullptr);
    EXPECT_EQ(ConfigCali().getExtendedTempRange(nullptr, 0), nullptr);
}

TEST(ExtendedTempRange, IsFoundByTheLimitsOfTheRange) {
    auto const cali = twinOptics();
    EXPECT_EQ(taken(cali->getExtendedTempRange(30, "T", 150.0F, 900.0F)), (Limits{140.0F, 950.0F}));
    EXPECT_EQ(cali->getExtendedTempRange(30, "T", 140.0F, 950.0F), nullptr);
    EXPECT_EQ(cali->getExtendedTempRange(30, "X", 150.0F, 900.0F), nullptr);
}

TEST(TempRangeOverAll, SpansTheRangesOfAllOpticsButNotTheirExtendedRanges) {
    auto const cali = loaded(
        camera(serial).optic(1).range(0, 250).optic(2).range(-40, 10).range(5, 1500).optic(3));
    EXPECT_EQ(taken(cali->getTempRangeOverAll()), (Limits{-40.0F, 1500.0F}));
    EXPECT_EQ(taken(twinOptics()->getTempRangeOverAll()), (Limits{-20.0F, 900.0F}));
    EXPECT_EQ(taken(ConfigCali().getTempRangeOverAll()), (Limits{-20.0F, 900.0F}));
    EXPECT_EQ(taken(loaded(camera(serial))->getTempRangeOverAll()), noSpan);
}

TEST(TempRangeOverAll, SpansTheRangesOfTheExactOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(spanOf(*cali, 30), (Limits{-20.0F, 100.0F}));
    EXPECT_EQ(spanOf(*cali, 30, "T"), (Limits{0.0F, 900.0F}));
    EXPECT_EQ(spanOf(*cali, 30, "X"), std::nullopt);
    EXPECT_EQ(cali->getTempRangeOverAll(nullptr), nullptr);
}

TEST(TempRangeOverAll, SpansFromTheLowestLowToTheHighestHighLimitWithinAMillion) {
    auto const cali = loaded(camera(serial)
                                 .optic(1)
                                 .range(100, -20)
                                 .optic(2)
                                 .range(2000000, -2000000)
                                 .optic(3)
                                 .withoutRanges());
    EXPECT_EQ(spanOf(*cali, 1), (Limits{100.0F, -20.0F}));
    EXPECT_EQ(spanOf(*cali, 2), noSpan);
    EXPECT_EQ(spanOf(*cali, 3), noSpan);
}

TEST(TempRangeDecimal, IsThatOfTheRangeWithTheseLimits) {
    auto const cali =
        loaded(camera(serial).optic(30).range(-20, 100).decimal(2).range(0, 250).decimal(3).range(
            150, 900));
    EXPECT_EQ(cali->getTempRangeDecimal(30, nullptr, 0.0F, 250.0F), 3);
    EXPECT_EQ(cali->getTempRangeDecimal(30, nullptr, 150.0F, 900.0F), 1);
    EXPECT_EQ(cali->getTempRangeDecimal(30, nullptr, 0.0F, 251.0F), 0);
    EXPECT_EQ(cali->getTempRangeDecimal(30, "X", 0.0F, 250.0F), 0);
}

// Descriptions so large that records are no longer looked through one by one

namespace {

constexpr int many = 100;

/// Many optics: (0, -), (0, A), (0, B), (1, -), ... and then all of them once more.
support::Camera manyOptics() {
    auto result = camera(serial);
    for (int i = 0; i < 2 * many; ++i) {
        result.optic(i % many / 3).range(i, i + 1);
        if (i % many % 3 != 0)
            result.text(i % many % 3 == 1 ? "A" : "B");
    }
    return result;
}

/// One optic with many ranges, each of them twice.
support::Camera manyRanges() {
    auto result = camera(serial).optic(30);
    for (int i = 0; i < 2 * many; ++i) {
        int const shuffled = i % many * 37 % many;
        int const low = -50 + shuffled / 10;
        result.range(low, 100 + shuffled % 10).frameRate(i + 1).decimal(i + 1);
    }
    return result;
}

} // namespace

TEST(ManyOptics, AreEachFoundAtTheirFirstPlace) {
    auto const cali = loaded(manyOptics());
    for (int pass = 0; pass < 2; ++pass) {
        for (int i = 0; i < many; ++i) {
            std::array<char const*, 3> const texts{nullptr, "A", "B"};
            auto const* const text = texts[static_cast<std::size_t>(i % 3)];
            EXPECT_EQ(opticsIndex(*cali, optic(i / 3, text)), i);
        }
    }
}

TEST(ManyOptics, AnswerWithTheRangesOfTheFirstOfEqualOptics) {
    auto const cali = loaded(manyOptics());
    EXPECT_EQ(rangeIndex(*cali, 33, nullptr, 99.0F, 100.0F), 0);
    EXPECT_EQ(rangeIndex(*cali, 33, nullptr, 199.0F, 200.0F), -1);
}

TEST(ManyOptics, DoNotAnswerForUnknownOnes) {
    auto const cali = loaded(manyOptics());
    for (auto const& unknown :
         {optic(-1), optic(34), optic(33, "A"), optic(5, "AA"), optic(5, "C")})
        EXPECT_EQ(opticsIndex(*cali, unknown), -1) << unknown.fov;
}

TEST(ManyOptics, AreFoundLenientlyInTheOrderOfTheFile) {
    auto const cali = loaded(manyOptics());
    EXPECT_EQ(cali->getOpticsIndex(20, "B"), 60);
    EXPECT_EQ(cali->getOpticsIndex(20, nullptr), 60);
}

TEST(ManyOptics, AreFoundWithAnEmptyTextAsWithNone) {
    auto camera = manyOptics().optic(500).text("").optic(501);
    auto const cali = loaded(camera);
    EXPECT_EQ(opticsIndex(*cali, optic(500)), 2 * many);
    EXPECT_EQ(opticsIndex(*cali, optic(501, "")), 2 * many + 1);
}

TEST(ManyRanges, AreEachFoundAtTheirFirstPlace) {
    auto const cali = loaded(manyRanges());
    for (int i = 0; i < many; ++i) {
        int const shuffled = i * 37 % many;
        int const low = -50 + shuffled / 10;
        auto const lo = static_cast<float>(low);
        auto const hi = static_cast<float>(100 + shuffled % 10);
        EXPECT_EQ(rangeIndex(*cali, 30, nullptr, lo, hi), i);
        EXPECT_EQ(cali->getTempRangeDecimal(30, nullptr, lo, hi), i + 1);
    }
}

TEST(ManyRanges, DoNotAnswerForUnknownLimits) {
    auto const cali = loaded(manyRanges());
    for (auto const& [lo, hi] : std::vector<Limits>{{-51.0F, 100.0F},
                                                    {-40.0F, 100.0F},
                                                    {-50.0F, 99.0F},
                                                    {-45.0F, 110.0F},
                                                    {-45.5F, 105.0F}})
        EXPECT_EQ(rangeIndex(*cali, 30, nullptr, lo, hi), -1) << lo << ' ' << hi;
}

TEST(ManyRanges, KeepTheOrderOfTheFile) {
    auto const cali = loaded(manyRanges());
    EXPECT_EQ(rangeAt(*cali, 30, nullptr, 1), (Limits{-47.0F, 107.0F}));
    EXPECT_EQ(rangeAt(*cali, 30, nullptr, 2 * many - 1), (Limits{-44.0F, 103.0F}));
}

TEST(ManyRanges, TakeMinusZeroForZero) {
    auto const cali = loaded(manyRanges().range(0, 5));
    EXPECT_EQ(rangeIndex(*cali, 30, nullptr, -0.0F, 5.0F), 2 * many);
}

TEST(ManyRanges, AreFoundAlsoWhenTheLimitsOfSomeAreNoNumbers) {
    auto const noNumbers = repeated(
        "<TemperatureRange><TempLo>nan</TempLo><TempHi>nan</TempHi></TemperatureRange>", 20);
    auto const cali = loaded(withRanges(noNumbers +
                                        "<TemperatureRange><TempLo>1</TempLo><TempHi>2</TempHi>"
                                        "</TemperatureRange>" +
                                        noNumbers));
    EXPECT_EQ(rangeIndex(*cali, 0, nullptr, 1.0F, 2.0F), 20);
}

TEST(ManyRanges, DoNotAnswerForLimitsThatAreNoNumbers) {
    auto const cali = loaded(withRanges(repeated(
        "<TemperatureRange><TempLo>nan</TempLo><TempHi>nan</TempHi></TemperatureRange>", 20)));
    float const noNumber = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(rangeIndex(*cali, 0, nullptr, noNumber, noNumber), -1);
}

// Frame rates

namespace {

/// What checkFramerate() says: whether the caller can go on, and with which frame rate.
using Checked = std::pair<bool, int>;

Checked checked(ConfigCali const& cali, int fov, Range const& range, unsigned short framerate) {
    auto const handle = optic(fov);
    auto viaRecords = framerate;
    auto viaArguments = framerate;
    bool const goesOn = cali.checkFramerate(&handle, &range, viaRecords);
    EXPECT_EQ(cali.checkFramerate(fov, nullptr, range.lo, range.hi, viaArguments), goesOn);
    EXPECT_EQ(viaArguments, viaRecords);
    return {goesOn, viaRecords};
}

int rateIndex(ConfigCali const& cali, int fov, Range const& range, unsigned short framerate) {
    auto const handle = optic(fov);
    int const index = cali.getFramerateIndex(&handle, &range, framerate);
    EXPECT_EQ(cali.getFramerateIndex(fov, nullptr, range.lo, range.hi, framerate), index);
    return index;
}

constexpr Range withoutList{0.0F, 250.0F};
constexpr Range emptyList{150.0F, 900.0F};
constexpr Range twoRates{-20.0F, 100.0F};
constexpr Range rateTwice{1.0F, 2.0F};
constexpr Range unknownRange{-20.0F, 101.0F};

/// Optic 23 with all kinds of ranges, and another one.
std::unique_ptr<ConfigCali> allKindsOfRanges() {
    return loaded(camera(serial)
                      .optic(23)
                      .range(0, 250)
                      .range(150, 900)
                      .withoutFrameRates()
                      .range(-20, 100)
                      .frameRate(27)
                      .frameRate(80)
                      .range(1, 2)
                      .frameRate(50)
                      .frameRate(0)
                      .frameRate(50)
                      .optic(54));
}

} // namespace

TEST(FramerateCount, IsTheLengthOfTheList) {
    auto const cali = allKindsOfRanges();
    struct {
        int fov;
        Range range;
        int count;
    } const cases[] = {{23, withoutList, 0}, {23, emptyList, 0}, {23, twoRates, 2},
                       {23, rateTwice, 3},   {99, twoRates, -1}, {23, unknownRange, -1}};
    for (auto const& each : cases) {
        auto const handle = optic(each.fov);
        EXPECT_EQ(cali->getFramerateCount(&handle, &each.range), each.count) << each.range.hi;
    }
}

TEST(FramerateIndex, IsThatOfTheFirstEqualRate) {
    auto const cali = allKindsOfRanges();
    struct {
        int fov;
        Range range;
        unsigned short rate;
        int index;
    } const cases[] = {{23, twoRates, 27, 0},  {23, twoRates, 80, 1},     {23, rateTwice, 50, 0},
                       {23, twoRates, 50, -2}, {23, emptyList, 50, -2},   {23, withoutList, 50, -1},
                       {99, twoRates, 27, -1}, {23, unknownRange, 27, -1}};
    for (auto const& each : cases)
        EXPECT_EQ(rateIndex(*cali, each.fov, each.range, each.rate), each.index)
            << each.range.hi << ' ' << each.rate;
}

TEST(Framerate, IsTheListedOneOrZero) {
    auto const cali = allKindsOfRanges();
    struct {
        int fov;
        Range range;
        int index;
        int rate;
    } const cases[] = {{23, twoRates, 0, 27},    {23, twoRates, 1, 80}, {23, twoRates, 2, 0},
                       {23, twoRates, -1, 0},    {23, emptyList, 0, 0}, {23, withoutList, 0, 0},
                       {23, withoutList, -1, 0}, {99, twoRates, 0, 0},  {23, unknownRange, 0, 0}};
    for (auto const& each : cases) {
        auto const handle = optic(each.fov);
        EXPECT_EQ(cali->getFramerate(&handle, &each.range, each.index), each.rate)
            << each.range.hi << ' ' << each.index;
    }
}

TEST(CheckFramerate, GoesOnWithAListedRateAndWithoutOneWhereThereIsNoList) {
    auto const cali = allKindsOfRanges();
    struct {
        int fov;
        Range range;
        unsigned short rate;
        Checked checked;
    } const cases[] = {
        {23, withoutList, 50, {true, 0}}, {23, emptyList, 50, {false, 0}},
        {23, emptyList, 0, {false, 0}},   {23, twoRates, 27, {true, 27}},
        {23, twoRates, 80, {true, 80}},   {23, twoRates, 50, {false, 0}},
        {23, twoRates, 79, {false, 0}}, // no rounding
        {23, twoRates, 0, {false, 0}},    {23, rateTwice, 0, {true, 0}},
        {99, twoRates, 80, {true, 0}},    {23, unknownRange, 80, {true, 0}},
    };
    for (auto const& each : cases)
        EXPECT_EQ(checked(*cali, each.fov, each.range, each.rate), each.checked)
            << each.range.hi << ' ' << each.rate;
}

TEST(FramerateQueries, DoWithoutARecord) {
    ConfigCali const cali;
    auto const handle = optic(30);
    EXPECT_EQ(cali.getFramerateCount(&handle, nullptr), -1);
    EXPECT_EQ(cali.getFramerateCount(nullptr, &twoRates), -1);
    EXPECT_EQ(cali.getFramerateIndex(&handle, nullptr, 27), -1);
    EXPECT_EQ(cali.getFramerateIndex(nullptr, &twoRates, 27), -1);
    EXPECT_EQ(cali.getFramerate(&handle, nullptr, 0), 0);
    EXPECT_EQ(cali.getFramerate(nullptr, &twoRates, 0), 0);
    unsigned short framerate = 80;
    EXPECT_TRUE(cali.checkFramerate(nullptr, &twoRates, framerate));
    EXPECT_EQ(framerate, 0);
}

TEST(CheckFramerate, LooksAtTheExactOptic) {
    auto const cali = loaded(
        camera(serial).optic(30).range(-20, 100).frameRate(27).optic(30).text("T").range(-20, 100));
    auto const withText = optic(30, "T");
    unsigned short framerate = 27;
    EXPECT_TRUE(cali->checkFramerate(&withText, &twoRates, framerate));
    EXPECT_EQ(framerate, 0);
}

// File names

namespace {

constexpr int roomy = 260;

std::string stem(int serialNumber, int fov, char const* text, float lo, float hi,
                 unsigned short framerate) {
    std::array<char, roomy> viaArguments{};
    std::array<char, roomy> viaRecord{};
    Range const range{lo, hi};
    EXPECT_TRUE(ConfigCali::caliFilenameString(serialNumber, fov, text, lo, hi, framerate,
                                               viaArguments.data(), roomy));
    EXPECT_TRUE(ConfigCali::caliFilenameString(serialNumber, fov, text, &range, framerate,
                                               viaRecord.data(), roomy));
    EXPECT_STREQ(viaRecord.data(), viaArguments.data());
    return viaArguments.data();
}

} // namespace

TEST(CaliFilenameString, HasSerialNumberFieldOfViewTextLimitsAndFrameRate) {
    std::string const longText(300, 't');
    struct {
        int serialNumber, fov;
        char const* text;
        float lo, hi;
        unsigned short framerate;
        std::string stem;
    } const cases[] = {
        {12345, 30, nullptr, -20.0F, 100.0F, 0, "12345-30-M20-100"},
        {12345, 30, "", -20.0F, 100.0F, 0, "12345-30-M20-100"},
        {12345, 30, "X", -20.0F, 100.0F, 0, "12345-30-X-M20-100"},
        {12345, 30, nullptr, 150.0F, 900.0F, 32, "12345-30-150-900-32"},
        {12345, 30, "X", -20.0F, 100.0F, 32, "12345-30-X-M20-100-32"},
        {1, 2, "a/%s -\xF6", 0.0F, 1.0F, 0, "1-2-a/%s -\xF6-0-1"},
        {-1, -2, nullptr, 0.0F, 1.0F, 0, "-1--2-0-1"},
        {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), nullptr, 0.0F, 1.0F,
         65535, "-2147483648-2147483647-0-1-65535"},
        {1, 2, longText.c_str(), 0.0F, 1.0F, 0, "1-2-" + longText.substr(0, 255)},
    };
    for (auto const& each : cases)
        EXPECT_EQ(stem(each.serialNumber, each.fov, each.text, each.lo, each.hi, each.framerate),
                  each.stem);
}

TEST(CaliFilenameString, TruncatesLimitsButMarksTheSignOfTheirValue) {
    float const infinity = std::numeric_limits<float>::infinity();
    struct {
        float lo, hi;
        char const* stem;
    } const cases[] = {
        {-0.5F, 99.9F, "1-2-M0-99"},
        {0.0F, 250.0F, "1-2-0-250"},
        {-40.0F, -10.0F, "1-2-M40-M10"},
        {-0.0F, -0.0F, "1-2-0-0"},
        {-1.99F, -0.01F, "1-2-M1-M0"},
        {-2147483520.0F, 2147483520.0F, "1-2-M2147483520-2147483520"},
        // The largest integer stands for what is beyond it, 0 for what is no number.
        {2147483648.0F, 1e20F, "1-2-2147483647-2147483647"},
        {-2147483648.0F, -1e20F, "1-2-M2147483647-M2147483647"},
        {-infinity, infinity, "1-2-M2147483647-2147483647"},
        {std::numeric_limits<float>::quiet_NaN(), 1.0F, "1-2-0-1"},
    };
    for (auto const& [lo, hi, expected] : cases)
        EXPECT_EQ(stem(1, 2, nullptr, lo, hi, 0), expected);
}

TEST(CaliFilenameString, IsCutToLeaveRoomForItsTerminator) {
    std::pair<int, std::string> const cases[] = {{17, std::string("12345-30-M20-100\0###", 20)},
                                                 {16, std::string("12345-30-M20-10\0####", 20)},
                                                 {10, std::string("12345-30-\0##########", 20)},
                                                 {1, std::string("\0###################", 20)},
                                                 {0, std::string(20, '#')}};
    for (auto const& [size, expected] : cases) {
        std::string buffer(20, '#');
        EXPECT_TRUE(ConfigCali::caliFilenameString(12345, 30, nullptr, -20.0F, 100.0F, 0,
                                                   buffer.data(), size));
        EXPECT_EQ(buffer, expected) << size;
    }
}

TEST(CaliFilenameString, IsFalseWithoutARangeOrABuffer) {
    std::array<char, roomy> buffer{};
    EXPECT_FALSE(ConfigCali::caliFilenameString(1, 2, nullptr, nullptr, 0, buffer.data(), roomy));
    EXPECT_FALSE(ConfigCali::caliFilenameString(1, 2, nullptr, 0.0F, 1.0F, 0, nullptr, roomy));
    EXPECT_FALSE(ConfigCali::caliFilenameString(1, 2, nullptr, 0.0F, 1.0F, 0, buffer.data(), -1));
}

// The builder of the tests states the names by rules of its own

namespace {

support::Camera everyKindOfSet() {
    return camera(serial)
        .mainSection()
        .optic(23)
        .range(-20, 100)
        .frameRate(27)
        .frameRate(80)
        .range(-0.5, 99.9)
        .range(0, 250)
        .withoutFrameRates()
        .optic(54)
        .text("Macro")
        .samplePointCalibrated("True")
        .range(-40, -10)
        .frameRate(0)
        .optic(80);
}

} // namespace

TEST(SetOfACamera, NeedsTheFilesThatItsDescriptionStates) {
    EXPECT_EQ(everyKindOfSet().fileNames(),
              (std::vector<std::string>{
                  "Cali-14080045.xml", "Cali-14080045-23-M20-100-27.dat",
                  "Kennlinie-14080045-23-M20-100-27.prn", "Cali-14080045-23-M20-100-80.dat",
                  "Kennlinie-14080045-23-M20-100-80.prn", "Cali-14080045-23-M0-99.dat",
                  "Kennlinie-14080045-23-M0-99.prn", "Cali-14080045-23-0-250.dat",
                  "Kennlinie-14080045-23-0-250.prn", "Cali-14080045-54-Macro-M40-M10.dat",
                  "Cali-14080045-80-M20-100.dat", "Kennlinie-14080045-80-M20-100.prn",
                  "Cali-14080045-80-0-250.dat", "Kennlinie-14080045-80-0-250.prn",
                  "Cali-14080045-80-150-900.dat", "Kennlinie-14080045-80-150-900.prn"}));
}

TEST(SetOfACamera, HasTheStemsThatTheQueriesLeadTo) {
    auto const cali = loaded(everyKindOfSet());
    std::vector<std::string> stems;
    for (int i = 0; i < cali->getOpticsCount(); ++i) {
        std::unique_ptr<OPTICS> const handle(cali->getOptics(i));
        for (int j = 0; j < cali->getTempRangeCount(handle.get()); ++j) {
            std::unique_ptr<Range> const range(cali->getTempRange(handle.get(), j));
            int const rates = cali->getFramerateCount(handle.get(), range.get());
            for (int k = 0; k < std::max(rates, 1); ++k) {
                stems.push_back(stem(serial, handle->fov, handle->text, range->lo, range->hi,
                                     cali->getFramerate(handle.get(), range.get(), k)));
            }
        }
    }
    EXPECT_EQ(stems, everyKindOfSet().stems());
}

TEST(SetOfACamera, IsWrittenExceptForTheFilesLeftOut) {
    TemporaryDirectory const directory;
    std::string const leftOut = "Cali-14080045-23-M0-99.dat";
    everyKindOfSet().writeInto(directory.path(), {leftOut});
    std::set<std::string> written;
    for (auto const& file : std::filesystem::directory_iterator(directory.path()))
        written.insert(file.path().filename().string());
    auto const names = everyKindOfSet().fileNames();
    std::set<std::string> expected(names.begin(), names.end());
    expected.erase(leftOut);
    EXPECT_EQ(written, expected);
}
