#include "tests/tool/companion/Companion.h"

#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/UsbTree.h"

#include <filesystem>
#include <functional>

namespace {

namespace fs = std::filesystem;

using companiontest::makeHint;
using companiontest::said;
using companiontest::stick;
using support::exited;

class CompanionList : public companiontest::Companion {
protected:
    /// Runs the body with camera 7 attached.
    static void onBus(std::function<void()> const& body) {
        support::inPrivateNamespaces([&] {
            support::emptyUsbTree();
            support::attach("1-1", support::camera("7\n"));
            body();
        });
    }

    std::string const sizeOfSet =
        std::to_string(support::smallDescription().size() + support::dataName(7).size() +
                       support::curveName(7).size());
};

} // namespace

TEST_F(CompanionList, ShowsTheInstalledCameras) {
    onBus([&] {
        support::writeSmallSet(cali, 7);
        support::writeSmallSet(cali, 8);
        fs::remove(installed(support::curveName(8)));
        EXPECT_EQ(seenOf({"list", "-t", "cali"}),
                  exited(0,
                         "SERIAL  COMPLETE       FILES  BYTES  DATE  ATTACHED  OPTICS\n"
                         "7       yes            3      " +
                             sizeOfSet +
                             "    -     yes       23\n"
                             "8       no: 1 missing  2      " +
                             std::to_string(std::stoul(sizeOfSet) - support::curveName(8).size()) +
                             "    -     no        23\n",
                         ""));
    });
}

TEST_F(CompanionList, ShowsWhenASetWasInstalled) {
    installSafely("14080045");
    auto const seen = ask({"list", "-t", "cali"}).standardOutput;
    EXPECT_NE(seen.find("Z  "), std::string::npos) << seen;
}

TEST_F(CompanionList, SaysThatNothingIsInstalled) {
    EXPECT_EQ(seenOf({"list", "-t", "cali"}),
              exited(0, "", said("No camera's set is installed in cali.")));
}

TEST_F(CompanionList, SaysThatAStickHoldsNothing) {
    EXPECT_EQ(seenOf({"list", "-s", "cali"}),
              exited(0, "", said("cali holds no camera's description.")));
}

TEST_F(CompanionList, ShowsTheCamerasOnAStick) {
    onBus([&] {
        EXPECT_EQ(seenOf({"list", "-s", stick}),
                  exited(0,
                         "SERIAL     COMPLETE       FILES  BYTES  DATE  ATTACHED  OPTICS\n"
                         "14080045   yes            11     7753   -     no        23, 54 Macro\n"
                         "15110023   no: 2 missing  5      3309   -     no        30\n"
                         "140800451  yes            3      1797   -     no        33\n",
                         ""));
    });
}

TEST_F(CompanionList, CountsEqualCopiesOnAStickOnce) {
    onBus([&] {
        support::writeSmallSet(cali, 7);
        support::writeSmallSet(cali + "/copy", 7);
        EXPECT_EQ(seenOf({"list", "-s", "cali"}),
                  exited(0,
                         "SERIAL  COMPLETE  FILES  BYTES  DATE  ATTACHED  OPTICS\n"
                         "7       yes       3      " +
                             sizeOfSet + "    -     yes       23\n",
                         ""));
    });
}

TEST_F(CompanionList, SaysThatAPartOfAStickCannotBeSearched) {
    support::writeSmallSet(cali, 7);
    fs::create_directory(cali + "/locked");
    support::inPrivateNamespaces([&] {
        fs::permissions(cali + "/locked", fs::perms::none);
        support::giveUpPrivileges();
        std::string const why = "Cannot be searched: cali/locked: Permission denied";
        auto const outcome = ask({"list", "-s", "cali"});
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(outcome.standardError, said(why));
        auto const answer = jsonOf({"list", "-s", "cali"});
        EXPECT_NE(answer.find("\"message\": \"" + why + "\""), std::string::npos) << answer;
    });
}

TEST_F(CompanionList, FailsWhereTheCamerasOfAStickMayBeInAFolderThatCannotBeSearched) {
    fs::create_directory(cali + "/locked");
    support::inPrivateNamespaces([&] {
        fs::permissions(cali + "/locked", fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"list", "-s", "cali"}),
                  exited(3, "", said("Cannot search cali/locked: Permission denied")));
    });
}

TEST_F(CompanionList, ShowsAQuestionMarkWhereTheSystemNamesNoDevices) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/sys");
        support::writeSmallSet(cali, 7);
        auto const seen = ask({"list", "-t", "cali"}).standardOutput;
        EXPECT_NE(seen.find("  ?         23\n"), std::string::npos) << seen;
    });
}

TEST_F(CompanionList, NamesADirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"list", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none")));
}

TEST_F(CompanionList, AnswersInJson) {
    onBus([&] {
        support::writeSmallSet(cali, 7);
        EXPECT_EQ(jsonOf({"list", "-t", "cali"}), "{\n"
                                                  "  \"command\": \"list\",\n"
                                                  "  \"status\": 0,\n"
                                                  "  \"directory\": \"cali\",\n"
                                                  "  \"source\": null,\n"
                                                  "  \"problems\": [],\n"
                                                  "  \"cameras\": [\n"
                                                  "    {\n"
                                                  "      \"serial\": 7,\n"
                                                  "      \"complete\": true,\n"
                                                  "      \"problems\": [],\n"
                                                  "      \"optics\": [\n"
                                                  "        {\n"
                                                  "          \"fieldOfView\": 23,\n"
                                                  "          \"text\": \"\"\n"
                                                  "        }\n"
                                                  "      ],\n"
                                                  "      \"files\": 3,\n"
                                                  "      \"bytes\": " +
                                                      sizeOfSet +
                                                      ",\n"
                                                      "      \"date\": null,\n"
                                                      "      \"attached\": true\n"
                                                      "    }\n"
                                                      "  ]\n"
                                                      "}\n");
    });
}

TEST_F(CompanionList, AnswersInJsonWithNothing) {
    EXPECT_EQ(jsonOf({"list", "-s", "cali"}), "{\n"
                                              "  \"command\": \"list\",\n"
                                              "  \"status\": 0,\n"
                                              "  \"directory\": null,\n"
                                              "  \"source\": \"cali\",\n"
                                              "  \"problems\": [],\n"
                                              "  \"cameras\": []\n"
                                              "}\n");
}
