#include "imgproc/Cali.h"

#include "sdk/IRLogger.h"
#include "tests/support/Camera.h"
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

using support::camera;
using support::debugLogOf;
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
    return "<CaliData>\n" + content + "\n</CaliData>\n";
}

std::string withMain(std::string const& elements) {
    return description("<Main>" + elements + "</Main>");
}

std::string withOptics(std::string const& optics) {
    return description("<Temperature><Optics>" + optics + "</Optics></Temperature>");
}

std::string withOptic(std::string const& elements) {
    return withOptics("<OpticsDef>" + elements + "</OpticsDef>");
}

std::string withRanges(std::string const& ranges) {
    return withOptic("<TempRanges>" + ranges + "</TempRanges>");
}

std::string withRange(std::string const& elements) {
    return withRanges("<TemperatureRange>" + elements + "</TemperatureRange>");
}

std::string withTableParams(std::string const& elements) {
    return withRange("<TableParams>" + elements + "</TableParams>");
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

/// The text of an optic, where no text shows.
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

std::string element(std::string const& name, std::string const& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string repeated(std::string const& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

} // namespace

// What a description holds before it is loaded

TEST(ConfigCaliInitially, IsNotLoaded) {
    ConfigCali const cali;
    EXPECT_FALSE(cali.loaded);
}

TEST(ConfigCaliInitially, HasTheSerialNumberMinusOne) {
    ConfigCali const cali;
    EXPECT_EQ(cali.serial, -1);
}

TEST(ConfigCaliInitially, DoesNotCountAsLoadedForItsSerialNumberMinusOne) {
    ConfigCali const cali;
    EXPECT_FALSE(cali.isLoaded(-1));
}

TEST(ConfigCaliInitially, HoldsOneOpticOfFieldOfView30WithoutText) {
    ConfigCali const cali;
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"30"}));
}

TEST(ConfigCaliInitially, HoldsAnOpticWithSerialNumber0) {
    ConfigCali const cali;
    EXPECT_EQ(opticOf(cali).SerNo, 0);
}

TEST(ConfigCaliInitially, HoldsAnOpticWithSpareMinusOne) {
    ConfigCali const cali;
    EXPECT_EQ(opticOf(cali).spare, -1.0);
}

TEST(ConfigCaliInitially, HoldsAnOpticThatIsNotSamplePointCalibrated) {
    ConfigCali const cali;
    EXPECT_FALSE(opticOf(cali).SamplePointCali);
}

TEST(ConfigCaliInitially, HoldsAnOpticWithTheThreeDefaultRanges) {
    ConfigCali const cali;
    EXPECT_EQ(rangesOf(opticOf(cali)), defaultRanges);
}

TEST(ConfigCaliInitially, HasDefaultRangesWithFidAndSkim0) {
    ConfigCali const cali;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(rangeOf(cali, i).Fid, 0);
        EXPECT_EQ(rangeOf(cali, i).Skim, 0);
    }
}

TEST(ConfigCaliInitially, HasDefaultRangesExtendedToMinus100) {
    ConfigCali const cali;
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(limits(rangeOf(cali, i).extRange), (Limits{-100.0F, -100.0F}));
}

TEST(ConfigCaliInitially, HasDefaultRangesWithoutAFrameRateList) {
    ConfigCali const cali;
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_FALSE(rangeOf(cali, i).framerates.has_value());
}

TEST(ConfigCaliInitially, HasDefaultRangesWithDecimal1) {
    ConfigCali const cali;
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(rangeOf(cali, i).Decimal, 1);
}

TEST(ConfigCaliInitially, HasDefaultRangesWithDefaultTableParameters) {
    ConfigCali const cali;
    for (std::size_t i = 0; i < 3; ++i) {
        auto const& params = rangeOf(cali, i).tableParams;
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
}

TEST(ConfigCaliInitially, HasTheDefaultMainSection) {
    ConfigCali const cali;
    EXPECT_EQ(valuesOf(*cali.mainSection), mainDefaults);
}

TEST(ConfigCaliInstance, IsTheSameForEveryCaller) {
    EXPECT_EQ(ConfigCali::getInstance(), ConfigCali::getInstance());
}

TEST(ConfigCaliInstance, StartsWithTheInitialContent) {
    auto const* const cali = ConfigCali::getInstance();
    ASSERT_NE(cali, nullptr);
    EXPECT_FALSE(cali->loaded);
    EXPECT_EQ(opticsOf(*cali), (std::vector<std::string>{"30"}));
}

// Loading as such

TEST(LoadCali, ReturnsZeroOnSuccess) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    EXPECT_EQ(load(cali, directory), 0);
}

TEST(LoadCali, CountsAsLoadedForThisSerialNumber) {
    auto const cali = loaded(camera(serial).optic(23));
    EXPECT_TRUE(cali->isLoaded(serial));
}

TEST(LoadCali, DoesNotCountAsLoadedForAnotherSerialNumber) {
    auto const cali = loaded(camera(serial).optic(23));
    EXPECT_FALSE(cali->isLoaded(serial + 1));
}

TEST(LoadCali, KeepsTheSerialNumber) {
    auto const cali = loaded(camera(serial).optic(23));
    EXPECT_EQ(cali->serial, serial);
}

TEST(LoadCali, ReadsTheFileNamedAfterANegativeSerialNumber) {
    TemporaryDirectory const directory;
    writeFile(directory.path() + "/Cali--2147483648.xml", withOptic("<FOV>7</FOV>"));
    ConfigCali cali;
    EXPECT_EQ(load(cali, directory, std::numeric_limits<int>::min()), 0);
}

TEST(LoadCali, ReadsTheFileOfSerialNumberMinusOneThoughThatIsTheInitialOne) {
    TemporaryDirectory const directory;
    writeFile(directory.path() + "/Cali--1.xml", withOptic("<FOV>7</FOV>"));
    ConfigCali cali;
    load(cali, directory, -1);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"7"}));
}

TEST(LoadCali, ReadsOnlyTheRootNamedCaliData) {
    auto const cali = loaded("<Calidata>\n<Optics><OpticsDef></OpticsDef></Optics>\n</Calidata>\n");
    EXPECT_EQ(cali->getOpticsCount(), 0);
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

TEST(LoadCali, GivesAccessDeniedWithoutTheFile) {
    TemporaryDirectory const directory;
    ConfigCali cali;
    EXPECT_EQ(load(cali, directory), accessDenied);
}

TEST(LoadCali, GivesAccessDeniedWithoutAPath) {
    ConfigCali cali;
    EXPECT_EQ(cali.load(nullptr, serial), accessDenied);
}

TEST(LoadCali, NamesTheStatusOfAFailedLoad) {
    EXPECT_EQ(int{ConfigCali::loadFailed}, accessDenied);
}

TEST(LoadCali, GivesAccessDeniedForAFileThatIsNotWellFormed) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory), description("<!-- open"));
    ConfigCali cali;
    EXPECT_EQ(load(cali, directory), accessDenied);
}

TEST(LoadCali, IsNotLoadedAfterAFileThatIsNotWellFormed) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory), description("<!-- open"));
    ConfigCali cali;
    load(cali, directory);
    EXPECT_FALSE(cali.isLoaded(serial));
}

TEST(LoadCali, KeepsTheInitialContentWhenTheFirstLoadFails) {
    TemporaryDirectory const directory;
    ConfigCali cali;
    load(cali, directory);
    EXPECT_FALSE(cali.loaded);
    EXPECT_EQ(cali.serial, -1);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"30"}));
    EXPECT_EQ(rangesOf(opticOf(cali)), defaultRanges);
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

TEST(LoadCali, CountsADescriptionWithoutOpticsAsLoaded) {
    auto const cali = loaded(withOptics(""));
    EXPECT_TRUE(cali->isLoaded(serial));
}

TEST(LoadCali, HasNoOpticsWhenTheDescriptionHasNone) {
    auto const cali = loaded(withOptics(""));
    EXPECT_EQ(cali->getOpticsCount(), 0);
}

TEST(LoadCali, HasNoOpticsWhenTheDescriptionHasNoTemperatureElement) {
    auto const cali = loaded(withMain("<TecA>1</TecA>"));
    EXPECT_EQ(cali->getOpticsCount(), 0);
}

TEST(LoadCali, HasNoOpticsWhenTheFileIsEmpty) {
    auto const cali = loaded("");
    EXPECT_EQ(cali->getOpticsCount(), 0);
}

TEST(LoadCali, FindsOpticsWhereTemperatureAndOpticsAreLeftOut) {
    auto const cali = loaded(description("<OpticsDef><FOV>23</FOV></OpticsDef>"));
    EXPECT_EQ(opticsOf(*cali), (std::vector<std::string>{"23"}));
}

// Loading again

TEST(LoadCaliAgain, ReturnsZeroForTheLoadedSerialNumber) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory);
    EXPECT_EQ(load(cali, directory), 0);
}

TEST(LoadCaliAgain, DoesNotReadTheFileOfTheLoadedSerialNumberOnceMore) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory);
    camera(serial).optic(54).writeInto(directory.path());
    load(cali, directory);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"23"}));
}

TEST(LoadCaliAgain, DoesNotNeedTheFileOfTheLoadedSerialNumberAnyMore) {
    TemporaryDirectory const directory;
    TemporaryDirectory const empty;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory);
    EXPECT_EQ(load(cali, empty), 0);
}

TEST(LoadCaliAgain, ReplacesTheOpticsByThoseOfAnotherCamera) {
    TemporaryDirectory const directory;
    camera(1).optic(23).optic(54).writeInto(directory.path());
    camera(2).optic(80).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory, 1);
    load(cali, directory, 2);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"80"}));
}

TEST(LoadCaliAgain, CountsAsLoadedForTheOtherCameraOnly) {
    TemporaryDirectory const directory;
    camera(1).optic(23).writeInto(directory.path());
    camera(2).optic(80).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory, 1);
    load(cali, directory, 2);
    EXPECT_FALSE(cali.isLoaded(1));
    EXPECT_TRUE(cali.isLoaded(2));
}

TEST(LoadCaliAgain, GoesBackToDefaultsWhereTheOtherCameraHasNoMainElement) {
    TemporaryDirectory const directory;
    camera(1).mainSection().optic(23).writeInto(directory.path());
    camera(2).optic(80).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory, 1);
    load(cali, directory, 2);
    EXPECT_EQ(valuesOf(*cali.mainSection), mainDefaults);
}

namespace {

/// A description that was loaded and then given up for a camera whose file is missing.
struct FailedReload {
    FailedReload() {
        camera(1).mainSection().optic(23).text("X").range(5, 6).writeInto(directory.path());
        load(cali, directory, 1);
        status = load(cali, directory, 2);
    }

    TemporaryDirectory directory;
    ConfigCali cali;
    int status = 0;
};

} // namespace

TEST(LoadCaliAgain, GivesAccessDeniedWhenTheFileOfTheOtherCameraIsMissing) {
    EXPECT_EQ(FailedReload().status, accessDenied);
}

TEST(LoadCaliAgain, CountsAsLoadedForNeitherCameraWhenTheReloadFails) {
    FailedReload const failed;
    EXPECT_FALSE(failed.cali.isLoaded(1));
    EXPECT_FALSE(failed.cali.isLoaded(2));
}

TEST(LoadCaliAgain, IsNoLongerLoadedAtAllWhenTheReloadFails) {
    EXPECT_FALSE(FailedReload().cali.loaded);
}

TEST(LoadCaliAgain, GoesBackToSerialNumberMinusOneWhenTheReloadFails) {
    EXPECT_EQ(FailedReload().cali.serial, -1);
}

TEST(LoadCaliAgain, GoesBackToTheDefaultOpticWhenTheReloadFails) {
    FailedReload const failed;
    EXPECT_EQ(opticsOf(failed.cali), (std::vector<std::string>{"30"}));
    EXPECT_EQ(rangesOf(opticOf(failed.cali)), defaultRanges);
}

TEST(LoadCaliAgain, GoesBackToTheDefaultMainSectionWhenTheReloadFails) {
    FailedReload const failed;
    EXPECT_EQ(valuesOf(*failed.cali.mainSection), mainDefaults);
}

TEST(LoadCaliAgain, GoesBackToTheDefaultOpticWhenTheOtherFileIsNotWellFormed) {
    TemporaryDirectory const directory;
    camera(1).optic(23).writeInto(directory.path());
    writeFile(descriptionPath(directory, 2), description("<!-- open"));
    ConfigCali cali;
    load(cali, directory, 1);
    load(cali, directory, 2);
    EXPECT_EQ(opticsOf(cali), (std::vector<std::string>{"30"}));
}

TEST(LoadCaliAgain, ReadsTheFirstCamerasFileAnewAfterAFailedReload) {
    FailedReload failed;
    camera(1).optic(99).writeInto(failed.directory.path());
    EXPECT_EQ(load(failed.cali, failed.directory, 1), 0);
    EXPECT_EQ(opticsOf(failed.cali), (std::vector<std::string>{"99"}));
}

// The main section

TEST(MainSectionOfADescription, StaysAtItsDefaultsWithoutElements) {
    EXPECT_EQ(valuesOf(*loaded(withMain(""))->mainSection), mainDefaults);
}

TEST(MainSectionOfADescription, StaysAtItsDefaultsWhenItIsMissing) {
    EXPECT_EQ(valuesOf(*loaded(camera(serial).optic(23))->mainSection), mainDefaults);
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

TEST(MainSectionOfADescription, TakesAllElementsInWhateverOrder) {
    std::string elements;
    std::vector<double> expected;
    for (std::size_t i = 0; i < mainElements.size(); ++i) {
        elements.insert(0, element(mainElements[i], std::to_string(101 + i)));
        expected.push_back(static_cast<double>(101 + i));
    }
    expected[spareElement] = 10.0;
    EXPECT_EQ(valuesOf(*loaded(withMain(elements))->mainSection), expected);
}

TEST(MainSectionOfADescription, KeepsTheDefaultOfEachElementThatHoldsNoNumber) {
    std::string elements;
    for (auto const& name : mainElements)
        elements += element(name, "none");
    EXPECT_EQ(valuesOf(*loaded(withMain(elements))->mainSection), mainDefaults);
}

TEST(MainSectionOfADescription, KeepsTheDefaultOfEachElementThatIsEmpty) {
    std::string elements;
    for (auto const& name : mainElements)
        elements += element(name, "");
    EXPECT_EQ(valuesOf(*loaded(withMain(elements))->mainSection), mainDefaults);
}

TEST(MainSectionOfADescription, TruncatesUnsignedFieldsTo16Bits) {
    auto const cali = loaded(withMain("<TecA>65541</TecA><TecB>-1</TecB><TecC>131072</TecC>"
                                      "<TecD>2147483647</TecD><FlagCycles>-65535</FlagCycles>"
                                      "<FlagCycles_Ignore>65536</FlagCycles_Ignore>"));
    auto const& main = *cali->mainSection;
    EXPECT_EQ((std::vector<int>{main.TecA, main.TecB, main.TecC, main.TecD, main.FlagCycles,
                                main.FlagCycles_Ignore}),
              (std::vector<int>{5, 65535, 0, 65535, 1, 0}));
}

TEST(MainSectionOfADescription, TruncatesTheAddedOffsetTo16BitsWithASign) {
    EXPECT_EQ(loaded(withMain("<AddedOffset>40000</AddedOffset>"))->mainSection->AddedOffset,
              -25536);
}

TEST(MainSectionOfADescription, TakesANegativeAddedOffset) {
    EXPECT_EQ(loaded(withMain("<AddedOffset>-12</AddedOffset>"))->mainSection->AddedOffset, -12);
}

TEST(MainSectionOfADescription, ReadsIntegersToTheBaseThatTheirTextNames) {
    auto const cali = loaded(withMain("<TecA>0x1A</TecA><TecB>010</TecB>"));
    EXPECT_EQ(cali->mainSection->TecA, 26);
    EXPECT_EQ(cali->mainSection->TecB, 8);
}

TEST(MainSectionOfADescription, ReadsAnIntegerUpToItsFraction) {
    EXPECT_EQ(loaded(withMain("<TecA>3.9</TecA>"))->mainSection->TecA, 3);
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
    EXPECT_EQ(opticsOf(*cali), (std::vector<std::string>{"54 Macro", "23", "-80 W"}));
}

TEST(OpticsOfADescription, MayBeAsManyAsTheFileHas) {
    auto const cali = loaded(withOptics(repeated("<OpticsDef>\n</OpticsDef>\n", 1000)));
    EXPECT_EQ(cali->getOpticsCount(), 1000);
}

TEST(OpticsOfADescription, HaveTheirSerialNumber) {
    EXPECT_EQ(opticOf(*loaded(withOptic("<SerNo>-2147483648</SerNo>"))).SerNo,
              std::numeric_limits<int>::min());
}

TEST(OpticsOfADescription, HaveADefaultForEveryElementThatIsMissing) {
    auto const cali = loaded(withOptic(""));
    auto const& optic = opticOf(*cali);
    EXPECT_EQ(optic.FOV, 0);
    EXPECT_EQ(optic.SerNo, 0);
    EXPECT_EQ(optic.Text, nullptr);
    EXPECT_FALSE(optic.SamplePointCali);
}

TEST(OpticsOfADescription, DoNotTakeTheirSpareFromTheFile) {
    EXPECT_EQ(opticOf(*loaded(withOptic("<spare>3</spare>"))).spare, -1.0);
}

TEST(OpticsOfADescription, KeepFieldOfViewAndSerialNumber0WhenTheElementsHoldNoNumber) {
    auto const cali = loaded(withOptic("<FOV>wide</FOV><SerNo></SerNo>"));
    EXPECT_EQ(opticOf(*cali).FOV, 0);
    EXPECT_EQ(opticOf(*cali).SerNo, 0);
}

TEST(OpticsOfADescription, HaveAnEmptyTextWhenTheElementIsEmpty) {
    auto const cali = loaded(withOptic("<Text></Text>"));
    ASSERT_NE(opticOf(*cali).Text, nullptr);
    EXPECT_STREQ(opticOf(*cali).Text.get(), "");
}

TEST(OpticsOfADescription, HaveTheirTextByteForByte) {
    EXPECT_EQ(textOf(opticOf(*loaded(withOptic("<Text> Gr\xF6\xDF"
                                               "e &amp; \t1% </Text>")))),
              " Gr\xF6\xDF"
              "e &amp; \t1% ");
}

TEST(OpticsOfADescription, HaveTheirTextWithoutTheLineBreaksOfTheFile) {
    EXPECT_EQ(textOf(opticOf(*loaded(withOptic("<Text>a\nb\r\nc</Text>")))), "ab\nc");
}

TEST(OpticsOfADescription, KeepTheThreeDefaultRangesWithoutTempRanges) {
    EXPECT_EQ(rangesOf(opticOf(*loaded(camera(serial).optic(23)))), defaultRanges);
}

TEST(OpticsOfADescription, KeepTheirDefaultRangesApartFromTheRangesOfTheNextOptic) {
    auto const cali = loaded(camera(serial).optic(23).optic(54).range(1, 2));
    EXPECT_EQ(rangesOf(opticOf(*cali, 0)), defaultRanges);
    EXPECT_EQ(rangesOf(opticOf(*cali, 1)), (std::vector<Limits>{{1.0F, 2.0F}}));
}

TEST(OpticsOfADescription, HaveNoRangesWhenTempRangesIsEmpty) {
    EXPECT_EQ(rangesOf(opticOf(*loaded(camera(serial).optic(23).withoutRanges()))),
              std::vector<Limits>{});
}

TEST(OpticsOfADescription, HaveTheirOwnRangesInTheOrderOfTheFile) {
    auto const cali =
        loaded(camera(serial).optic(23).range(150, 900).range(-20, 100).optic(54).range(1.5, 2.5));
    EXPECT_EQ(rangesOf(opticOf(*cali, 0)),
              (std::vector<Limits>{{150.0F, 900.0F}, {-20.0F, 100.0F}}));
    EXPECT_EQ(rangesOf(opticOf(*cali, 1)), (std::vector<Limits>{{1.5F, 2.5F}}));
}

TEST(OpticsOfADescription, MayHaveAsManyRangesAsTheFileHas) {
    auto const cali =
        loaded(withRanges(repeated("<TemperatureRange>\n</TemperatureRange>\n", 1000)));
    EXPECT_EQ(opticOf(*cali).tempRanges.size(), 1000U);
}

namespace {

bool samplePointCalibrated(std::string const& answer) {
    return opticOf(*loaded(camera(serial).optic(23).samplePointCalibrated(answer))).SamplePointCali;
}

} // namespace

TEST(SamplePointCali, IsAYesForTrueInAnyLetterCase) {
    for (auto const* answer : {"true", "TRUE", "True", "tRuE"})
        EXPECT_TRUE(samplePointCalibrated(answer)) << answer;
}

TEST(SamplePointCali, IsANoForAnyOtherText) {
    for (auto const* answer : {"yes", "1", "", "false", "tru", "truee", " true", "true "})
        EXPECT_FALSE(samplePointCalibrated(answer)) << '"' << answer << '"';
}

TEST(SamplePointCali, BelongsToItsOwnOptic) {
    auto const cali = loaded(camera(serial).optic(23).samplePointCalibrated("True").optic(54));
    EXPECT_TRUE(opticOf(*cali, 0).SamplePointCali);
    EXPECT_FALSE(opticOf(*cali, 1).SamplePointCali);
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

TEST(RangeOfADescription, HasAZeroForEachRequiredElementThatIsMissing) {
    auto const cali = loaded(withRange(""));
    auto const& range = rangeOf(*cali);
    EXPECT_EQ(range.Fid, 0);
    EXPECT_EQ(range.Skim, 0);
    EXPECT_EQ(limits(range.range), (Limits{0.0F, 0.0F}));
}

TEST(RangeOfADescription, HasDecimal1WhenTheElementIsMissing) {
    EXPECT_EQ(rangeOf(*loaded(withRange(""))).Decimal, 1);
}

TEST(RangeOfADescription, HasDecimal1WhenTheElementHoldsNoNumber) {
    EXPECT_EQ(rangeOf(*loaded(withRange("<Decimal>one</Decimal>"))).Decimal, 1);
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

namespace {

/// The extended range of a range from 0 to 100.
Limits extended(std::string const& elements) {
    return limits(
        rangeOf(*loaded(withRange("<TempLo>0</TempLo><TempHi>100</TempHi>" + elements))).extRange);
}

} // namespace

TEST(ExtendedRangeOfADescription, IsTheRangeItselfWithoutElementsOfItsOwn) {
    EXPECT_EQ(extended(""), (Limits{0.0F, 100.0F}));
}

TEST(ExtendedRangeOfADescription, ReachesDownToALowerLimit) {
    EXPECT_EQ(extended("<TempLoExt>-10</TempLoExt>"), (Limits{-10.0F, 100.0F}));
}

TEST(ExtendedRangeOfADescription, ReachesUpToAHigherLimit) {
    EXPECT_EQ(extended("<TempHiExt>110</TempHiExt>"), (Limits{0.0F, 110.0F}));
}

TEST(ExtendedRangeOfADescription, ReachesBothWays) {
    EXPECT_EQ(extended("<TempLoExt>-1.5</TempLoExt><TempHiExt>100.5</TempHiExt>"),
              (Limits{-1.5F, 100.5F}));
}

TEST(ExtendedRangeOfADescription, DoesNotCutTheRangeAtItsLowEnd) {
    EXPECT_EQ(extended("<TempLoExt>10</TempLoExt>"), (Limits{0.0F, 100.0F}));
}

TEST(ExtendedRangeOfADescription, DoesNotCutTheRangeAtItsHighEnd) {
    EXPECT_EQ(extended("<TempHiExt>90</TempHiExt>"), (Limits{0.0F, 100.0F}));
}

TEST(ExtendedRangeOfADescription, CountsALimitThatHoldsNoNumberAsMinus100) {
    EXPECT_EQ(extended("<TempLoExt>low</TempLoExt><TempHiExt>high</TempHiExt>"),
              (Limits{-100.0F, 100.0F}));
}

namespace {

using FrameRates = std::optional<std::vector<std::uint16_t>>;

FrameRates frameRates(std::string const& rangeElements) {
    return rangeOf(*loaded(withRange(rangeElements))).framerates;
}

std::string frameRateList(std::string const& content) {
    return "<Framerates>" + content + "</Framerates>";
}

} // namespace

TEST(FrameRatesOfADescription, AreNoListWithoutTheElement) {
    EXPECT_EQ(frameRates(""), std::nullopt);
}

TEST(FrameRatesOfADescription, AreAnEmptyListWhenTheElementIsEmpty) {
    EXPECT_EQ(frameRates(frameRateList("")), FrameRates(std::vector<std::uint16_t>{}));
}

TEST(FrameRatesOfADescription, AreReadInTheOrderOfTheFile) {
    EXPECT_EQ(frameRates(frameRateList("<Framerate><FR>80</FR></Framerate>"
                                       "<Framerate><FR>27</FR></Framerate>")),
              (FrameRates{{80, 27}}));
}

TEST(FrameRatesOfADescription, AreZeroWhereTheValueIsMissingOrNoNumber) {
    EXPECT_EQ(frameRates(frameRateList("<Framerate></Framerate>"
                                       "<Framerate><FR>27</FR></Framerate>"
                                       "<Framerate><FR>fast</FR></Framerate>")),
              (FrameRates{{0, 27, 0}}));
}

TEST(FrameRatesOfADescription, AreTruncatedTo16Bits) {
    EXPECT_EQ(frameRates(frameRateList("<Framerate><FR>65563</FR></Framerate>"
                                       "<Framerate><FR>-1</FR></Framerate>")),
              (FrameRates{{27, 65535}}));
}

TEST(FrameRatesOfADescription, MayBeAsManyAsTheFileHas) {
    auto const rates =
        frameRates(frameRateList(repeated("<Framerate><FR>9</FR>\n</Framerate>\n", 1000)));
    EXPECT_EQ(rates, (FrameRates{std::vector<std::uint16_t>(1000, 9)}));
}

TEST(FrameRatesOfADescription, LeaveTheElementsBehindThemToTheRange) {
    auto const cali =
        loaded(withRange(frameRateList("<Framerate><FR>27</FR></Framerate>") +
                         "<Decimal>3</Decimal><TableParams><E1>4</E1></TableParams>"));
    EXPECT_EQ(rangeOf(*cali).Decimal, 3);
    EXPECT_EQ(rangeOf(*cali).tableParams.E1, 4);
}

TEST(TableParamsOfADescription, TakeEachOfTheirElements) {
    auto const cali = loaded(withTableParams(
        "<Normalize>1</Normalize><T1>-20</T1><T3>100</T3><E1>6120</E1><E3>14800</E3>"
        "<Lambda>10.5</Lambda>"));
    auto const& params = rangeOf(*cali).tableParams;
    EXPECT_TRUE(params.Normalize);
    EXPECT_EQ(params.T1, -20.0);
    EXPECT_EQ(params.T3, 100.0);
    EXPECT_EQ(params.E1, 6120);
    EXPECT_EQ(params.E3, 14800);
    EXPECT_EQ(params.Lambda, 10.5);
}

TEST(TableParamsOfADescription, HaveADefaultForEveryElementThatIsMissing) {
    auto const cali = loaded(withTableParams(""));
    auto const& params = rangeOf(*cali).tableParams;
    EXPECT_FALSE(params.Normalize);
    EXPECT_EQ(params.T1, 0.0);
    EXPECT_EQ(params.T3, 0.0);
    EXPECT_EQ(params.E1, 0);
    EXPECT_EQ(params.E3, 0);
    EXPECT_EQ(params.Lambda, 0.0);
}

TEST(TableParamsOfADescription, DoNotTakeTheirSparesFromTheFile) {
    auto const cali = loaded(
        withTableParams("<spare1>1</spare1><spare2>2</spare2><spare3>3</spare3><spare>4</spare>"));
    auto const& params = rangeOf(*cali).tableParams;
    EXPECT_EQ(params.spare1, 0.0);
    EXPECT_EQ(params.spare2, -100.0);
    EXPECT_EQ(params.spare3, 0);
}

TEST(TableParamsOfADescription, ReadTheirTemperaturesAsIntegers) {
    auto const cali = loaded(withTableParams("<T1>12.75</T1><T3>0x10</T3>"));
    EXPECT_EQ(rangeOf(*cali).tableParams.T1, 12.0);
    EXPECT_EQ(rangeOf(*cali).tableParams.T3, 16.0);
}

TEST(TableParamsOfADescription, KeepTemperaturesThatNeedMoreThanSinglePrecision) {
    auto const cali = loaded(withTableParams("<T1>16777217</T1><T3>-2147483647</T3>"));
    EXPECT_EQ(rangeOf(*cali).tableParams.T1, 16777217.0);
    EXPECT_EQ(rangeOf(*cali).tableParams.T3, -2147483647.0);
}

TEST(TableParamsOfADescription, TruncateTheirEmissionsTo16Bits) {
    auto const cali = loaded(withTableParams("<E1>65537</E1><E3>-2</E3>"));
    EXPECT_EQ(rangeOf(*cali).tableParams.E1, 1);
    EXPECT_EQ(rangeOf(*cali).tableParams.E3, 65534);
}

TEST(TableParamsOfADescription, WidenTheWavelengthFromSinglePrecision) {
    EXPECT_EQ(rangeOf(*loaded(withTableParams("<Lambda>10.6</Lambda>"))).tableParams.Lambda,
              static_cast<double>(10.6F));
}

TEST(TableParamsOfADescription, NormalizeForAnyNumberButZero) {
    for (auto const* number : {"1", "2", "-1", "65536"}) {
        auto const cali = loaded(withTableParams(element("Normalize", number)));
        EXPECT_TRUE(rangeOf(*cali).tableParams.Normalize) << number;
    }
}

TEST(TableParamsOfADescription, DoNotNormalizeForZeroOrNoNumber) {
    for (auto const* text : {"0", "", "true"}) {
        auto const cali = loaded(withTableParams(element("Normalize", text)));
        EXPECT_FALSE(rangeOf(*cali).tableParams.Normalize) << text;
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

TEST(LoadCaliLog, TellsDirectoryFileNameAndTecValues) {
    TemporaryDirectory const directory;
    camera(serial).mainSection().optic(23).writeInto(directory.path());
    ConfigCali cali;
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              messagesOfLoading(directory, serial, "A: 3410 B:410 C:405 D:118"));
}

TEST(LoadCaliLog, TellsTheDefaultTecValuesWhenTheyAreMissing) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              messagesOfLoading(directory, serial, "A: 3400 B:400 C:400 D:120"));
}

TEST(LoadCaliLog, TellsTecValuesAsTheyAreStored) {
    TemporaryDirectory const directory;
    writeFile(descriptionPath(directory),
              withMain("<TecA>65541</TecA><TecB>-1</TecB><TecC>0x10</TecC><TecD>0</TecD>"));
    ConfigCali cali;
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              messagesOfLoading(directory, serial, "A: 5 B:65535 C:16 D:0"));
}

TEST(LoadCaliLog, TellsThatTheDescriptionIsLoadedAlready) {
    TemporaryDirectory const directory;
    camera(serial).optic(23).writeInto(directory.path());
    ConfigCali cali;
    load(cali, directory);
    EXPECT_EQ(debugLogOf([&] { load(cali, directory); }),
              (std::vector<std::string>{debugLine("Calibration XML file already loaded.")}));
}

TEST(LoadCaliLog, TellsTheNewSerialNumberBeforeItReloads) {
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

TEST(OpticsCount, IsOneInitially) {
    EXPECT_EQ(ConfigCali().getOpticsCount(), 1);
}

TEST(OpticsCount, IsThatOfTheDescription) {
    EXPECT_EQ(loaded(camera(serial).optic(23).optic(54).optic(80))->getOpticsCount(), 3);
}

namespace {

std::unique_ptr<ConfigCali> plainOpticBeforeOneWithText() {
    return loaded(camera(serial).optic(30).optic(30).text("T"));
}

} // namespace

TEST(OpticsIndex, IsThatOfThePlainOpticForAHandleWithoutText) {
    EXPECT_EQ(opticsIndex(*plainOpticBeforeOneWithText(), optic(30)), 0);
}

TEST(OpticsIndex, IsThatOfTheOpticWithTheTextOfTheHandle) {
    EXPECT_EQ(opticsIndex(*plainOpticBeforeOneWithText(), optic(30, "T")), 1);
}

TEST(OpticsIndex, IsMinusOneForAHandleWithAnUnknownText) {
    EXPECT_EQ(opticsIndex(*plainOpticBeforeOneWithText(), optic(30, "X")), -1);
}

TEST(OpticsIndex, IsMinusOneForAHandleWithAnUnknownFieldOfView) {
    EXPECT_EQ(opticsIndex(*plainOpticBeforeOneWithText(), optic(31)), -1);
}

TEST(OpticsIndex, IsMinusOneForAHandleWithTheTextOfAnotherFieldOfView) {
    EXPECT_EQ(opticsIndex(*loaded(camera(serial).optic(23).text("T").optic(30)), optic(30, "T")),
              -1);
}

TEST(OpticsIndex, IsMinusOneWithoutAHandle) {
    EXPECT_EQ(ConfigCali().getOpticsIndex(nullptr), -1);
}

TEST(OpticsIndex, TakesAnEmptyTextOfTheHandleForNone) {
    EXPECT_EQ(opticsIndex(*loaded(camera(serial).optic(30).text("T").optic(30)), optic(30, "")), 1);
}

TEST(OpticsIndex, TakesAnEmptyTextOfTheOpticForNone) {
    EXPECT_EQ(opticsIndex(*loaded(camera(serial).optic(30).text("")), optic(30)), 0);
}

TEST(OpticsIndex, IsMinusOneForAHandleWithoutTextWhenTheOpticHasOne) {
    EXPECT_EQ(opticsIndex(*loaded(camera(serial).optic(30).text("T")), optic(30)), -1);
}

TEST(OpticsIndex, ComparesTheWholeTextWithItsLetterCase) {
    auto const cali = loaded(camera(serial).optic(30).text("Macro"));
    EXPECT_EQ(opticsIndex(*cali, optic(30, "Mac")), -1);
    EXPECT_EQ(opticsIndex(*cali, optic(30, "Macros")), -1);
    EXPECT_EQ(opticsIndex(*cali, optic(30, "macro")), -1);
}

TEST(OpticsIndex, IsThatOfTheFirstOfEqualOptics) {
    auto const cali = loaded(camera(serial).optic(23).optic(30).text("T").optic(30).text("T"));
    EXPECT_EQ(opticsIndex(*cali, optic(30, "T")), 1);
}

TEST(LenientOpticsIndex, IsThatOfAnEarlierOpticWithoutTextWhateverTextIsAsked) {
    auto const cali = plainOpticBeforeOneWithText();
    EXPECT_EQ(cali->getOpticsIndex(30, "T"), 0);
    EXPECT_EQ(cali->getOpticsIndex(30, "X"), 0);
}

TEST(LenientOpticsIndex, IsThatOfTheFirstOpticOfTheFieldOfViewWithoutAText) {
    auto const cali = loaded(camera(serial).optic(23).optic(30).text("T").optic(30));
    EXPECT_EQ(cali->getOpticsIndex(30, nullptr), 1);
}

TEST(LenientOpticsIndex, TakesAnEmptyAskedTextForNone) {
    auto const cali = loaded(camera(serial).optic(23).optic(30).text("T").optic(30));
    EXPECT_EQ(cali->getOpticsIndex(30, ""), 1);
}

TEST(LenientOpticsIndex, TakesAnEmptyTextOfTheOpticForNone) {
    auto const cali = loaded(camera(serial).optic(30).text("").optic(30).text("T"));
    EXPECT_EQ(cali->getOpticsIndex(30, "T"), 0);
}

TEST(LenientOpticsIndex, PassesOverOpticsWithAnotherText) {
    auto const cali = loaded(camera(serial).optic(30).text("S").optic(30).text("T"));
    EXPECT_EQ(cali->getOpticsIndex(30, "T"), 1);
}

TEST(LenientOpticsIndex, IsMinusOneWhenAllOpticsHaveAnotherText) {
    auto const cali = loaded(camera(serial).optic(30).text("S").optic(30).text("T"));
    EXPECT_EQ(cali->getOpticsIndex(30, "X"), -1);
}

TEST(LenientOpticsIndex, IsMinusOneForAnUnknownFieldOfView) {
    EXPECT_EQ(ConfigCali().getOpticsIndex(31, nullptr), -1);
}

TEST(GetOptics, GivesFieldOfViewAndTheDescriptionsOwnText) {
    auto const cali = loaded(camera(serial).optic(23).optic(54).text("Macro"));
    std::unique_ptr<OPTICS> const handle(cali->getOptics(1));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->fov, 54);
    EXPECT_EQ(handle->text, opticOf(*cali, 1).Text.get());
    EXPECT_STREQ(handle->text, "Macro");
}

TEST(GetOptics, GivesANullTextForAnOpticWithout) {
    std::unique_ptr<OPTICS> const handle(ConfigCali().getOptics(0));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->text, nullptr);
}

TEST(GetOptics, GivesANewHandleEachTime) {
    ConfigCali const cali;
    std::unique_ptr<OPTICS> const first(cali.getOptics(0));
    std::unique_ptr<OPTICS> const second(cali.getOptics(0));
    EXPECT_NE(first, second);
}

TEST(GetOptics, GivesNullForAnIndexOutsideTheTable) {
    ConfigCali const cali;
    EXPECT_EQ(cali.getOptics(-1), nullptr);
    EXPECT_EQ(cali.getOptics(1), nullptr);
    EXPECT_EQ(cali.getOptics(2), nullptr);
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
}

TEST(TempRangeCount, IsMinusOneForAnUnknownOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(rangeCount(*cali, 31), -1);
    EXPECT_EQ(rangeCount(*cali, 30, "X"), -1);
}

TEST(TempRangeCount, IsZeroForAnOpticWithoutRanges) {
    EXPECT_EQ(rangeCount(*loaded(camera(serial).optic(30).withoutRanges()), 30), 0);
}

TEST(TempRangeCount, IsMinusOneWithoutAHandle) {
    EXPECT_EQ(ConfigCali().getTempRangeCount(nullptr), -1);
}

TEST(TempRangeIndex, FindsTheFirstDefaultRange) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, -20.0F, 100.0F), 0);
}

TEST(TempRangeIndex, FindsTheLastDefaultRange) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, 150.0F, 900.0F), 2);
}

TEST(TempRangeIndex, IsMinusOneWhenTheHighLimitIsNotExactlyTheSame) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, -20.0F, 100.5F), -1);
}

TEST(TempRangeIndex, IsMinusOneWhenTheLowLimitIsNotExactlyTheSame) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, -20.000002F, 100.0F), -1);
}

TEST(TempRangeIndex, IsMinusOneForTheLimitsOfDifferentRanges) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, -20.0F, 250.0F), -1);
}

TEST(TempRangeIndex, FindsTheRangesOfTheExactOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(rangeIndex(*cali, 30, "T", 150.0F, 900.0F), 1);
    EXPECT_EQ(rangeIndex(*cali, 30, nullptr, 150.0F, 900.0F), -1);
}

TEST(TempRangeIndex, IsMinusOneForAnUnknownOptic) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 31, nullptr, -20.0F, 100.0F), -1);
}

TEST(TempRangeIndex, DoesNotMatchExtendedLimits) {
    EXPECT_EQ(rangeIndex(*twinOptics(), 30, nullptr, -25.0F, 110.0F), -1);
}

TEST(TempRangeIndex, IsThatOfTheFirstOfEqualRanges) {
    auto const cali = loaded(camera(serial).optic(30).range(1, 2).range(3, 4).range(3, 4));
    EXPECT_EQ(rangeIndex(*cali, 30, nullptr, 3.0F, 4.0F), 1);
}

TEST(TempRangeIndex, TakesMinusZeroForZero) {
    EXPECT_EQ(rangeIndex(ConfigCali(), 30, nullptr, -0.0F, 250.0F), 1);
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
}

TEST(TempRange, IsANewRecordEachTime) {
    ConfigCali const cali;
    std::unique_ptr<Range> const first(cali.getTempRange(30, nullptr, 0));
    std::unique_ptr<Range> const second(cali.getTempRange(30, nullptr, 0));
    EXPECT_NE(first, second);
}

TEST(TempRange, IsNullForAnUnknownOptic) {
    EXPECT_EQ(rangeAt(*twinOptics(), 30, "X", 0), std::nullopt);
}

TEST(TempRange, IsNullForAnIndexOutsideTheRanges) {
    ConfigCali const cali;
    EXPECT_EQ(rangeAt(cali, 30, nullptr, -1), std::nullopt);
    EXPECT_EQ(rangeAt(cali, 30, nullptr, 3), std::nullopt);
}

TEST(TempRange, IsNullWithoutAHandle) {
    EXPECT_EQ(ConfigCali().getTempRange(nullptr, 0), nullptr);
}

TEST(ExtendedTempRange, IsACopyOfTheExtendedRangeAtTheIndex) {
    EXPECT_EQ(extendedAt(*twinOptics(), 30, "T", 1), (Limits{140.0F, 950.0F}));
}

TEST(ExtendedTempRange, IsTheRangeItselfWhenTheDescriptionExtendsNothing) {
    EXPECT_EQ(extendedAt(*twinOptics(), 30, "T", 0), (Limits{0.0F, 250.0F}));
}

TEST(ExtendedTempRange, IsMinus100ForADefaultRange) {
    EXPECT_EQ(extendedAt(ConfigCali(), 30, nullptr, 0), (Limits{-100.0F, -100.0F}));
}

TEST(ExtendedTempRange, IsNullForAnUnknownOptic) {
    EXPECT_EQ(extendedAt(*twinOptics(), 30, "X", 0), std::nullopt);
}

TEST(ExtendedTempRange, IsNullForAnIndexOutsideTheRanges) {
    ConfigCali const cali;
    EXPECT_EQ(extendedAt(cali, 30, nullptr, -1), std::nullopt);
    EXPECT_EQ(extendedAt(cali, 30, nullptr, 3), std::nullopt);
}

TEST(ExtendedTempRange, IsNullWithoutAHandle) {
    EXPECT_EQ(ConfigCali().getExtendedTempRange(nullptr, 0), nullptr);
}

TEST(ExtendedTempRange, IsFoundByTheLimitsOfTheRange) {
    EXPECT_EQ(taken(twinOptics()->getExtendedTempRange(30, "T", 150.0F, 900.0F)),
              (Limits{140.0F, 950.0F}));
}

TEST(ExtendedTempRange, IsNullForLimitsThatNoRangeHas) {
    EXPECT_EQ(twinOptics()->getExtendedTempRange(30, "T", 140.0F, 950.0F), nullptr);
}

TEST(ExtendedTempRange, IsNullForLimitsOfAnUnknownOptic) {
    EXPECT_EQ(twinOptics()->getExtendedTempRange(30, "X", 150.0F, 900.0F), nullptr);
}

TEST(TempRangeOverAll, IsMinus20To900Initially) {
    EXPECT_EQ(taken(ConfigCali().getTempRangeOverAll()), (Limits{-20.0F, 900.0F}));
}

TEST(TempRangeOverAll, SpansTheRangesOfAllOptics) {
    auto const cali = loaded(
        camera(serial).optic(1).range(0, 250).optic(2).range(-40, 10).range(5, 1500).optic(3));
    EXPECT_EQ(taken(cali->getTempRangeOverAll()), (Limits{-40.0F, 1500.0F}));
}

TEST(TempRangeOverAll, SpansTheRangesOfTheExactOptic) {
    auto const cali = twinOptics();
    EXPECT_EQ(spanOf(*cali, 30), (Limits{-20.0F, 100.0F}));
    EXPECT_EQ(spanOf(*cali, 30, "T"), (Limits{0.0F, 900.0F}));
}

TEST(TempRangeOverAll, LeavesExtendedRangesOut) {
    EXPECT_EQ(taken(twinOptics()->getTempRangeOverAll()), (Limits{-20.0F, 900.0F}));
}

TEST(TempRangeOverAll, TakesLowAndHighLimitsEachForItself) {
    auto const cali = loaded(camera(serial).optic(30).range(100, -20));
    EXPECT_EQ(spanOf(*cali, 30), (Limits{100.0F, -20.0F}));
}

TEST(TempRangeOverAll, NeverGoesBeyondAMillion) {
    auto const cali = loaded(camera(serial).optic(30).range(2000000, -2000000));
    EXPECT_EQ(spanOf(*cali, 30), noSpan);
}

TEST(TempRangeOverAll, IsAMillionToMinusAMillionWithoutOptics) {
    EXPECT_EQ(taken(loaded(camera(serial))->getTempRangeOverAll()), noSpan);
}

TEST(TempRangeOverAll, IsAMillionToMinusAMillionForAnOpticWithoutRanges) {
    EXPECT_EQ(spanOf(*loaded(camera(serial).optic(30).withoutRanges()), 30), noSpan);
}

TEST(TempRangeOverAll, IsNullForAnUnknownOptic) {
    EXPECT_EQ(spanOf(*twinOptics(), 30, "X"), std::nullopt);
}

TEST(TempRangeOverAll, IsNullWithoutAHandle) {
    EXPECT_EQ(ConfigCali().getTempRangeOverAll(nullptr), nullptr);
}

TEST(TempRangeDecimal, IsThatOfTheRangeWithTheseLimits) {
    auto const cali =
        loaded(camera(serial).optic(30).range(-20, 100).decimal(2).range(0, 250).decimal(3));
    EXPECT_EQ(cali->getTempRangeDecimal(30, nullptr, 0.0F, 250.0F), 3);
}

TEST(TempRangeDecimal, Is1WhenTheRangeSaysNothing) {
    EXPECT_EQ(twinOptics()->getTempRangeDecimal(30, "T", 0.0F, 250.0F), 1);
}

TEST(TempRangeDecimal, IsZeroForAnUnknownRange) {
    EXPECT_EQ(twinOptics()->getTempRangeDecimal(30, "T", 0.0F, 251.0F), 0);
}

TEST(TempRangeDecimal, IsZeroForAnUnknownOptic) {
    EXPECT_EQ(twinOptics()->getTempRangeDecimal(30, "X", 0.0F, 250.0F), 0);
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

int rateCount(ConfigCali const& cali, int fov, Range const& range) {
    auto const handle = optic(fov);
    return cali.getFramerateCount(&handle, &range);
}

int rateAt(ConfigCali const& cali, int fov, Range const& range, int index) {
    auto const handle = optic(fov);
    return cali.getFramerate(&handle, &range, index);
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

TEST(FramerateCount, IsZeroWithoutAList) {
    EXPECT_EQ(rateCount(*allKindsOfRanges(), 23, withoutList), 0);
}

TEST(FramerateCount, IsZeroForAnEmptyList) {
    EXPECT_EQ(rateCount(*allKindsOfRanges(), 23, emptyList), 0);
}

TEST(FramerateCount, IsTheLengthOfTheList) {
    EXPECT_EQ(rateCount(*allKindsOfRanges(), 23, twoRates), 2);
}

TEST(FramerateCount, CountsEqualRatesEach) {
    EXPECT_EQ(rateCount(*allKindsOfRanges(), 23, rateTwice), 3);
}

TEST(FramerateCount, IsMinusOneForAnUnknownOptic) {
    EXPECT_EQ(rateCount(*allKindsOfRanges(), 99, twoRates), -1);
}

TEST(FramerateCount, IsMinusOneForAnUnknownRange) {
    EXPECT_EQ(rateCount(*allKindsOfRanges(), 23, unknownRange), -1);
}

TEST(FramerateCount, IsMinusOneWithoutARecord) {
    ConfigCali const cali;
    auto const handle = optic(30);
    EXPECT_EQ(cali.getFramerateCount(&handle, nullptr), -1);
    EXPECT_EQ(cali.getFramerateCount(nullptr, &twoRates), -1);
}

TEST(FramerateIndex, IsMinusOneWithoutAList) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, withoutList, 50), -1);
}

TEST(FramerateIndex, IsMinusTwoForAnEmptyList) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, emptyList, 50), -2);
}

TEST(FramerateIndex, IsMinusTwoForARateThatIsNotListed) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, twoRates, 50), -2);
}

TEST(FramerateIndex, IsThatOfTheListedRate) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, twoRates, 27), 0);
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, twoRates, 80), 1);
}

TEST(FramerateIndex, IsThatOfTheFirstOfEqualRates) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, rateTwice, 50), 0);
}

TEST(FramerateIndex, IsMinusOneForAnUnknownOptic) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 99, twoRates, 27), -1);
}

TEST(FramerateIndex, IsMinusOneForAnUnknownRange) {
    EXPECT_EQ(rateIndex(*allKindsOfRanges(), 23, unknownRange, 27), -1);
}

TEST(FramerateIndex, IsMinusOneWithoutARecord) {
    ConfigCali const cali;
    auto const handle = optic(30);
    EXPECT_EQ(cali.getFramerateIndex(&handle, nullptr, 27), -1);
    EXPECT_EQ(cali.getFramerateIndex(nullptr, &twoRates, 27), -1);
}

TEST(Framerate, IsTheListedOneAtTheIndex) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, twoRates, 0), 27);
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, twoRates, 1), 80);
}

TEST(Framerate, IsZeroBehindTheEndOfTheList) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, twoRates, 2), 0);
}

TEST(Framerate, IsZeroForANegativeIndex) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, twoRates, -1), 0);
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, withoutList, -1), 0);
}

TEST(Framerate, IsZeroForAnEmptyList) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, emptyList, 0), 0);
}

TEST(Framerate, IsZeroWithoutAList) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, withoutList, 0), 0);
}

TEST(Framerate, IsZeroForAnUnknownOptic) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 99, twoRates, 0), 0);
}

TEST(Framerate, IsZeroForAnUnknownRange) {
    EXPECT_EQ(rateAt(*allKindsOfRanges(), 23, unknownRange, 0), 0);
}

TEST(Framerate, IsZeroWithoutARecord) {
    ConfigCali const cali;
    auto const handle = optic(30);
    EXPECT_EQ(cali.getFramerate(&handle, nullptr, 0), 0);
    EXPECT_EQ(cali.getFramerate(nullptr, &twoRates, 0), 0);
}

TEST(CheckFramerate, GoesOnWithoutOneWhenThereIsNoList) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, withoutList, 50), (Checked{true, 0}));
}

TEST(CheckFramerate, RefusesAnyRateWhenTheListIsEmpty) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, emptyList, 50), (Checked{false, 0}));
}

TEST(CheckFramerate, RefusesNoParticularRateWhenTheListIsEmpty) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, emptyList, 0), (Checked{false, 0}));
}

TEST(CheckFramerate, AcceptsTheFirstListedRate) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, twoRates, 27), (Checked{true, 27}));
}

TEST(CheckFramerate, AcceptsALaterListedRate) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, twoRates, 80), (Checked{true, 80}));
}

TEST(CheckFramerate, RefusesARateThatIsNotListed) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, twoRates, 50), (Checked{false, 0}));
}

TEST(CheckFramerate, DoesNotRoundToTheNearestListedRate) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, twoRates, 79), (Checked{false, 0}));
}

TEST(CheckFramerate, RefusesNoParticularRateWhenTheListDoesNotHoldZero) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, twoRates, 0), (Checked{false, 0}));
}

TEST(CheckFramerate, AcceptsNoParticularRateWhenTheListHoldsZero) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, rateTwice, 0), (Checked{true, 0}));
}

TEST(CheckFramerate, GoesOnWithoutOneForAnUnknownOptic) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 99, twoRates, 80), (Checked{true, 0}));
}

TEST(CheckFramerate, GoesOnWithoutOneForAnUnknownRange) {
    EXPECT_EQ(checked(*allKindsOfRanges(), 23, unknownRange, 80), (Checked{true, 0}));
}

TEST(CheckFramerate, GoesOnWithoutOneWhenARecordIsMissing) {
    ConfigCali const cali;
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

std::string stemOfRange(float lo, float hi) {
    return stem(1, 2, nullptr, lo, hi, 0);
}

} // namespace

TEST(CaliFilenameString, HasSerialNumberFieldOfViewAndLimits) {
    EXPECT_EQ(stem(12345, 30, nullptr, -20.0F, 100.0F, 0), "12345-30-M20-100");
}

TEST(CaliFilenameString, HasTheTextOfTheOptic) {
    EXPECT_EQ(stem(12345, 30, "X", -20.0F, 100.0F, 0), "12345-30-X-M20-100");
}

TEST(CaliFilenameString, HasTheFrameRate) {
    EXPECT_EQ(stem(12345, 30, nullptr, 150.0F, 900.0F, 32), "12345-30-150-900-32");
}

TEST(CaliFilenameString, HasAllPartsAtOnce) {
    EXPECT_EQ(stem(12345, 30, "X", -20.0F, 100.0F, 32), "12345-30-X-M20-100-32");
}

TEST(CaliFilenameString, TruncatesLimitsButMarksTheSignOfTheirValue) {
    EXPECT_EQ(stem(12345, 30, nullptr, -0.5F, 99.9F, 0), "12345-30-M0-99");
}

TEST(CaliFilenameString, TakesAnEmptyTextForNone) {
    EXPECT_EQ(stem(12345, 30, "", -20.0F, 100.0F, 0), "12345-30-M20-100");
}

TEST(CaliFilenameString, HasTheTextByteForByte) {
    EXPECT_EQ(stem(1, 2, "a/%s -\xF6", 0.0F, 1.0F, 0), "1-2-a/%s -\xF6-0-1");
}

TEST(CaliFilenameString, HasNoLetterForAZeroLimit) {
    EXPECT_EQ(stemOfRange(0.0F, 250.0F), "1-2-0-250");
}

TEST(CaliFilenameString, HasALetterForEachNegativeLimit) {
    EXPECT_EQ(stemOfRange(-40.0F, -10.0F), "1-2-M40-M10");
}

TEST(CaliFilenameString, HasNoLetterForMinusZero) {
    EXPECT_EQ(stemOfRange(-0.0F, -0.0F), "1-2-0-0");
}

TEST(CaliFilenameString, HasALetterForANegativeHighLimitThatTruncatesToZero) {
    EXPECT_EQ(stemOfRange(-1.99F, -0.01F), "1-2-M1-M0");
}

TEST(CaliFilenameString, KeepsMinusSignsOfSerialNumberAndFieldOfView) {
    EXPECT_EQ(stem(-1, -2, nullptr, 0.0F, 1.0F, 0), "-1--2-0-1");
}

TEST(CaliFilenameString, HasTheExtremesOfItsIntegers) {
    EXPECT_EQ(stem(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), nullptr, 0.0F,
                   1.0F, 65535),
              "-2147483648-2147483647-0-1-65535");
}

TEST(CaliFilenameString, HasLargeLimitsThatAreStillIntegers) {
    EXPECT_EQ(stemOfRange(-2147483520.0F, 2147483520.0F), "1-2-M2147483520-2147483520");
}

TEST(CaliFilenameString, HasTheLargestIntegerForLimitsBeyondIt) {
    EXPECT_EQ(stemOfRange(2147483648.0F, 1e20F), "1-2-2147483647-2147483647");
}

TEST(CaliFilenameString, HasTheLargestIntegerForNegativeLimitsBeyondIt) {
    EXPECT_EQ(stemOfRange(-2147483648.0F, -1e20F), "1-2-M2147483647-M2147483647");
}

TEST(CaliFilenameString, HasTheLargestIntegerForInfiniteLimits) {
    float const infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(stemOfRange(-infinity, infinity), "1-2-M2147483647-2147483647");
}

TEST(CaliFilenameString, HasZeroForALimitThatIsNoNumber) {
    EXPECT_EQ(stemOfRange(std::numeric_limits<float>::quiet_NaN(), 1.0F), "1-2-0-1");
}

TEST(CaliFilenameString, DoesNotNeedALoadedDescription) {
    EXPECT_EQ(stem(7, 99, "unknown", 1.0F, 2.0F, 3), "7-99-unknown-1-2-3");
}

namespace {

/// The first bytes of a buffer full of '#' after a stem was written with this size.
std::string cutAt(int size) {
    std::string buffer(20, '#');
    EXPECT_TRUE(
        ConfigCali::caliFilenameString(12345, 30, nullptr, -20.0F, 100.0F, 0, buffer.data(), size));
    return buffer;
}

} // namespace

TEST(CaliFilenameString, IsCutToLeaveRoomForItsTerminator) {
    EXPECT_EQ(cutAt(10), std::string("12345-30-\0##########", 20));
}

TEST(CaliFilenameString, FitsABufferOfItsLengthAndOne) {
    EXPECT_EQ(cutAt(17), std::string("12345-30-M20-100\0###", 20));
}

TEST(CaliFilenameString, IsCutByOneInABufferOfItsLength) {
    EXPECT_EQ(cutAt(16), std::string("12345-30-M20-10\0####", 20));
}

TEST(CaliFilenameString, LeavesOnlyTheTerminatorInABufferOfOne) {
    EXPECT_EQ(cutAt(1), std::string("\0###################", 20));
}

TEST(CaliFilenameString, LeavesABufferWithoutRoomAsItIs) {
    EXPECT_EQ(cutAt(0), std::string(20, '#'));
}

TEST(CaliFilenameString, CutsALongText) {
    std::string const text(300, 't');
    EXPECT_EQ(stem(1, 2, text.c_str(), 0.0F, 1.0F, 0), "1-2-" + std::string(255, 't'));
}

TEST(CaliFilenameString, IsFalseWithoutARange) {
    std::array<char, roomy> buffer{};
    EXPECT_FALSE(ConfigCali::caliFilenameString(1, 2, nullptr, nullptr, 0, buffer.data(), roomy));
}

TEST(CaliFilenameString, IsFalseWithoutABuffer) {
    EXPECT_FALSE(ConfigCali::caliFilenameString(1, 2, nullptr, 0.0F, 1.0F, 0, nullptr, roomy));
}

TEST(CaliFilenameString, IsFalseForANegativeSize) {
    std::array<char, roomy> buffer{};
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

TEST(SetOfACamera, IsWrittenButForTheFilesThatAreLeftOut) {
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
