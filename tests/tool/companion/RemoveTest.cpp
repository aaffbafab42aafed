#include "tests/tool/companion/Companion.h"

#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

using companiontest::makeHint;
using companiontest::said;
using support::exited;

std::string const removed = "Cali-7-23-M20-100.dat: removed\n"
                            "Cali-7.xml: removed\n"
                            "Kennlinie-7-23-M20-100.prn: removed\n";

// Camera 7 and one whose serial number begins with it are installed.
class CompanionRemove : public companiontest::Companion {
protected:
    CompanionRemove() {
        for (unsigned long const serial : {7UL, 78UL}) {
            support::writeSmallSet(root.path() + "/usb", serial);
            EXPECT_EQ(
                ask({"install", std::to_string(serial), "-s", "usb", "-t", "cali"}).exitStatus, 0);
        }
    }
};

} // namespace

TEST_F(CompanionRemove, TakesExactlyOneCamerasFilesOut) {
    EXPECT_EQ(seenOf({"remove", "7", "-t", "cali"}),
              exited(0, removed, said("Camera 7 is removed: 3 removed.")));
    EXPECT_EQ(seenOf({"check", "-t", "cali"}), exited(0, "", ""));
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).exitStatus, 1);
    EXPECT_EQ(ask({"verify", "78", "-t", "cali"}).exitStatus, 0);
}

TEST_F(CompanionRemove, SaysThatThereIsNothing) {
    EXPECT_EQ(seenOf({"remove", "8", "-t", "cali"}),
              exited(1, "", said("There is nothing of camera 8 in cali.")));
}

TEST_F(CompanionRemove, SaysWhatItWouldDo) {
    auto const before = support::tree(cali);
    EXPECT_EQ(seenOf({"remove", "7", "-t", "cali", "--dry-run"}),
              exited(0, removed, said("Camera 7 would be removed: 3 removed.")));
    EXPECT_EQ(support::tree(cali), before);
}

TEST_F(CompanionRemove, NamesADirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"remove", "7", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none")));
    EXPECT_FALSE(fs::exists(root.path() + "/none"));
}

TEST_F(CompanionRemove, AnswersInJson) {
    EXPECT_EQ(jsonOf({"remove", "7", "-t", "cali"}),
              "{\n"
              "  \"command\": \"remove\",\n"
              "  \"status\": 0,\n"
              "  \"serial\": 7,\n"
              "  \"directory\": \"cali\",\n"
              "  \"changed\": true,\n"
              "  \"files\": [\n"
              "    {\n"
              "      \"name\": \"Cali-7-23-M20-100.dat\",\n"
              "      \"state\": \"removed\"\n"
              "    },\n"
              "    {\n"
              "      \"name\": \"Cali-7.xml\",\n"
              "      \"state\": \"removed\"\n"
              "    },\n"
              "    {\n"
              "      \"name\": \"Kennlinie-7-23-M20-100.prn\",\n"
              "      \"state\": \"removed\"\n"
              "    }\n"
              "  ],\n"
              "  \"problems\": []\n"
              "}\n");
}

TEST_F(CompanionRemove, AnswersInJsonThatThereIsNothing) {
    EXPECT_EQ(jsonOf({"remove", "8", "-t", "cali"}),
              "{\n"
              "  \"command\": \"remove\",\n"
              "  \"status\": 1,\n"
              "  \"serial\": 8,\n"
              "  \"directory\": \"cali\",\n"
              "  \"changed\": false,\n"
              "  \"files\": [],\n"
              "  \"problems\": [\n"
              "    {\n"
              "      \"name\": null,\n"
              "      \"state\": null,\n"
              "      \"path\": \"cali\",\n"
              "      \"message\": \"There is nothing of camera 8 in cali.\"\n"
              "    }\n"
              "  ]\n"
              "}\n");
}

TEST_F(CompanionRemove, AnswersInJsonAlsoOnFailure) {
    auto const answer = jsonOf({"remove", "7", "-t", "none"});
    EXPECT_NE(answer.find("  \"changed\": false,\n  \"files\": [],\n"), std::string::npos)
        << answer;
    EXPECT_NE(answer.find("  \"error\": {\n"), std::string::npos) << answer;
}

TEST_F(CompanionRemove, RefusesAFolderInAFilesPlace) {
    fs::create_directory(cali + "/Cali-7-folder.dat");
    auto const outcome = ask({"remove", "7", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_NE(
        outcome.standardError.find("A folder stands in a file's place: cali/Cali-7-folder.dat"),
        std::string::npos)
        << outcome.standardError;
}
