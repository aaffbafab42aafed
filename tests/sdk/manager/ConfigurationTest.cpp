#include "sdk/IRCalibrationManager.h"

#include "imgproc/Cali.h"
#include "tests/support/ConfigurationText.h"
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

using Lines = std::vector<std::string>;

std::string generate(unsigned long serial, char const* calibrationDir = nullptr) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(calibrationDir);
    return manager.generateConfiguration(serial);
}

/// The configuration of a camera whose description has this content, one element a line.
std::string generateFrom(Lines const& content) {
    support::TemporaryDirectory const directory;
    std::string text = "<?xml version=\"1.0\"?>\n<CaliData>\n";
    for (auto const& line : content) {
        text += line + "\n";
    }
    support::writeFile(directory.path() + "/Cali-12345678.xml", text + "</CaliData>\n");
    return generate(12345678, directory.path().c_str());
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

Lines optic(Lines const& content) {
    Lines lines{"<Temperature>", "<Optics>", "<OpticsDef>"};
    lines.insert(lines.end(), content.begin(), content.end());
    lines.insert(lines.end(), {"</OpticsDef>", "</Optics>", "</Temperature>"});
    return lines;
}

Lines opticWith(std::string const& fov, std::string const& lo, std::string const& hi) {
    return optic({"<FOV>" + fov + "</FOV>", "<TempRanges>", "<TemperatureRange>",
                  "<TempLo>" + lo + "</TempLo>", "<TempHi>" + hi + "</TempHi>",
                  "</TemperatureRange>", "</TempRanges>"});
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
    EXPECT_EQ(suggestionOf(generateFrom(opticWith("23", "-20", "100"))),
              suggested("23", "-20", "100"));
}

TEST(Configuration, SuggestsTheRangeOfTheDescription) {
    EXPECT_EQ(suggestionOf(generateFrom(opticWith("53", "150", "900"))),
              suggested("53", "150", "900"));
}

TEST(Configuration, SuggestsTheFirstOpticAndItsFirstRangeOfSeveral) {
    auto const text = generateFrom({"<Temperature>",       "<Optics>",
                                    "<OpticsDef>",         "<FOV>30</FOV>",
                                    "<TempRanges>",        "<TemperatureRange>",
                                    "<TempLo>0</TempLo>",  "<TempHi>250</TempHi>",
                                    "</TemperatureRange>", "<TemperatureRange>",
                                    "<TempLo>-9</TempLo>", "<TempHi>99</TempHi>",
                                    "</TemperatureRange>", "</TempRanges>",
                                    "</OpticsDef>",        "<OpticsDef>",
                                    "<FOV>53</FOV>",       "<TempRanges>",
                                    "<TemperatureRange>",  "<TempLo>1</TempLo>",
                                    "<TempHi>2</TempHi>",  "</TemperatureRange>",
                                    "</TempRanges>",       "</OpticsDef>",
                                    "</Optics>",           "</Temperature>"});
    EXPECT_EQ(suggestionOf(text), suggested("30", "0", "250"));
}

TEST(Configuration, SuggestsTheDefaultsForADescriptionWithoutContent) {
    EXPECT_EQ(suggestionOf(generateFrom({})), suggested("0", "-20", "100"));
}

TEST(Configuration, KeepsTheDefaultFieldOfViewWhenTheOpticHasNone) {
    auto const text = generateFrom(optic({"<TempLo>5</TempLo>", "<TempHi>6</TempHi>"}));
    EXPECT_EQ(line(13, text), "  <fov>0</fov>");
}

TEST(Configuration, KeepsTheDefaultMinimumWhenTheRangeHasNone) {
    auto const text = generateFrom(optic({"<FOV>23</FOV>", "<TempHi>6</TempHi>"}));
    EXPECT_EQ(line(15, text), "    <min>-20</min>");
}

TEST(Configuration, KeepsTheDefaultMaximumWhenTheRangeHasNone) {
    auto const text = generateFrom(optic({"<FOV>23</FOV>", "<TempLo>6</TempLo>"}));
    EXPECT_EQ(line(16, text), "    <max>100</max>");
}

TEST(Configuration, LooksForTheLimitsInTheOpticWhenItHasNoRanges) {
    auto const text = generateFrom(optic({"<TempLo>5</TempLo>", "<TempHi>6</TempHi>"}));
    EXPECT_EQ(suggestionOf(text), suggested("0", "5", "6"));
}

TEST(Configuration, LooksInTheWholeDescriptionWhenThereAreNoOptics) {
    auto const text = generateFrom({"<FOV>7</FOV>", "<TempLo>8</TempLo>", "<TempHi>9</TempHi>"});
    EXPECT_EQ(suggestionOf(text), suggested("7", "8", "9"));
}

TEST(Configuration, LooksInTheSecondOpticForNothingThatTheFirstLacks) {
    auto const text = generateFrom({"<Temperature>", "<Optics>", "<OpticsDef>", "<SerNo>1</SerNo>",
                                    "</OpticsDef>", "<OpticsDef>", "<FOV>53</FOV>", "</OpticsDef>",
                                    "</Optics>", "</Temperature>"});
    EXPECT_EQ(line(13, text), "  <fov>0</fov>");
}

TEST(Configuration, SuggestsNoRangeOfTheSecondOpticWhenTheFirstHasNone) {
    auto const text = generateFrom(
        {"<Temperature>", "<Optics>", "<OpticsDef>", "<FOV>30</FOV>", "</OpticsDef>", "<OpticsDef>",
         "<TempRanges>", "<TemperatureRange>", "<TempLo>1</TempLo>", "<TempHi>2</TempHi>",
         "</TemperatureRange>", "</TempRanges>", "</OpticsDef>", "</Optics>", "</Temperature>"});
    EXPECT_EQ(suggestionOf(text), suggested("30", "-20", "100"));
}

TEST(Configuration, CutsFractionsOffTheDescriptionsNumbers) {
    EXPECT_EQ(suggestionOf(generateFrom(opticWith("23.9", "-20.5", "99.9"))),
              suggested("23", "-20", "99"));
}

TEST(Configuration, ReadsTheDescriptionsNumbersInTheBaseOfTheirPrefix) {
    EXPECT_EQ(suggestionOf(generateFrom(opticWith("0x17", "-010", "0X64"))),
              suggested("23", "-8", "100"));
}

TEST(Configuration, KeepsTheDefaultsForTextsThatAreNoNumbers) {
    EXPECT_EQ(suggestionOf(generateFrom(opticWith("wide", "", "hot"))),
              suggested("0", "-20", "100"));
}

TEST(Configuration, SuggestsTheDefaultsWhenTheDescriptionsCommentsAreMalformed) {
    auto content = opticWith("23", "0", "250");
    content.push_back("<!-- never closed");
    EXPECT_EQ(suggestionOf(generateFrom(content)), suggested("0", "-20", "100"));
}

TEST(Configuration, ReadsTheDescriptionOfABigSerialNumberUnderItsUnsignedName) {
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/Cali-4294967295.xml",
                       "<CaliData>\n<FOV>11</FOV>\n</CaliData>\n");
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
    support::writeFile(directory.path() + "/Cali-87654321.xml", "<CaliData>\n</CaliData>\n");
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
    auto const log = support::debugLogOf([] { generateFrom(opticWith("23", "-20", "100")); });
    EXPECT_EQ(log, Lines{});
}
