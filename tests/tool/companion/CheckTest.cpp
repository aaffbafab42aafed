#include "tests/tool/companion/Companion.h"

#include "tests/support/Camera.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"

#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using companiontest::fetchHint;
using companiontest::hinted;
using companiontest::makeHint;
using companiontest::said;
using support::exited;
using support::writeFile;

std::string const someFile = "Cali-14080045-23-0-250.dat";

std::string notComplete(std::string const& serial, std::string const& counts) {
    return said("Camera " + serial + " is not complete: " + counts + ".");
}

class CompanionCheck : public companiontest::Companion {
protected:
    std::string checked(std::string const& serial) const {
        return seenOf({"check", serial, "-t", "cali"});
    }
};

} // namespace

TEST_F(CompanionCheck, SaysNothingAboutACompleteSet) {
    install("14080045");
    EXPECT_EQ(checked("14080045"), exited(0, "", ""));
}

TEST_F(CompanionCheck, SaysOnATerminalThatASetIsComplete) {
    install("14080045");
    EXPECT_EQ(onTerminal({"NO_COLOR=1"}, "$program check 14080045 -t cali"),
              "Camera 14080045: complete\n");
}

TEST_F(CompanionCheck, ListsEachMissingFileOnALineOfItsOwn) {
    install("15110023");
    EXPECT_EQ(checked("15110023"),
              exited(1,
                     "Cali-15110023-30-0-250.dat: missing\n"
                     "Kennlinie-15110023-30-150-900.prn: missing\n",
                     notComplete("15110023", "2 missing") + fetchHint("15110023")));
}

TEST_F(CompanionCheck, ListsTheDescriptionOfAnEmptyDirectory) {
    EXPECT_EQ(checked("14080045"),
              exited(1, "Cali-14080045.xml: missing\n",
                     notComplete("14080045", "1 missing") + fetchHint("14080045")));
}

TEST_F(CompanionCheck, ListsTheDescriptionForAWrongSerial) {
    install("14080045");
    EXPECT_EQ(checked("1408004"),
              exited(1, "Cali-1408004.xml: missing\n",
                     notComplete("1408004", "1 missing") + fetchHint("1408004")));
}

TEST_F(CompanionCheck, ListsAFileOnceThatTheDescriptionAsksForTwice) {
    auto const camera = support::camera(7).optic(23).range(0, 250).range(0, 250.5);
    writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).standardOutput,
              "Cali-7-23-0-250.dat: missing\nKennlinie-7-23-0-250.prn: missing\n");
}

TEST_F(CompanionCheck, ListsAFileWithSemicolonsInItsName) {
    auto const camera = support::camera(7).optic(23).text("a;;b").range(0, 250);
    writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).standardOutput,
              "Cali-7-23-a;;b-0-250.dat: missing\nKennlinie-7-23-a;;b-0-250.prn: missing\n");
}

TEST_F(CompanionCheck, TakesAPipeForAFileThatCannotBeRead) {
    install("14080045");
    fs::remove(installed(someFile));
    ASSERT_EQ(mkfifo(installed(someFile).c_str(), 0600), 0);
    EXPECT_EQ(checked("14080045"),
              exited(1, someFile + ": unreadable\n",
                     said(someFile + ": It is no file.") + notComplete("14080045", "1 unreadable") +
                         fetchHint("14080045")));
}

TEST_F(CompanionCheck, FindsAnEmptyFile) {
    install("14080045");
    writeFile(installed(someFile), "");
    EXPECT_EQ(checked("14080045"),
              exited(1, someFile + ": empty\n",
                     notComplete("14080045", "1 empty") + fetchHint("14080045")));
}

TEST_F(CompanionCheck, FindsAFileOfAnotherSizeThanRecorded) {
    installSafely("14080045");
    writeFile(installed(someFile), "other");
    EXPECT_EQ(checked("14080045"),
              exited(1, someFile + ": altered\n",
                     said(someFile + ": It has 5 bytes instead of 351.") +
                         notComplete("14080045", "1 altered") + fetchHint("14080045")));
}

TEST_F(CompanionCheck, LeavesAFileUnderAWriteLeaseAlone) {
    install("14080045");
    int const file = open(installed(someFile).c_str(), O_RDWR | O_CLOEXEC);
    std::signal(SIGIO, SIG_IGN); // sent to the holder when somebody opens the file
    ASSERT_EQ(fcntl(file, F_SETLEASE, F_WRLCK), 0);
    EXPECT_EQ(checked("14080045"), exited(0, "", ""));
    EXPECT_EQ(fcntl(file, F_GETLEASE), F_WRLCK);
    close(file);
}

TEST_F(CompanionCheck, ListsALinkThatLeadsNowhere) {
    install("14080045");
    fs::remove(installed(someFile));
    fs::create_symlink("nowhere", installed(someFile));
    EXPECT_EQ(ask({"check", "14080045", "-t", "cali"}).standardOutput, someFile + ": missing\n");
}

TEST_F(CompanionCheck, FindsAFileThatMayBeReadAlthoughItsModeSaysOtherwise) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(installed(someFile), fs::perms::group_read);
        EXPECT_EQ(checked("14080045"), exited(0, "", ""));
    });
}

TEST_F(CompanionCheck, TakesTheSerialNumberWithLeadingZerosAsDecimal) {
    EXPECT_EQ(ask({"check", "0010", "-t", "cali"}).standardOutput, "Cali-10.xml: missing\n");
}

TEST_F(CompanionCheck, ChangesNothingInTheDirectory) {
    install("15110023");
    auto const before = support::tree(cali);
    ask({"check", "15110023", "-t", "cali"});
    EXPECT_EQ(support::tree(cali), before);
}

TEST_F(CompanionCheck, TakesTheRootDirectoryAsItIs) {
    EXPECT_EQ(ask({"check", "14080045", "-t", "/"}).standardOutput, "Cali-14080045.xml: missing\n");
}

TEST_F(CompanionCheck, NamesADirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none")));
}

TEST_F(CompanionCheck, GivesAHintThatAShellTakesAsItIs) {
    EXPECT_EQ(seenOf({"check", "-t", "it's a $HOME"}),
              exited(3, "",
                     said("Cannot use the calibration directory it's a $HOME: No such file or"
                          " directory") +
                         makeHint("'it'\\''s a $HOME'")));
}

TEST_F(CompanionCheck, GivesAHintThatTakesADirectoryForNoOption) {
    EXPECT_EQ(seenOf({"check", "-t", "-cali"}),
              exited(3, "",
                     said("Cannot use the calibration directory -cali: No such file or directory") +
                         makeHint("-- -cali")));
}

TEST_F(CompanionCheck, EscapesControlCharactersOfAPath) {
    EXPECT_EQ(seenOf({"check", "-t", "a\n\033b"}),
              exited(3, "",
                     said("Cannot use the calibration directory a\\n\\x1bb: No such file or"
                          " directory") +
                         makeHint("$'a\\012\\033b'")));
}

TEST_F(CompanionCheck, MakesNoDirectoryThatDoesNotExist) {
    ask({"check", "14080045", "-t", "none"});
    EXPECT_FALSE(fs::exists(root.path() + "/none"));
}

TEST_F(CompanionCheck, NamesTheDefaultDirectoryWhenThatDoesNotExist) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/usr/share");
        EXPECT_EQ(seenOf({"check", "14080045"}),
                  exited(3, "",
                         said("Cannot use the calibration directory /usr/share/libzentho/cali:"
                              " No such file or directory") +
                             makeHint("/usr/share/libzentho/cali")));
    });
}

TEST_F(CompanionCheck, NamesADirectoryThatMayNotBeListed) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(cali, fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(checked("14080045"),
                  exited(3, "",
                         said("Cannot use the calibration directory cali: Permission"
                              " denied")));
    });
}

TEST_F(CompanionCheck, NamesAFileInThePlaceOfTheDirectory) {
    writeFile(root.path() + "/file", "");
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "file"}),
              exited(3, "", said("Cannot use the calibration directory file: Not a directory")));
}

TEST_F(CompanionCheck, TakesADirectoryThatTheInstallerWouldCut) {
    std::string const deep = std::string(200, 'a') + "/" + std::string(200, 'b');
    fs::create_directories(root.path() + "/" + deep);
    EXPECT_EQ(ask({"check", "14080045", "-t", deep}).standardOutput,
              "Cali-14080045.xml: missing\n");
}

TEST_F(CompanionCheck, NamesAFileThatMayNotBeRead) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(installed(someFile), fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(ask({"check", "14080045", "-t", "cali"}).standardOutput,
                  someFile + ": unreadable\n");
    });
}

TEST_F(CompanionCheck, SaysWhatIsWrongWithADescription) {
    writeFile(installed("Cali-7.xml"), "<CaliData>\n<!-- without an end\n</CaliData>\n");
    EXPECT_EQ(checked("7"), exited(1, "Cali-7.xml: unreadable\n",
                                   said("Cali-7.xml: Its comments do not pair up.") +
                                       notComplete("7", "1 unreadable") + fetchHint("7")));
}

TEST_F(CompanionCheck, FindsADescriptionWithoutOpticsUnreadable) {
    writeFile(installed("Cali-7.xml"), "<CaliData>\n</CaliData>\n");
    EXPECT_EQ(checked("7"), exited(1, "Cali-7.xml: unreadable\n",
                                   said("Cali-7.xml: It names no optic.") +
                                       notComplete("7", "1 unreadable") + fetchHint("7")));
}

TEST_F(CompanionCheck, NamesAnInterruptedChangeAndWhatCompletesIt) {
    installSafely("14080045");
    writeFile(installed(".zentho-cali/14080045.journal"), "");
    EXPECT_EQ(checked("14080045"), exited(1, "Cali-14080045.xml: interrupted\n",
                                          notComplete("14080045", "1 interrupted") +
                                              hinted("This completes what was interrupted:",
                                                     {"zentho-cali recover -t cali"})));
}

TEST_F(CompanionCheck, TakesAllInstalledCamerasWithoutASerialNumber) {
    support::writeSmallSet(cali, 7);
    support::writeSmallSet(cali, 78);
    fs::remove(installed(support::curveName(78)));
    EXPECT_EQ(seenOf({"check", "-t", "cali"}),
              exited(1, support::curveName(78) + ": missing\n",
                     notComplete("78", "1 missing") + fetchHint("78")));
}

TEST_F(CompanionCheck, SaysThatNothingIsInstalled) {
    EXPECT_EQ(seenOf({"check", "-t", "cali"}),
              exited(0, "", said("No camera's set is installed in cali.")));
}

TEST_F(CompanionCheck, HintsAtRootToAnOrdinaryUserWhoCannotMakeTheDirectory) {
    EXPECT_EQ(seenOfOrdinaryUser("check 7 -t none/cali"),
              exited(3, "",
                     said("Cannot use the calibration directory none/cali: No such file or"
                          " directory") +
                         hinted("-t names another directory; this makes it:",
                                {"sudo mkdir -p none/cali"})));
}

TEST_F(CompanionCheck, HintsAtRootToAnOrdinaryUserWhoCannotInstall) {
    EXPECT_EQ(
        seenOfOrdinaryUser("check 7 -t cali"),
        exited(1, "Cali-7.xml: missing\n",
               notComplete("7", "1 missing") + hinted("From a stick, or from the maker's server:",
                                                      {"sudo zentho-cali install 7 -t cali",
                                                       "sudo zentho-cali download 7 -t cali"})));
}

TEST_F(CompanionCheck, HintsAtRootToAnOrdinaryUserWhoMayNotReadAFile) {
    install("14080045");
    fs::permissions(installed(someFile), fs::perms::none);
    EXPECT_EQ(seenOfOrdinaryUser("check 14080045 -t cali"),
              exited(1, someFile + ": unreadable\n",
                     said(someFile + ": Permission denied") +
                         notComplete("14080045", "1 unreadable") +
                         hinted("Root may do this:", {"sudo zentho-cali check 14080045 -t cali"})));
}

TEST_F(CompanionCheck, AnswersInJsonForACompleteSet) {
    install("14080045");
    EXPECT_EQ(jsonOf({"check", "14080045", "-t", "cali"}), "{\n"
                                                           "  \"command\": \"check\",\n"
                                                           "  \"status\": 0,\n"
                                                           "  \"serial\": 14080045,\n"
                                                           "  \"directory\": \"cali\",\n"
                                                           "  \"complete\": true,\n"
                                                           "  \"problems\": []\n"
                                                           "}\n");
}

TEST_F(CompanionCheck, AnswersInJsonForProblems) {
    support::writeSmallSet(cali, 7);
    fs::remove(installed(support::curveName(7)));
    fs::remove(installed(support::dataName(7)));
    fs::create_directory(installed(support::dataName(7)));
    EXPECT_EQ(jsonOf({"check", "7", "-t", "cali"}),
              "{\n"
              "  \"command\": \"check\",\n"
              "  \"status\": 1,\n"
              "  \"serial\": 7,\n"
              "  \"directory\": \"cali\",\n"
              "  \"complete\": false,\n"
              "  \"problems\": [\n"
              "    {\n"
              "      \"name\": \"Cali-7-23-M20-100.dat\",\n"
              "      \"state\": \"unreadable\",\n"
              "      \"path\": \"cali/Cali-7-23-M20-100.dat\",\n"
              "      \"message\": \"It is no file.\"\n"
              "    },\n"
              "    {\n"
              "      \"name\": \"Kennlinie-7-23-M20-100.prn\",\n"
              "      \"state\": \"missing\",\n"
              "      \"path\": \"cali/Kennlinie-7-23-M20-100.prn\",\n"
              "      \"message\": \"missing\"\n"
              "    }\n"
              "  ]\n"
              "}\n");
}

TEST_F(CompanionCheck, AnswersInJsonForAllInstalledCameras) {
    support::writeSmallSet(cali, 7);
    EXPECT_EQ(jsonOf({"check", "-t", "cali"}), "{\n"
                                               "  \"command\": \"check\",\n"
                                               "  \"status\": 0,\n"
                                               "  \"directory\": \"cali\",\n"
                                               "  \"cameras\": [\n"
                                               "    {\n"
                                               "      \"serial\": 7,\n"
                                               "      \"complete\": true,\n"
                                               "      \"problems\": []\n"
                                               "    }\n"
                                               "  ]\n"
                                               "}\n");
}

TEST_F(CompanionCheck, AnswersInJsonAlsoOnFailure) {
    EXPECT_EQ(jsonOf({"check", "14080045", "-t", "none"}),
              "{\n"
              "  \"command\": \"check\",\n"
              "  \"status\": 3,\n"
              "  \"error\": {\n"
              "    \"message\": \"Cannot use the calibration directory\",\n"
              "    \"path\": \"none\",\n"
              "    \"reason\": \"No such file or directory\",\n"
              "    \"hint\": \"-t names another directory; this makes it:\\nmkdir -p none\"\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionCheck, ReplacesBytesInJsonThatAreNotUtf8) {
    auto const camera = support::camera(7).optic(23).text("\xE4").range(0, 250);
    writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_NE(jsonOf({"check", "7", "-t", "cali"}).find("\"Cali-7-23-\xEF\xBF\xBD-0-250.dat\""),
              std::string::npos);
}

TEST_F(CompanionCheck, ExitsInJsonWithTheStatusThatTheAnswerNames) {
    EXPECT_EQ(ask({"check", "14080045", "-t", "none", "--json"}).exitStatus, 3);
}
