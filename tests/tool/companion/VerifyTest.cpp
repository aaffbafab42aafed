#include "tests/tool/companion/Companion.h"

#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"

#include <filesystem>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using companiontest::said;
using support::exited;
using support::writeFile;

std::string const data = "Cali-7-23-M20-100.dat";
std::string const description = "Cali-7.xml";
std::string const curve = "Kennlinie-7-23-M20-100.prn";

/// What verify prints when data and curve file are in these states and the description is the same.
std::string states(std::string const& dataState, std::string const& curveState) {
    return data + ": " + dataState + "\n" + description + ": same\n" + curve + ": " + curveState +
           "\n";
}

// Camera 7 has the small set installed and on a stick of its own.
class CompanionVerify : public companiontest::Companion {
protected:
    CompanionVerify() {
        support::writeSmallSet(cali, 7);
        support::writeSmallSet(usb + "/7", 7);
    }

    std::string verified() const { return seenOf({"verify", "7", "-s", "usb", "-t", "cali"}); }

    std::string const usb = root.path() + "/usb";
};

} // namespace

TEST_F(CompanionVerify, FindsTheSameFilesAfterAnInstallationFromTheSampleStick) {
    install("14080045");
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
                     ""));
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
                     ""));
}

TEST_F(CompanionVerify, NamesEveryFileOfTheStickForAnEmptyDirectory) {
    fs::create_directory(root.path() + "/empty");
    EXPECT_EQ(seenOf({"verify", "7", "-s", "usb", "-t", "empty"}),
              exited(1,
                     data + ": missing here\n" + description + ": missing here\n" + curve +
                         ": missing here\n",
                     ""));
}

TEST_F(CompanionVerify, NamesTheDescriptionForAWrongSerial) {
    EXPECT_EQ(seenOf({"verify", "8", "-s", "usb", "-t", "cali"}),
              exited(1, "Cali-8.xml: missing here and there\n", ""));
}

TEST_F(CompanionVerify, SeesOneByteThatDiffersInFilesOfTheSameSize) {
    std::string content(200000, 'x');
    writeFile(installed(data), content);
    content.back() = 'y';
    writeFile(usb + "/7/" + data, content);
    EXPECT_EQ(verified(), exited(1, states("differs", "same"), ""));
}

TEST_F(CompanionVerify, FindsLongFilesOfTheSameBytesTheSame) {
    std::string const content(200000, 'x');
    writeFile(installed(data), content);
    writeFile(usb + "/7/" + data, content);
    EXPECT_EQ(verified(), exited(0, states("same", "same"), ""));
}

TEST_F(CompanionVerify, SeesATruncatedFile) {
    writeFile(installed(data), data.substr(0, 5));
    EXPECT_EQ(verified(), exited(1, states("differs", "same"), ""));
}

TEST_F(CompanionVerify, SeesAnInstalledFileThatIsEmpty) {
    writeFile(installed(data), "");
    EXPECT_EQ(verified(), exited(1, states("differs", "same"),
                                 said("cali/" + data + " is empty, which counts as there.")));
}

TEST_F(CompanionVerify, NamesAFileThatIsMissingHere) {
    fs::remove(installed(curve));
    EXPECT_EQ(verified(), exited(1, states("same", "missing here"), ""));
}

TEST_F(CompanionVerify, NamesAFileThatIsMissingThere) {
    fs::remove(usb + "/7/" + curve);
    EXPECT_EQ(verified(), exited(1, states("same", "missing there"), ""));
}

TEST_F(CompanionVerify, NamesAFileOfTheCameraThatTheDescriptionDoesNotAskFor) {
    writeFile(installed("Cali-7-old.dat"), "");
    EXPECT_EQ(verified(), exited(1,
                                 data + ": same\nCali-7-old.dat: missing there\n" + description +
                                     ": same\n" + curve + ": same\n",
                                 ""));
}

TEST_F(CompanionVerify, IgnoresTheFilesOfCamerasWithALongerSerial) {
    support::writeSmallSet(cali, 78);
    support::writeSmallSet(usb, 79);
    EXPECT_EQ(verified(), exited(0, states("same", "same"), ""));
}

TEST_F(CompanionVerify, MentionsDifferentCopiesOfWhichOneIsTheSame) {
    writeFile(usb + "/old/" + data, "another one");
    EXPECT_EQ(verified(), exited(0, states("same", "same"),
                                 said("The stick holds different copies of " + data +
                                      "; the installed one is the same as one of them.")));
}

TEST_F(CompanionVerify, TakesNoDirectoryOnTheStickForAFile) {
    fs::remove(usb + "/7/" + data);
    fs::create_directory(usb + "/7/" + data);
    EXPECT_EQ(verified(), exited(1, states("missing there", "same"), ""));
}

TEST_F(CompanionVerify, TakesNoPipeOnTheStickForAFile) {
    fs::remove(usb + "/7/" + data);
    mkfifo((usb + "/7/" + data).c_str(), 0600);
    EXPECT_EQ(verified(), exited(1, states("missing there", "same"), ""));
}

TEST_F(CompanionVerify, FindsADirectoryInThePlaceOfAnInstalledFileDifferent) {
    fs::remove(installed(data));
    fs::create_directory(installed(data));
    EXPECT_EQ(verified(), exited(1, states("differs", "same"), ""));
}

TEST_F(CompanionVerify, FollowsALinkToTheStick) {
    fs::create_directory_symlink("usb", root.path() + "/link");
    EXPECT_EQ(seenOf({"verify", "7", "-s", "link", "-t", "cali"}),
              exited(0, states("same", "same"), ""));
}

TEST_F(CompanionVerify, ComparesWithTheTargetOfALinkOnTheStick) {
    fs::rename(usb + "/7/" + data, usb + "/7/blob");
    fs::create_symlink("blob", usb + "/7/" + data);
    EXPECT_EQ(verified(), exited(0, states("same", "same"), ""));
}

TEST_F(CompanionVerify, NamesAStickThatDoesNotExist) {
    EXPECT_EQ(seenOf({"verify", "7", "-s", "none", "-t", "cali"}),
              exited(3, "",
                     said("Cannot use the source directory none: No such file or"
                          " directory")));
}

TEST_F(CompanionVerify, NamesACalibrationDirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"verify", "7", "-s", "usb", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         said("hint: 'mkdir -p none' makes it; -t names another one.")));
}

TEST_F(CompanionVerify, NamesAStickThatMayNotBeRead) {
    support::inPrivateNamespaces([&] {
        fs::permissions(usb, fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(verified(),
                  exited(3, "", said("Cannot use the source directory usb: Permission denied")));
    });
}

TEST_F(CompanionVerify, DoesNotMindADirectoryThatMayNotBeSearchedWhenAllFilesAreFound) {
    support::inPrivateNamespaces([&] {
        fs::create_directory(usb + "/lost+found");
        fs::permissions(usb + "/lost+found", fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(verified(), exited(0, states("same", "same"), ""));
    });
}

TEST_F(CompanionVerify, NamesADirectoryThatMayNotBeSearchedWhenAFileMightBeInIt) {
    support::inPrivateNamespaces([&] {
        fs::permissions(usb + "/7", fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(verified(), exited(3, "", said("Cannot search usb/7: Permission denied")));
    });
}

TEST_F(CompanionVerify, NamesAnInstalledFileThatMayNotBeRead) {
    support::inPrivateNamespaces([&] {
        fs::permissions(installed(data), fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(verified(),
                  exited(3, "", said("Cannot read cali/" + data + ": Permission denied")));
    });
}

TEST_F(CompanionVerify, NamesAFileOfTheStickThatMayNotBeRead) {
    support::inPrivateNamespaces([&] {
        fs::permissions(usb + "/7/" + data, fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(verified(),
                  exited(3, "", said("Cannot read usb/7/" + data + ": Permission denied")));
    });
}

TEST_F(CompanionVerify, NamesAFileWhoseReadingFails) {
    writeFile(installed(data), "");
    fs::remove(usb + "/7/" + data);
    fs::create_symlink("/proc/self/mem", usb + "/7/" + data);
    EXPECT_EQ(verified(),
              exited(3, "", said("Cannot read usb/7/" + data + ": Input/output error")));
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
              "  ]\n"
              "}\n");
}

TEST_F(CompanionVerify, AnswersInJsonAlsoOnFailure) {
    EXPECT_EQ(jsonOf({"verify", "7", "-s", "none", "-t", "cali"}),
              "{\n"
              "  \"command\": \"verify\",\n"
              "  \"status\": 3,\n"
              "  \"error\": {\n"
              "    \"message\": \"Cannot use the source directory\",\n"
              "    \"path\": \"none\",\n"
              "    \"reason\": \"No such file or directory\",\n"
              "    \"hint\": null\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionVerify, ColoursTheStatesOnATerminal) {
    writeFile(installed(data), "other");
    fs::remove(installed(curve));
    EXPECT_EQ(onTerminal({}, "$program verify 7 -s usb -t cali"),
              data + ": \033[31mdiffers\033[0m\n" + description + ": \033[32msame\033[0m\n" +
                  curve + ": \033[33mmissing here\033[0m\n");
}

TEST_F(CompanionVerify, ShowsNoBytesOnATerminalThatAreNotUtf8) {
    writeFile(usb + "/Cali-7-\xE4.dat", "");
    EXPECT_EQ(onTerminal({}, "NO_COLOR=1 $program verify 7 -s usb -t cali").substr(28, 27),
              "Cali-7-?.dat: missing here\n");
}

TEST_F(CompanionVerify, ShowsNoControlCharactersOfAFileNameOnATerminal) {
    writeFile(usb + "/Cali-7-\033[2J\n.dat", "");
    EXPECT_EQ(onTerminal({}, "NO_COLOR=1 $program verify 7 -s usb -t cali"),
              "Cali-7-?[2J?.dat: missing here\nCali-7-23-M20-100.dat: same\n"
              "Cali-7.xml: same\nKennlinie-7-23-M20-100.prn: same\n");
}
