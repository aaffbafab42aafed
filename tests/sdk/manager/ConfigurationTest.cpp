#include "sdk/IRCalibrationManager.h"

#include "imgproc/Cali.h"
#include "tests/support/Camera.h"
#include "tests/support/ConfigurationText.h"
#include "tests/support/Elements.h"
#include "tests/support/Log.h"
#include "tests/support/LogLines.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using support::block;
using support::camera;
using support::element;

using Lines = std::vector<std::string>;

std::string generate(unsigned long serial, char const* calibrationDir = nullptr) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(calibrationDir);
    return manager.generateConfiguration(serial);
}

constexpr int serial = 12345678;

std::string generateFromText(std::string const& description) {
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/" + camera(serial).descriptionName(), description);
    return generate(serial, directory.path().c_str());
}

std::string generateFrom(support::Camera const& camera) {
    return generateFromText(camera.description());
}

/// For descriptions that a support::Camera does not make.
std::string generateFrom(std::string const& content) {
    return generateFromText(block("CaliData", content));
}

/// The text of a line, which is counted from 1.
std::string line(std::size_t number, std::string const& text) {
    return support::lines(text).at(number - 1);
}

/// The suggested field of view, minimum and maximum: lines 13, 15 and 16.
Lines suggestionOf(std::string const& text) {
    return {line(13, text), line(15, text), line(16, text)};
}

Lines suggested(char const* fov, char const* minimum, char const* maximum) {
    return {std::string("  <fov>") + fov + "</fov>", std::string("    <min>") + minimum + "</min>",
            std::string("    <max>") + maximum + "</max>"};
}

std::string withOptics(std::string const& optics) {
    return block("Temperature", block("Optics", optics));
}

std::string withOptic(std::string const& content) {
    return withOptics(block("OpticsDef", content));
}

std::string withRange(std::string const& fov, std::string const& low, std::string const& high) {
    std::string const limits = element("TempLo", low) + "\n" + element("TempHi", high) + "\n";
    return withOptic(element("FOV", fov) + "\n" +
                     block("TempRanges", block("TemperatureRange", limits)));
}

} // namespace

TEST(Configuration, HasItsThirtyOneLinesByteForByte) {
    EXPECT_EQ(generate(12345678),
              support::configurationText("12345678", "/usr/share/libzentho/cali", "0"));
}

TEST(Configuration, HoldsThirtyOneLineFeeds) {
    auto const text = generate(12345678);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 31);
}

TEST(Configuration, WritesSerialNumberZeroAsItIs) {
    EXPECT_EQ(line(3, generate(0)),
              "  <serial>0</serial>   <!-- Provide serial number, if you attach more than one"
              " camera -->");
}

TEST(Configuration, WritesABigSerialNumberWithoutASign) {
    EXPECT_EQ(line(3, generate(4294967295UL)),
              "  <serial>4294967295</serial>   <!-- Provide serial number, if you attach more than"
              " one camera -->");
}

TEST(Configuration, NamesTheManagersFormatsDirectory) {
    zel::IRCalibrationManager manager;
    manager.setFormatsDir("/opt/camera formats");
    EXPECT_EQ(line(5, manager.generateConfiguration(1)),
              "  <formatspath>/opt/camera formats</formatspath>");
}

TEST(Configuration, NamesTheManagersCalibrationDirectory) {
    EXPECT_EQ(line(6, generate(1, "/proc/nowhere")), "  <calipath>/proc/nowhere</calipath>");
}

TEST(Configuration, NamesADirectoryOfTheFullCapacity) {
    std::string const directory = "/" + std::string(259, 'd');
    EXPECT_EQ(line(6, generate(1, directory.c_str())), "  <calipath>" + directory + "</calipath>");
}

TEST(Configuration, SuggestsTheOpticOfTheDescription) {
    EXPECT_EQ(suggestionOf(generateFrom(camera(serial).optic(23).range(-20, 100))),
              suggested("23", "-20", "100"));
}

TEST(Configuration, SuggestsTheRangeOfTheDescription) {
    EXPECT_EQ(suggestionOf(generateFrom(camera(serial).optic(53).range(150, 900))),
              suggested("53", "150", "900"));
}

TEST(Configuration, SuggestsTheFirstOpticAndItsFirstRangeOfSeveral) {
    auto const text =
        generateFrom(camera(serial).optic(30).range(0, 250).range(-9, 99).optic(53).range(1, 2));
    EXPECT_EQ(suggestionOf(text), suggested("30", "0", "250"));
}

TEST(Configuration, SuggestsTheDefaultsForADescriptionWithoutContent) {
    EXPECT_EQ(suggestionOf(generateFrom("")), suggested("0", "-20", "100"));
}

TEST(Configuration, KeepsTheDefaultFieldOfViewWhenTheOpticHasNone) {
    auto const text = generateFrom(withOptic("<TempLo>5</TempLo>\n<TempHi>6</TempHi>\n"));
    EXPECT_EQ(line(13, text), "  <fov>0</fov>");
}

TEST(Configuration, KeepsTheDefaultMinimumWhenTheRangeHasNone) {
    auto const text = generateFrom(withOptic("<FOV>23</FOV>\n<TempHi>6</TempHi>\n"));
    EXPECT_EQ(line(15, text), "    <min>-20</min>");
}

TEST(Configuration, KeepsTheDefaultMaximumWhenTheRangeHasNone) {
    auto const text = generateFrom(withOptic("<FOV>23</FOV>\n<TempLo>6</TempLo>\n"));
    EXPECT_EQ(line(16, text), "    <max>100</max>");
}

TEST(Configuration, LooksForTheLimitsInTheOpticWhenItHasNoRanges) {
    auto const text = generateFrom(withOptic("<TempLo>5</TempLo>\n<TempHi>6</TempHi>\n"));
    EXPECT_EQ(suggestionOf(text), suggested("0", "5", "6"));
}

TEST(Configuration, LooksInTheWholeDescriptionWhenThereAreNoOptics) {
    auto const text = generateFrom("<FOV>7</FOV>\n<TempLo>8</TempLo>\n<TempHi>9</TempHi>\n");
    EXPECT_EQ(suggestionOf(text), suggested("7", "8", "9"));
}

TEST(Configuration, LooksInTheSecondOpticForNothingThatTheFirstLacks) {
    auto const text = generateFrom(withOptics(block("OpticsDef", "<SerNo>1</SerNo>\n") +
                                              block("OpticsDef", "<FOV>53</FOV>\n")));
    EXPECT_EQ(line(13, text), "  <fov>0</fov>");
}

TEST(Configuration, SuggestsNoRangeOfTheSecondOpticWhenTheFirstHasNone) {
    auto const text = generateFrom(camera(serial).optic(30).optic(53).range(1, 2));
    EXPECT_EQ(suggestionOf(text), suggested("30", "-20", "100"));
}

TEST(Configuration, CutsFractionsOffTheDescriptionsNumbers) {
    EXPECT_EQ(suggestionOf(generateFrom(withRange("23.9", "-20.5", "99.9"))),
              suggested("23", "-20", "99"));
}

TEST(Configuration, ReadsTheDescriptionsNumbersInTheBaseOfTheirPrefix) {
    EXPECT_EQ(suggestionOf(generateFrom(withRange("0x17", "-010", "0X64"))),
              suggested("23", "-8", "100"));
}

TEST(Configuration, KeepsTheDefaultsForTextsThatAreNoNumbers) {
    EXPECT_EQ(suggestionOf(generateFrom(withRange("wide", "", "hot"))),
              suggested("0", "-20", "100"));
}

TEST(Configuration, SuggestsTheDefaultsWhenTheDescriptionsCommentsAreMalformed) {
    auto const content = withRange("23", "0", "250") + "<!-- never closed\n";
    EXPECT_EQ(suggestionOf(generateFrom(content)), suggested("0", "-20", "100"));
}

TEST(Configuration, ReadsTheDescriptionOfABigSerialNumberUnderItsUnsignedName) {
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/Cali-4294967295.xml",
                       camera(1).optic(11).description());
    EXPECT_EQ(line(13, generate(4294967295UL, directory.path().c_str())), "  <fov>11</fov>");
}

TEST(Configuration, CreatesNoDirectory) {
    support::TemporaryDirectory const directory;
    std::string const missing = directory.path() + "/missing";
    generate(1, missing.c_str());
    EXPECT_FALSE(fs::exists(missing));
}

TEST(Configuration, WritesNoFile) {
    support::TemporaryDirectory const directory;
    generate(1, directory.path().c_str());
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(Configuration, LoadsNoDescription) {
    support::TemporaryDirectory const directory;
    camera(87654321).optic(23).writeInto(directory.path());
    generate(87654321, directory.path().c_str());
    EXPECT_FALSE(ConfigCali::getInstance()->isLoaded(87654321));
}

TEST(Configuration, LeavesTheCalibrationDirectoryOfTheManagerAlone) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir("/proc/nowhere");
    manager.generateConfiguration(1);
    EXPECT_STREQ(manager.getCalibrationDir(), "/proc/nowhere");
}

TEST(Configuration, LogsOnlyTheReadersLineAboutAMissingDescription) {
    auto const log = support::debugLogOf([] { generate(12345678, "/proc/nowhere"); });
    EXPECT_EQ(log, Lines{"DEBUG [sdk/SimpleXML:LINE] @ TIMEs :Failed to open file"
                         " /proc/nowhere/Cali-12345678.xml"});
}

TEST(Configuration, LogsNothingWhenTheDescriptionCanBeRead) {
    auto const log =
        support::debugLogOf([] { generateFrom(camera(serial).optic(23).range(-20, 100)); });
    EXPECT_EQ(log, Lines{});
}
