#include "tests/tool/companion/Companion.h"

#include "tests/support/SmallSet.h"

#include "tests/support/Namespace.h"

#include <csignal>
#include <filesystem>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using companiontest::curve;
using companiontest::data;
using companiontest::description;
using companiontest::hinted;
using companiontest::makeHint;
using companiontest::said;
using support::exited;
using support::writeFile;

/// What verify prints when data and curve file are in these states and the description is the same.
std::string states(std::string const& dataState, std::string const& curveState) {
    return data + ": " + dataState + "\n" + description + ": same\n" + curve + ": " + curveState +
           "\n";
}

std::string summary(std::string const& counts, std::string const& completeness = "complete") {
    return said("Camera 7: " + counts + "; " + completeness + ".");
}

std::string const allSame = exited(0, states("same", "same"), summary("3 same"));

// Camera 7 has the small set installed and on a stick of its own.
class CompanionVerify : public companiontest::Companion {
protected:
    CompanionVerify() {
        support::writeSmallSet(cali, 7);
        support::writeSmallSet(usb + "/7", 7);
    }

    std::string verified() const { return seenOf({"verify", "7", "-s", "usb", "-t", "cali"}); }
    std::string verifiedByRecord() const { return seenOf({"verify", "7", "-t", "cali"}); }
    void record() const {
        EXPECT_EQ(ask({"install", "7", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    }

    std::string const usb = root.path() + "/usb";
};

} // namespace

TEST_F(CompanionVerify, FindsTheSameFilesAfterAnInstallationFromTheSampleStick) {
    installSafely("14080045");
    EXPECT_EQ(seenOf({"verify", "14080045", "-s", companiontest::stick, "-t", "cali"}),
              exited(0,
                     "Cali-14080045-23-0-250.dat: same\n"
                     "Cali-14080045-23-150-900.dat: same\n"
                     "Cali-14080045-23-M20-100-27.dat: same\n"
                     "Cali-14080045-23-M20-100-80.dat: same\n"
                     "Cali-14080045-54-Macro-250-1500.dat: same\n"
                     "Cali-14080045-54-Macro-M20-100-27.dat: same\n"
                     "Cali-14080045.xml: same\n"
                     "Kennlinie-14080045-23-0-250.prn: same\n"
                     "Kennlinie-14080045-23-150-900.prn: same\n"
                     "Kennlinie-14080045-23-M20-100-27.prn: same\n"
                     "Kennlinie-14080045-23-M20-100-80.prn: same\n",
                     said("Camera 14080045: 11 same; complete.")));
}

TEST_F(CompanionVerify, NamesFilesThatBothSidesLack) {
    install("15110023");
    EXPECT_EQ(seenOf({"verify", "15110023", "-s", companiontest::stick, "-t", "cali"}),
              exited(1,
                     "Cali-15110023-30-0-250.dat: missing here and there\n"
                     "Cali-15110023-30-150-900.dat: same\n"
                     "Cali-15110023-30-M20-100.dat: same\n"
                     "Cali-15110023.xml: same\n"
                     "Kennlinie-15110023-30-0-250.prn: same\n"
                     "Kennlinie-15110023-30-150-900.prn: missing here and there\n"
                     "Kennlinie-15110023-30-M20-100.prn: same\n",
                     said("Camera 15110023: 5 same, 2 missing here and there; not complete.")));
}

TEST_F(CompanionVerify, NamesEveryFileOfTheStickForAnEmptyDirectory) {
    fs::create_directory(root.path() + "/empty");
    EXPECT_EQ(seenOf({"verify", "7", "-s", "usb", "-t", "empty"}),
              exited(1,
                     data + ": missing here\n" + description + ": missing here\n" + curve +
                         ": missing here\n",
                     summary("3 missing here", "not complete")));
}

TEST_F(CompanionVerify, NamesTheDescriptionForAWrongSerial) {
    EXPECT_EQ(seenOf({"verify", "8", "-s", "usb", "-t", "cali"}),
              exited(1, "Cali-8.xml: missing here and there\n",
                     said("Camera 8: 1 missing here and there; not complete.")));
}

TEST_F(CompanionVerify, SeesOneByteThatDiffersInFilesOfTheSameSize) {
    std::string content(200000, 'x');
    writeFile(installed(data), content);
    content.back() = 'y';
    writeFile(usb + "/7/" + data, content);
    EXPECT_EQ(verified(), exited(1, states("differs", "same"), summary("2 same, 1 differs")));
}

TEST_F(CompanionVerify, FindsLongFilesOfTheSameBytesTheSame) {
    std::string const content(200000, 'x');
    writeFile(installed(data), content);
    writeFile(usb + "/7/" + data, content);
    EXPECT_EQ(verified(), allSame);
}

TEST_F(CompanionVerify, SeesATruncatedFile) {
    writeFile(installed(data), data.substr(0, 5));
    EXPECT_EQ(verified(), exited(1, states("differs", "same"), summary("2 same, 1 differs")));
}

TEST_F(CompanionVerify, NamesAFileThatIsMissingHere) {
    fs::remove(installed(curve));
    EXPECT_EQ(verified(), exited(1, states("same", "missing here"),
                                 summary("2 same, 1 missing here", "not complete")));
}

TEST_F(CompanionVerify, NamesAFileThatIsMissingThere) {
    fs::remove(usb + "/7/" + curve);
    EXPECT_EQ(verified(),
              exited(1, states("same", "missing there"), summary("2 same, 1 missing there")));
}

TEST_F(CompanionVerify, NamesAFileOfTheCameraThatTheDescriptionDoesNotAskFor) {
    writeFile(installed("Cali-7-old.dat"), "old");
    EXPECT_EQ(ask({"verify", "7", "-s", "usb", "-t", "cali"}).standardOutput,
              data + ": same\nCali-7-old.dat: missing there\n" + description + ": same\n" + curve +
                  ": same\n");
}

TEST_F(CompanionVerify, IgnoresTheFilesOfCamerasWithALongerSerial) {
    support::writeSmallSet(cali, 78);
    support::writeSmallSet(usb, 79);
    EXPECT_EQ(verified(), allSame);
}

TEST_F(CompanionVerify, NamesDifferentCopiesWithTheirPaths) {
    writeFile(usb + "/old/" + data, "another one");
    auto const outcome = ask({"verify", "7", "-s", "usb", "-t", "cali"});
    EXPECT_NE(outcome.standardError.find("usb/7/" + data), std::string::npos)
        << outcome.standardError;
    EXPECT_NE(outcome.standardError.find("usb/old/" + data), std::string::npos)
        << outcome.standardError;
}

TEST_F(CompanionVerify, TakesNoDirectoryOnTheStickForAFile) {
    fs::remove(usb + "/7/" + data);
    fs::create_directory(usb + "/7/" + data);
    EXPECT_EQ(ask({"verify", "7", "-s", "usb", "-t", "cali"}).standardOutput,
              states("missing there", "same"));
}

TEST_F(CompanionVerify, ComparesWithTheTargetOfALinkOnTheStick) {
    fs::rename(usb + "/7/" + data, usb + "/7/blob");
    fs::create_symlink("blob", usb + "/7/" + data);
    EXPECT_EQ(verified(), allSame);
}

TEST_F(CompanionVerify, NamesAStickThatDoesNotExist) {
    EXPECT_EQ(seenOf({"verify", "7", "-s", "none", "-t", "cali"}),
              exited(3, "", said("Cannot use the source none: No such file or directory")));
}

TEST_F(CompanionVerify, NamesACalibrationDirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"verify", "7", "-s", "usb", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none")));
}

TEST_F(CompanionVerify, NamesADirectoryThatMayNotBeSearchedWhenAFileMightBeInIt) {
    support::inPrivateNamespaces([&] {
        fs::permissions(usb + "/7", fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(verified(), exited(3, "", said("Cannot search usb/7: Permission denied")));
    });
}

TEST_F(CompanionVerify, GoesOnAfterAnInstalledFileThatMayNotBeRead) {
    support::inPrivateNamespaces([&] {
        fs::permissions(installed(data), fs::perms::none);
        support::giveUpPrivileges();
        auto const outcome = ask({"verify", "7", "-s", "usb", "-t", "cali"});
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.standardOutput, states("unreadable", "same"));
    });
}

TEST_F(CompanionVerify, ComparesWithTheRecordOfTheInstallation) {
    record();
    EXPECT_EQ(verifiedByRecord(), allSame);
}

TEST_F(CompanionVerify, SeesAByteThatChangedSinceTheInstallation) {
    record();
    std::string content = data;
    content.back() = '!';
    writeFile(installed(data), content);
    EXPECT_EQ(verifiedByRecord(),
              exited(1, states("differs", "same"), summary("2 same, 1 differs")));
}

TEST_F(CompanionVerify, NamesAFileThatIsMissingSinceTheInstallation) {
    record();
    fs::remove(installed(curve));
    EXPECT_EQ(verifiedByRecord(),
              exited(1, states("same", "missing"), summary("1 missing, 2 same", "not complete")));
}

TEST_F(CompanionVerify, AsksForASourceWhereNothingIsRecorded) {
    auto const outcome = ask({"verify", "7", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_NE(outcome.standardError.find(hinted("-s names a stick to compare with.")),
              std::string::npos)
        << outcome.standardError;
}

TEST_F(CompanionVerify, TakesAllInstalledCamerasWithoutASerialNumber) {
    record();
    support::writeSmallSet(usb + "/78", 78);
    EXPECT_EQ(ask({"install", "78", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    EXPECT_EQ(seenOf({"verify", "-t", "cali"}),
              exited(0,
                     states("same", "same") + "Cali-78-23-M20-100.dat: same\nCali-78.xml: same\n"
                                              "Kennlinie-78-23-M20-100.prn: same\n",
                     summary("3 same") + said("Camera 78: 3 same; complete.")));
}

TEST_F(CompanionVerify, GoesOnAfterACameraWithoutARecord) {
    support::writeSmallSet(usb + "/78", 78);
    EXPECT_EQ(ask({"install", "78", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    auto const outcome = ask({"verify", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.standardOutput, "Cali-78-23-M20-100.dat: same\nCali-78.xml: same\n"
                                      "Kennlinie-78-23-M20-100.prn: same\n");
}

TEST_F(CompanionVerify, SaysThatNothingIsInstalled) {
    fs::create_directory(root.path() + "/empty");
    EXPECT_EQ(seenOf({"verify", "-t", "empty"}),
              exited(0, "", said("No camera's set is installed in empty.")));
}

TEST_F(CompanionVerify, AnswersInJson) {
    fs::remove(usb + "/7/" + curve);
    EXPECT_EQ(jsonOf({"verify", "7", "-s", "usb", "-t", "cali"}),
              "{\n"
              "  \"command\": \"verify\",\n"
              "  \"status\": 1,\n"
              "  \"serial\": 7,\n"
              "  \"directory\": \"cali\",\n"
              "  \"source\": \"usb\",\n"
              "  \"complete\": true,\n"
              "  \"files\": [\n"
              "    {\n"
              "      \"name\": \"Cali-7-23-M20-100.dat\",\n"
              "      \"state\": \"same\"\n"
              "    },\n"
              "    {\n"
              "      \"name\": \"Cali-7.xml\",\n"
              "      \"state\": \"same\"\n"
              "    },\n"
              "    {\n"
              "      \"name\": \"Kennlinie-7-23-M20-100.prn\",\n"
              "      \"state\": \"missing there\"\n"
              "    }\n"
              "  ],\n"
              "  \"problems\": [\n"
              "    {\n"
              "      \"name\": \"Kennlinie-7-23-M20-100.prn\",\n"
              "      \"state\": \"missing there\",\n"
              "      \"path\": \"cali/Kennlinie-7-23-M20-100.prn\",\n"
              "      \"message\": \"missing there\"\n"
              "    }\n"
              "  ]\n"
              "}\n");
}

TEST_F(CompanionVerify, AnswersInJsonForAllInstalledCameras) {
    record();
    auto const answer = jsonOf({"verify", "-t", "cali"});
    std::string const start = "{\n"
                              "  \"command\": \"verify\",\n"
                              "  \"status\": 0,\n"
                              "  \"directory\": \"cali\",\n"
                              "  \"source\": null,\n"
                              "  \"cameras\": [\n"
                              "    {\n"
                              "      \"serial\": 7,\n"
                              "      \"complete\": true,\n";
    EXPECT_EQ(answer.substr(0, start.size()), start);
}

TEST_F(CompanionVerify, AnswersInJsonAlsoWhenACameraHasNoRecord) {
    auto const answer = jsonOf({"verify", "-t", "cali"});
    EXPECT_NE(answer.find("  \"status\": 3,\n"), std::string::npos);
}

TEST_F(CompanionVerify, AnswersInJsonAlsoOnFailure) {
    EXPECT_EQ(jsonOf({"verify", "7", "-s", "none", "-t", "cali"}),
              "{\n"
              "  \"command\": \"verify\",\n"
              "  \"status\": 3,\n"
              "  \"error\": {\n"
              "    \"message\": \"Cannot use the source\",\n"
              "    \"path\": \"none\",\n"
              "    \"reason\": \"No such file or directory\",\n"
              "    \"hint\": null\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionVerify, ColoursTheStatesOnATerminal) {
    writeFile(installed(data), "other");
    fs::remove(installed(curve));
    EXPECT_EQ(onTerminal({}, "$program verify 7 -s usb -t cali 2> /dev/null"),
              data + ": \033[31mdiffers\033[0m\n" + description + ": \033[32msame\033[0m\n" +
                  curve + ": \033[33mmissing here\033[0m\n");
}

TEST_F(CompanionVerify, EscapesBytesOnATerminalThatAreNotUtf8) {
    writeFile(usb + "/Cali-7-\xE4.dat", "other");
    auto const seen = onTerminal({"NO_COLOR=1"}, "$program verify 7 -s usb -t cali");
    EXPECT_NE(seen.find("Cali-7-\\xe4.dat: missing here\n"), std::string::npos) << seen;
}

TEST_F(CompanionVerify, LeavesBytesToAPipeThatAreNotUtf8) {
    writeFile(usb + "/Cali-7-\xE4.dat", "other");
    auto const seen = ask({"verify", "7", "-s", "usb", "-t", "cali"}).standardOutput;
    EXPECT_NE(seen.find("Cali-7-\xE4.dat: missing here\n"), std::string::npos) << seen;
}

TEST_F(CompanionVerify, EscapesControlCharactersOfAFileName) {
    writeFile(usb + "/Cali-7-\033[2J\n.dat", "other");
    EXPECT_EQ(ask({"verify", "7", "-s", "usb", "-t", "cali"}).standardOutput,
              "Cali-7-\\x1b[2J\\n.dat: missing here\n" + states("same", "same"));
}

TEST_F(CompanionVerify, OfAllCamerasEndsAtTheFirstInterruption) {
    support::writeSmallSet(root.path() + "/usb", 7);
    support::writeSmallSet(root.path() + "/usb", 8);
    ASSERT_EQ(ask({"install", "--all", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    auto const outcome = support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq",
                                       "-o", "/dev/null", "-e", "inject=pread64:signal=INT:when=1",
                                       companiontest::program, "verify", "-t", "cali"},
                                      root.path());
    EXPECT_EQ(outcome.signal, SIGINT) << outcome.standardError;
    EXPECT_EQ(outcome.standardOutput.find("Cali-8"), std::string::npos) << outcome.standardOutput;
}
