// Completing what was interrupted. The interruptions are real: the system kills the program when it
// is about to move a file.
#include "tests/tool/companion/Companion.h"

#include "tests/support/SmallSet.h"

#include <csignal>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using companiontest::curve;
using companiontest::data;
using companiontest::description;
using companiontest::hinted;
using companiontest::said;
using support::exited;

class CompanionRecover : public companiontest::Companion {
protected:
    CompanionRecover() { support::writeSmallSet(usb, 7); }

    /// Installs camera 7, but is killed when it is about to move a file for this time; the journal
    /// is the first. Then the source is gone.
    void interruptAt(int move) const {
        auto const outcome = support::run(
            {"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-o", "/dev/null", "-e",
             "inject=renameat:signal=KILL:when=" + std::to_string(move), companiontest::program,
             "install", "7", "-s", "usb", "-t", "cali"},
            root.path());
        EXPECT_EQ(outcome.signal, SIGKILL) << outcome.standardError;
        fs::remove_all(usb);
    }

    std::string const usb = root.path() + "/usb";
};

} // namespace

TEST_F(CompanionRecover, SaysThatNothingWasInterrupted) {
    EXPECT_EQ(seenOf({"recover", "-t", "cali"}), exited(0, "", said("Nothing was interrupted.")));
    EXPECT_EQ(support::tree(cali), support::Tree{});
}

TEST_F(CompanionRecover, CompletesAnInstallationWithoutItsSource) {
    interruptAt(3);
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).standardOutput, description + ": interrupted\n");
    EXPECT_EQ(
        seenOf({"recover", "-t", "cali"}),
        exited(0, data + ": installed\n" + description + ": installed\n" + curve + ": installed\n",
               said("What was interrupted for camera 7 is completed.")));
    EXPECT_EQ(ask({"verify", "7", "-t", "cali"}).exitStatus, 0);
}

TEST_F(CompanionRecover, CleansUpWhatAKilledProcessStaged) {
    interruptAt(1);
    EXPECT_EQ(seenOf({"recover", "-t", "cali"}),
              exited(0, "", said("What a process that ended had staged is removed.")));
    EXPECT_EQ(support::tree(cali), support::Tree{});
}

TEST_F(CompanionRecover, SaysThatStagedFilesAreLost) {
    interruptAt(2);
    for (auto const& entry : fs::recursive_directory_iterator(cali)) {
        if (entry.is_regular_file() && entry.path().filename() == "1")
            support::writeFile(entry.path(), "torn");
    }
    auto const outcome = ask({"recover", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_NE(outcome.standardError.find("cannot be completed"), std::string::npos)
        << outcome.standardError;
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).exitStatus, 1);
}

TEST_F(CompanionRecover, IsDoneByTheNextInstallation) {
    interruptAt(3);
    support::writeSmallSet(usb, 8);
    auto const outcome = ask({"install", "8", "-s", "usb", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
    EXPECT_EQ(ask({"check", "-t", "cali"}).exitStatus, 0);
}

TEST_F(CompanionRecover, AnswersInJson) {
    interruptAt(3);
    auto const answer = jsonOf({"recover", "-t", "cali"});
    std::string const start = "{\n"
                              "  \"command\": \"recover\",\n"
                              "  \"status\": 0,\n"
                              "  \"directory\": \"cali\",\n"
                              "  \"changed\": true,\n"
                              "  \"problems\": [],\n"
                              "  \"cameras\": [\n"
                              "    {\n"
                              "      \"serial\": 7,\n"
                              "      \"complete\": true,\n";
    EXPECT_EQ(answer.substr(0, start.size()), start);
}

TEST_F(CompanionRecover, AnswersInJsonWithNothing) {
    EXPECT_EQ(jsonOf({"recover", "-t", "cali"}), "{\n"
                                                 "  \"command\": \"recover\",\n"
                                                 "  \"status\": 0,\n"
                                                 "  \"directory\": \"cali\",\n"
                                                 "  \"changed\": false,\n"
                                                 "  \"problems\": [],\n"
                                                 "  \"cameras\": []\n"
                                                 "}\n");
}

TEST_F(CompanionRecover, SaysInJsonWhatItCleansUp) {
    interruptAt(1);
    auto const answer = jsonOf({"recover", "-t", "cali"});
    EXPECT_NE(answer.find("\"message\": \"What a process that ended had staged is removed.\""),
              std::string::npos)
        << answer;
}

TEST_F(CompanionRecover, SaysInJsonThatStagedFilesAreLost) {
    interruptAt(2);
    fs::remove(cali + "/.zentho-cali/stage/1");
    auto const answer = jsonOf({"recover", "-t", "cali"});
    EXPECT_NE(answer.find("\"message\": \"What was interrupted for camera 7 cannot be completed: "
                          "staged files are gone or damaged.\""),
              std::string::npos)
        << answer;
}

TEST_F(CompanionRecover, IsForeseenByADryRun) {
    support::writeSmallSet(root.path() + "/other", 8);
    interruptAt(3);
    std::string const first = said("An interrupted change of camera 7 would be completed first.");
    auto const before = support::tree(cali);
    EXPECT_EQ(seenOf({"install", "8", "-s", "other", "-t", "cali", "--dry-run"}),
              exited(0,
                     "Cali-8-23-M20-100.dat: installed\nCali-8.xml: installed\n"
                     "Kennlinie-8-23-M20-100.prn: installed\n",
                     first + said("Camera 8 would be complete: 3 installed.")));
    EXPECT_EQ(seenOf({"remove", "7", "-t", "cali", "--dry-run"}),
              exited(0, data + ": removed\n" + description + ": removed\n" + curve + ": removed\n",
                     first + said("Camera 7 would be removed: 3 removed.")));
    EXPECT_EQ(support::tree(cali), before);
}

TEST_F(CompanionRecover, OfADamagedJournalIsForeseenByADryRun) {
    support::writeFile(cali + "/.zentho-cali/7.journal", "damaged");
    auto const outcome = ask({"install", "7", "-s", "usb", "-t", "cali", "--dry-run"});
    EXPECT_NE(outcome.standardError.find("An interrupted change of camera 7 could not be completed;"
                                         " its description would be taken out first."),
              std::string::npos)
        << outcome.standardError;
}

TEST_F(CompanionRecover, IsHintedAtByWhoeverFindsNoDescription) {
    interruptAt(4);
    ASSERT_FALSE(fs::exists(installed(description)));
    for (auto const* const question : {"optics", "config"}) {
        auto const outcome = ask({question, "7", "-t", "cali"});
        EXPECT_EQ(outcome.exitStatus, 1);
        std::string const hint =
            hinted("This completes what was interrupted:", {"zentho-cali recover -t cali"});
        EXPECT_NE(outcome.standardError.find(" to read.\n" + hint), std::string::npos)
            << outcome.standardError;
        auto const answer = jsonOf({question, "7", "-t", "cali"});
        EXPECT_NE(answer.find("\"state\": \"interrupted\""), std::string::npos) << answer;
    }
}

TEST_F(CompanionRecover, IsNotHintedAtWhereOnlyALaterVersionCanDoIt) {
    support::writeFile(cali + "/.zentho-cali/7.journal", "zentho-cali journal 2\n");
    std::string const hint =
        hinted("A later version of zentho-cali has to complete what was interrupted.");
    for (auto const* const question : {"check", "optics", "config"}) {
        auto const outcome = ask({question, "7", "-t", "cali"});
        EXPECT_NE(outcome.standardError.find(hint), std::string::npos) << outcome.standardError;
        EXPECT_EQ(outcome.standardError.find("zentho-cali recover"), std::string::npos)
            << outcome.standardError;
    }
}

TEST_F(CompanionRecover, LeavesTheJournalOfALaterVersionAlone) {
    support::writeFile(cali + "/.zentho-cali/7.journal", "zentho-cali journal 2\n");
    auto const outcome = ask({"recover", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_NE(outcome.standardError.find("A later version of zentho-cali has to complete"),
              std::string::npos)
        << outcome.standardError;
    EXPECT_TRUE(fs::exists(cali + "/.zentho-cali/7.journal"));
}

TEST_F(CompanionRecover, IsDoneByADownloadWhichSaysSo) {
    interruptAt(2);
    auto const outcome = ask({"download", "7", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
    EXPECT_NE(outcome.standardError.find("What was interrupted for camera 7 is completed."),
              std::string::npos)
        << outcome.standardError;
}

TEST_F(CompanionRecover, IsHintedAtOnceForSeveralCameras) {
    support::writeFile(cali + "/.zentho-cali/7.journal", "interrupted");
    support::writeFile(cali + "/.zentho-cali/8.journal", "interrupted");
    std::string const said = ask({"check", "-t", "cali"}).standardError;
    auto const first = said.find("zentho-cali recover -t cali");
    EXPECT_NE(first, std::string::npos) << said;
    EXPECT_EQ(said.find("zentho-cali recover -t cali", first + 1), std::string::npos) << said;
}

TEST_F(CompanionRecover, IsHintedWhenTheDiskFailsInTheMiddle) {
    auto const outcome =
        support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-o",
                      "/dev/null", "-e", "inject=renameat:error=EIO:when=2+",
                      companiontest::program, "install", "7", "-s", "usb", "-t", "cali"},
                     root.path());
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_NE(outcome.standardError.find(
                  hinted("This completes what was interrupted:", {"zentho-cali recover -t cali"})),
              std::string::npos)
        << outcome.standardError;
    EXPECT_EQ(ask({"recover", "-t", "cali"}).exitStatus, 0);
    EXPECT_EQ(ask({"verify", "7", "-t", "cali"}).exitStatus, 0);
}
