#include "tests/tool/companion/Companion.h"

#include "tests/support/Camera.h"
#include "tests/support/Namespace.h"

#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using companiontest::fetchHint;
using companiontest::said;
using support::exited;

using CompanionCheck = companiontest::Companion;

std::string const notComplete = "Not complete. ";

} // namespace

TEST_F(CompanionCheck, SaysNothingAboutACompleteSet) {
    install("14080045");
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}), exited(0, "", ""));
}

TEST_F(CompanionCheck, ListsEachMissingFileOnALineOfItsOwn) {
    install("15110023");
    EXPECT_EQ(seenOf({"check", "15110023", "-t", "cali"}),
              exited(1,
                     "Cali-15110023-30-0-250.dat\n"
                     "Kennlinie-15110023-30-150-900.prn\n",
                     said(notComplete + fetchHint("15110023"))));
}

TEST_F(CompanionCheck, ListsTheDescriptionOfAnEmptyDirectory) {
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
              exited(1, "Cali-14080045.xml\n", said(notComplete + fetchHint("14080045"))));
}

TEST_F(CompanionCheck, ListsTheDescriptionForAWrongSerial) {
    install("14080045");
    EXPECT_EQ(seenOf({"check", "1408004", "-t", "cali"}),
              exited(1, "Cali-1408004.xml\n", said(notComplete + fetchHint("1408004"))));
}

TEST_F(CompanionCheck, ListsAFileOnceThatTheDescriptionAsksForTwice) {
    auto const camera = support::camera(7).optic(23).range(0, 250).range(0, 250.5);
    support::writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).standardOutput,
              "Cali-7-23-0-250.dat\nKennlinie-7-23-0-250.prn\n");
}

TEST_F(CompanionCheck, ListsAFileWithSemicolonsInItsName) {
    auto const camera = support::camera(7).optic(23).text("a;;b").range(0, 250);
    support::writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).standardOutput,
              "Cali-7-23-a;;b-0-250.dat\nKennlinie-7-23-a;;b-0-250.prn\n");
}

TEST_F(CompanionCheck, TakesAPipeForAFileThatIsThere) {
    install("14080045");
    fs::remove(installed("Cali-14080045-23-0-250.dat"));
    ASSERT_EQ(mkfifo(installed("Cali-14080045-23-0-250.dat").c_str(), 0600), 0);
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}), exited(0, "", ""));
}

TEST_F(CompanionCheck, ListsASocketInThePlaceOfAFile) {
    install("14080045");
    fs::remove(installed("Cali-14080045-23-0-250.dat"));
    ASSERT_EQ(mknod(installed("Cali-14080045-23-0-250.dat").c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
              exited(1, "Cali-14080045-23-0-250.dat\n",
                     said("cali/Cali-14080045-23-0-250.dat is there, but cannot be read: No such"
                          " device or address.") +
                         said(notComplete + fetchHint("14080045"))));
}

TEST_F(CompanionCheck, LeavesAFileUnderAWriteLeaseAlone) {
    install("14080045");
    int const file = open(installed("Cali-14080045-23-0-250.dat").c_str(), O_RDWR | O_CLOEXEC);
    std::signal(SIGIO, SIG_IGN); // sent to the holder when somebody opens the file
    ASSERT_EQ(fcntl(file, F_SETLEASE, F_WRLCK), 0);
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}), exited(0, "", ""));
    EXPECT_EQ(fcntl(file, F_GETLEASE), F_WRLCK);
    close(file);
}

TEST_F(CompanionCheck, ListsALinkThatLeadsNowhere) {
    install("14080045");
    fs::remove(installed("Cali-14080045-23-0-250.dat"));
    fs::create_symlink("nowhere", installed("Cali-14080045-23-0-250.dat"));
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
              exited(1, "Cali-14080045-23-0-250.dat\n", said(notComplete + fetchHint("14080045"))));
}

TEST_F(CompanionCheck, FindsAFileThatMayBeReadAlthoughItsModeSaysOtherwise) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(installed("Cali-14080045-23-0-250.dat"), fs::perms::group_read);
        EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}), exited(0, "", ""));
    });
}

TEST_F(CompanionCheck, TakesTheSerialNumberWithLeadingZerosAsDecimal) {
    EXPECT_EQ(ask({"check", "0010", "-t", "cali"}).standardOutput, "Cali-10.xml\n");
}

TEST_F(CompanionCheck, ChangesNothingInTheDirectory) {
    install("15110023");
    auto const before = support::tree(cali);
    ask({"check", "15110023", "-t", "cali"});
    EXPECT_EQ(support::tree(cali), before);
}

TEST_F(CompanionCheck, TakesTheRootDirectoryAsItIs) {
    EXPECT_EQ(ask({"check", "14080045", "-t", "/"}).standardOutput, "Cali-14080045.xml\n");
}

TEST_F(CompanionCheck, NamesADirectoryThatDoesNotExist) {
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "none"}),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         said("hint: 'mkdir -p none' makes it; -t names another one.")));
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
                             said("hint: 'mkdir -p /usr/share/libzentho/cali' makes it; -t names"
                                  " another one.")));
    });
}

TEST_F(CompanionCheck, NamesADirectoryThatMayNotBeListed) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(cali, fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
                  exited(3, "",
                         said("Cannot use the calibration directory cali: Permission"
                              " denied")));
    });
}

TEST_F(CompanionCheck, NamesADirectoryThatMayNotBeEntered) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(cali, fs::perms::owner_read);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
                  exited(3, "",
                         said("Cannot use the calibration directory cali: Permission"
                              " denied")));
    });
}

TEST_F(CompanionCheck, NamesAFileInThePlaceOfTheDirectory) {
    support::writeFile(root.path() + "/file", "");
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "file"}),
              exited(3, "", said("Cannot use the calibration directory file: Not a directory")));
}

TEST_F(CompanionCheck, NamesALinkThatLeadsToItself) {
    fs::create_symlink("loop", root.path() + "/loop");
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "loop"}),
              exited(3, "",
                     said("Cannot use the calibration directory loop: Too many levels of symbolic"
                          " links")));
}

TEST_F(CompanionCheck, RefusesADirectoryThatTheLibraryWouldCut) {
    std::string const deep = std::string(200, 'a') + "/" + std::string(60, 'b');
    fs::create_directories(root.path() + "/" + deep);
    EXPECT_EQ(
        seenOf({"check", "14080045", "-t", deep}),
        exited(3, "",
               said("Cannot use the calibration directory " + deep + ": File name too long")));
}

TEST_F(CompanionCheck, SaysThatAMissingFileIsThereButMayNotBeRead) {
    install("14080045");
    support::inPrivateNamespaces([&] {
        fs::permissions(installed("Cali-14080045-23-0-250.dat"), fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
                  exited(1, "Cali-14080045-23-0-250.dat\n",
                         said("cali/Cali-14080045-23-0-250.dat is there, but cannot be read:"
                              " Permission denied.") +
                             said(notComplete + fetchHint("14080045"))));
    });
}

TEST_F(CompanionCheck, SaysThatADescriptionIsThereButCannotBeUnderstood) {
    support::writeFile(installed("Cali-7.xml"), "<CaliData>\n<!-- without an end\n</CaliData>\n");
    EXPECT_EQ(seenOf({"check", "7", "-t", "cali"}),
              exited(1, "Cali-7.xml\n",
                     said("cali/Cali-7.xml is there, but cannot be read as a description; -v tells"
                          " why.") +
                         said(notComplete + fetchHint("7"))));
}

TEST_F(CompanionCheck, WarnsOfADescriptionWithoutOptics) {
    support::writeFile(installed("Cali-7.xml"), "<CaliData>\n</CaliData>\n");
    EXPECT_EQ(seenOf({"check", "7", "-t", "cali"}),
              exited(0, "",
                     said("The description cali/Cali-7.xml names no optic, so it asks for no"
                          " files.")));
}

TEST_F(CompanionCheck, WarnsOfAnEmptyFile) {
    install("14080045");
    support::writeFile(installed("Kennlinie-14080045-23-0-250.prn"), "");
    EXPECT_EQ(seenOf({"check", "14080045", "-t", "cali"}),
              exited(0, "",
                     said("cali/Kennlinie-14080045-23-0-250.prn is empty, which counts as"
                          " there.")));
}

TEST_F(CompanionCheck, AnswersInJsonForACompleteSet) {
    install("14080045");
    EXPECT_EQ(jsonOf({"check", "14080045", "-t", "cali"}), "{\n"
                                                           "  \"command\": \"check\",\n"
                                                           "  \"status\": 0,\n"
                                                           "  \"serial\": 14080045,\n"
                                                           "  \"directory\": \"cali\",\n"
                                                           "  \"complete\": true,\n"
                                                           "  \"missing\": []\n"
                                                           "}\n");
}

TEST_F(CompanionCheck, AnswersInJsonForMissingFiles) {
    install("15110023");
    EXPECT_EQ(jsonOf({"check", "15110023", "-t", "cali"}),
              "{\n"
              "  \"command\": \"check\",\n"
              "  \"status\": 1,\n"
              "  \"serial\": 15110023,\n"
              "  \"directory\": \"cali\",\n"
              "  \"complete\": false,\n"
              "  \"missing\": [\n"
              "    \"Cali-15110023-30-0-250.dat\",\n"
              "    \"Kennlinie-15110023-30-150-900.prn\"\n"
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
              "    \"hint\": \"'mkdir -p none' makes it; -t names another one.\"\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionCheck, ReplacesBytesInJsonThatAreNotUtf8) {
    auto const camera = support::camera(7).optic(23).text("\xE4").range(0, 250);
    support::writeFile(installed("Cali-7.xml"), camera.description());
    EXPECT_NE(jsonOf({"check", "7", "-t", "cali"}).find("\"Cali-7-23-\xEF\xBF\xBD-0-250.dat\""),
              std::string::npos);
}

TEST_F(CompanionCheck, AnswersInJsonWithNamesThatDifferInBytesThatAreNotUtf8) {
    auto const camera =
        support::camera(7).optic(23).text("\xE4").range(0, 250).optic(23).text("\xF6").range(0,
                                                                                             250);
    support::writeFile(installed("Cali-7.xml"), camera.description());
    auto const answer = jsonOf({"check", "7", "-t", "cali"});
    std::string const name = "\"Cali-7-23-\xEF\xBF\xBD-0-250.dat\"";
    EXPECT_NE(answer.find(name), answer.rfind(name));
}

TEST_F(CompanionCheck, ExitsInJsonWithTheStatusThatTheAnswerNames) {
    EXPECT_EQ(ask({"check", "14080045", "-t", "none", "--json"}).exitStatus, 3);
}
