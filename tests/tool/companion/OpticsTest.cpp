#include "tests/tool/companion/Companion.h"

#include <filesystem>

#include "tests/support/Camera.h"

namespace {

using companiontest::fetchHint;
using companiontest::makeHint;
using companiontest::said;
using support::exited;
using support::writeFile;

class CompanionOptics : public companiontest::Companion {
protected:
    void describe(support::Camera const& camera) const {
        writeFile(installed(camera.descriptionName()), camera.description());
    }
};

std::string const plainTable = "OPTIC     RANGE        FRAME RATES\n"
                               "23        -20 to 100   27, 80 Hz\n"
                               "          0 to 250     any\n"
                               "          150 to 900   any\n"
                               "54 Macro  -20 to 100   27 Hz\n"
                               "          250 to 1500  any\n";

} // namespace

TEST_F(CompanionOptics, ShowsATableWithoutBarsWhereThereIsNoTerminal) {
    install("14080045");
    EXPECT_EQ(seenOf({"optics", "14080045", "-t", "cali"}), exited(0, plainTable, ""));
}

TEST_F(CompanionOptics, ShowsBarsOnACommonScaleOnATerminal) {
    install("14080045");
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}, "$program optics 14080045 -t cali"),
              "OPTIC     RANGE        FRAME RATES  -20                 1500\n"
              "23        -20 to 100   27, 80 Hz    ██\n"
              "          0 to 250     any          ████\n"
              "          150 to 900   any             ████████████\n"
              "54 Macro  -20 to 100   27 Hz        ██\n"
              "          250 to 1500  any              ████████████████████\n");
}

TEST_F(CompanionOptics, ShowsBarsInAsciiWhereTheLocaleIsNotUtf8) {
    install("14080045");
    EXPECT_EQ(onTerminal({"NO_COLOR=1", "LC_CTYPE=C"}, "$program optics 14080045 -t cali"),
              "OPTIC     RANGE        FRAME RATES  -20                 1500\n"
              "23        -20 to 100   27, 80 Hz    ##\n"
              "          0 to 250     any          ####\n"
              "          150 to 900   any             ############\n"
              "54 Macro  -20 to 100   27 Hz        ##\n"
              "          250 to 1500  any              ####################\n");
}

TEST_F(CompanionOptics, ShowsTheHeadingInBoldOnATerminalWithColours) {
    describe(support::camera(7).optic(23).range(0, 250));
    EXPECT_EQ(onTerminal({"LC_CTYPE=C"}, "$program optics 7 -t cali").substr(0, 69),
              "\033[1mOPTIC  RANGE     FRAME RATES  0                          250\033[0m\n");
}

TEST_F(CompanionOptics, ShowsAnEmptyNoColorAsColour) {
    describe(support::camera(7).optic(23).range(0, 250));
    EXPECT_EQ(onTerminal({"NO_COLOR="}, "$program optics 7 -t cali").substr(0, 4), "\033[1m");
}

TEST_F(CompanionOptics, ShowsNeitherColourNorBarsOnADumbTerminal) {
    install("14080045");
    EXPECT_EQ(onTerminal({"TERM=dumb"}, "$program optics 14080045 -t cali"), plainTable);
}

TEST_F(CompanionOptics, ShowsNeitherColourNorBarsOnATerminalWithoutAType) {
    install("14080045");
    EXPECT_EQ(onTerminal({}, "env -u TERM $program optics 14080045 -t cali"), plainTable);
}

TEST_F(CompanionOptics, ShowsNoBarsOnANarrowTerminal) {
    install("14080045");
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}, "stty cols 45; $program optics 14080045 -t cali"),
              plainTable);
}

TEST_F(CompanionOptics, TakesATerminalOfUnknownWidthForOneOf80Columns) {
    describe(support::camera(7).optic(23).range(0, 250));
    EXPECT_EQ(onTerminal({"NO_COLOR=1", "LC_CTYPE=C"}, "stty cols 0; $program optics 7 -t cali"),
              "OPTIC  RANGE     FRAME RATES  0                                              250\n"
              "23     0 to 250  any          " +
                  std::string(50, '#') + "\n");
}

TEST_F(CompanionOptics, LimitsTheBarsOnAWideTerminal) {
    describe(support::camera(7).optic(23).range(0, 250));
    EXPECT_EQ(onTerminal({"NO_COLOR=1", "LC_CTYPE=C"}, "stty cols 300; $program optics 7 -t cali")
                  .substr(91),
              "23     0 to 250  any          " + std::string(60, '#') + "\n");
}

TEST_F(CompanionOptics, ShowsTheShortestRangeAsOneMark) {
    describe(support::camera(7).optic(23).range(0, 10000).range(10000, 10000));
    EXPECT_EQ(onTerminal({"NO_COLOR=1", "LC_CTYPE=C"}, "$program optics 7 -t cali"),
              "OPTIC  RANGE           FRAME RATES  0                  10000\n"
              "23     0 to 10000      any          ########################\n"
              "       10000 to 10000  any                                 #\n");
}

TEST_F(CompanionOptics, ShowsNoBarForARangeThatRunsBackward) {
    describe(support::camera(7).optic(23).range(0, 250).range(100, 50));
    EXPECT_EQ(onTerminal({"NO_COLOR=1", "LC_CTYPE=C"}, "$program optics 7 -t cali"),
              "OPTIC  RANGE      FRAME RATES  0                         250\n"
              "23     0 to 250   any          #############################\n"
              "       100 to 50  any\n");
}

TEST_F(CompanionOptics, ShowsNoBarsOnAnInfiniteScale) {
    describe(support::camera(7).optic(23).range(0, 250));
    auto text = support::readFile(installed("Cali-7.xml"));
    text.replace(text.find(">250<") + 1, 3, "inf");
    writeFile(installed("Cali-7.xml"), text);
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}, "$program optics 7 -t cali"),
              "OPTIC  RANGE     FRAME RATES\n"
              "23     0 to inf  any\n");
}

TEST_F(CompanionOptics, AlignsTextBeyondAsciiByItsColumns) {
    describe(support::camera(7).optic(23).text("Fräse").range(0, 250).optic(5).range(0, 1));
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}, "stty cols 40; $program optics 7 -t cali"),
              "OPTIC     RANGE     FRAME RATES\n"
              "23 Fräse  0 to 250  any\n"
              "5         0 to 1    any\n");
}

TEST_F(CompanionOptics, EscapesControlCharactersOfAText) {
    describe(support::camera(7).optic(23).text("a\033[2Jb").range(0, 250));
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}, "stty cols 40; $program optics 7 -t cali"),
              "OPTIC         RANGE     FRAME RATES\n"
              "23 a\\x1b[2Jb  0 to 250  any\n");
}

TEST_F(CompanionOptics, ShowsFractionsOfLimits) {
    describe(support::camera(7).optic(23).range(-20.5, 149.99));
    EXPECT_EQ(ask({"optics", "7", "-t", "cali"}).standardOutput,
              "OPTIC  RANGE            FRAME RATES\n"
              "23     -20.5 to 149.99  any\n");
}

TEST_F(CompanionOptics, DistinguishesAnEmptyListOfFrameRatesFromNoList) {
    describe(support::camera(7).optic(23).range(0, 250).withoutFrameRates().range(0, 100));
    EXPECT_EQ(ask({"optics", "7", "-t", "cali"}).standardOutput, "OPTIC  RANGE     FRAME RATES\n"
                                                                 "23     0 to 250  none\n"
                                                                 "       0 to 100  any\n");
}

TEST_F(CompanionOptics, ShowsAnOpticWithoutRanges) {
    describe(support::camera(7).optic(23).withoutRanges());
    EXPECT_EQ(ask({"optics", "7", "-t", "cali"}).standardOutput, "OPTIC  RANGE  FRAME RATES\n"
                                                                 "23     none\n");
}

TEST_F(CompanionOptics, SaysThatThereIsNoDescription) {
    EXPECT_EQ(seenOf({"optics", "14080045", "-t", "cali"}),
              exited(1, "",
                     said("There is no description cali/Cali-14080045.xml to read.") +
                         fetchHint("14080045")));
}

TEST_F(CompanionOptics, SaysThatThereIsNoDescriptionForAWrongSerial) {
    install("14080045");
    EXPECT_EQ(seenOf({"optics", "1408004", "-t", "cali"}),
              exited(1, "",
                     said("There is no description cali/Cali-1408004.xml to read.") +
                         fetchHint("1408004")));
}

TEST_F(CompanionOptics, SaysThatADescriptionNamesNoOptic) {
    writeFile(installed("Cali-7.xml"), "<CaliData>\n</CaliData>\n");
    EXPECT_EQ(seenOf({"optics", "7", "-t", "cali"}),
              exited(1, "",
                     said("The description cali/Cali-7.xml names no optic.") +
                         said("There is no description cali/Cali-7.xml to read.") +
                         fetchHint("7")));
}

TEST_F(CompanionOptics, NamesADirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"optics", "7", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none")));
}

TEST_F(CompanionOptics, AnswersInJson) {
    describe(support::camera(7)
                 .optic(23)
                 .range(-20.5, 149.99)
                 .frameRate(27)
                 .optic(54)
                 .text("Macro")
                 .samplePointCalibrated()
                 .range(0, 250));
    EXPECT_EQ(jsonOf({"optics", "7", "-t", "cali"}), "{\n"
                                                     "  \"command\": \"optics\",\n"
                                                     "  \"status\": 0,\n"
                                                     "  \"serial\": 7,\n"
                                                     "  \"directory\": \"cali\",\n"
                                                     "  \"optics\": [\n"
                                                     "    {\n"
                                                     "      \"fieldOfView\": 23,\n"
                                                     "      \"text\": \"\",\n"
                                                     "      \"samplePointCalibrated\": false,\n"
                                                     "      \"ranges\": [\n"
                                                     "        {\n"
                                                     "          \"low\": -20.5,\n"
                                                     "          \"high\": 149.99,\n"
                                                     "          \"frameRates\": [\n"
                                                     "            27\n"
                                                     "          ]\n"
                                                     "        }\n"
                                                     "      ]\n"
                                                     "    },\n"
                                                     "    {\n"
                                                     "      \"fieldOfView\": 54,\n"
                                                     "      \"text\": \"Macro\",\n"
                                                     "      \"samplePointCalibrated\": true,\n"
                                                     "      \"ranges\": [\n"
                                                     "        {\n"
                                                     "          \"low\": 0.0,\n"
                                                     "          \"high\": 250.0,\n"
                                                     "          \"frameRates\": null\n"
                                                     "        }\n"
                                                     "      ]\n"
                                                     "    }\n"
                                                     "  ],\n"
                                                     "  \"problems\": []\n"
                                                     "}\n");
}

TEST_F(CompanionOptics, AnswersNullInJsonForALimitThatIsNotFinite) {
    describe(support::camera(7).optic(23).range(0, 250));
    auto text = support::readFile(installed("Cali-7.xml"));
    text.replace(text.find(">250<") + 1, 3, "inf");
    writeFile(installed("Cali-7.xml"), text);
    EXPECT_NE(jsonOf({"optics", "7", "-t", "cali"}).find("\"high\": null"), std::string::npos);
}

TEST_F(CompanionOptics, AnswersInJsonWithoutADescription) {
    EXPECT_EQ(jsonOf({"optics", "7", "-t", "cali"}), "{\n"
                                                     "  \"command\": \"optics\",\n"
                                                     "  \"status\": 1,\n"
                                                     "  \"serial\": 7,\n"
                                                     "  \"directory\": \"cali\",\n"
                                                     "  \"optics\": [],\n"
                                                     "  \"problems\": [\n"
                                                     "    {\n"
                                                     "      \"name\": \"Cali-7.xml\",\n"
                                                     "      \"state\": \"missing\",\n"
                                                     "      \"path\": \"cali/Cali-7.xml\",\n"
                                                     "      \"message\": \"missing\"\n"
                                                     "    }\n"
                                                     "  ]\n"
                                                     "}\n");
}

TEST_F(CompanionOptics, FailsForAPathThatProgramsCannotUse) {
    std::string const longPath = "cali/" + std::string(200, 'l') + "/" + std::string(200, 'l');
    std::filesystem::create_directories(root.path() + "/" + longPath);
    EXPECT_EQ(ask({"optics", "7", "-t", longPath}).exitStatus, 3);
    support::writeFile(root.path() + "/file", "");
    EXPECT_EQ(ask({"optics", "7", "-t", "file"}).exitStatus, 3);
}

TEST_F(CompanionOptics, SaysThatAFolderIsNoDescription) {
    std::filesystem::create_directories(cali + "/Cali-7.xml");
    auto const outcome = ask({"optics", "7", "-t", "cali"});
    EXPECT_NE(outcome.exitStatus, 0);
    EXPECT_NE(outcome.standardError.find("cali/Cali-7.xml"), std::string::npos)
        << outcome.standardError;
}

TEST_F(CompanionOptics, SaysWhyADescriptionCannotBeOpened) {
    std::filesystem::create_symlink("Cali-7.xml", installed("Cali-7.xml"));
    auto const outcome = ask({"optics", "7", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_NE(outcome.standardError.find(
                  said("cali/Cali-7.xml cannot be read: Too many levels of symbolic links.")),
              std::string::npos)
        << outcome.standardError;
}
