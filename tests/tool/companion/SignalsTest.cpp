// How the program ends by a signal, which comes at an exact system call.
#include "tests/tool/companion/Companion.h"

#include "tests/support/SmallSet.h"

#include <csignal>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using companiontest::said;
using support::Outcome;

class CompanionSignals : public companiontest::Companion {
protected:
    CompanionSignals() { support::writeSmallSet(root.path() + "/usb", 7); }

    /// Installs camera 7 while something happens at a system call.
    Outcome installWhile(std::string const& injection, bool json = false,
                         std::string const& ignored = "USR1") const {
        std::vector<std::string> words{"env",
                                       "ASAN_OPTIONS=detect_leaks=0",
                                       "strace",
                                       "-f",
                                       "-qq",
                                       "-o",
                                       "/dev/null",
                                       "-e",
                                       "inject=" + injection,
                                       "env",
                                       "--ignore-signal=" + ignored,
                                       companiontest::program,
                                       "install",
                                       "7",
                                       "-s",
                                       "usb",
                                       "-t",
                                       "cali"};
        if (json)
            words.emplace_back("--json");
        return support::run(words, root.path());
    }
};

std::string const beforeJournal = "syncfs:signal=INT:when=1";
std::string const afterJournal = "renameat:signal=INT:when=2";

} // namespace

TEST_F(CompanionSignals, LeaveTheDirectoryAsItWasBeforeTheJournal) {
    auto const outcome = installWhile(beforeJournal);
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_EQ(outcome.standardError, said("Interrupted; nothing was changed"));
    EXPECT_EQ(support::tree(cali), support::Tree{});
}

TEST_F(CompanionSignals, ThatComeDuringTheSearchChangeNothing) {
    auto const outcome = installWhile("getdents64:signal=INT:when=1");
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_EQ(outcome.standardError, said("Interrupted; nothing was changed"));
}

TEST_F(CompanionSignals, SayWhichCameraWasNotChanged) {
    support::writeSmallSet(root.path() + "/usb", 8);
    auto const outcome =
        support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-o",
                      "/dev/null", "-e", "inject=syncfs:signal=INT:when=2", companiontest::program,
                      "install", "--all", "-s", "usb", "-t", "cali"},
                     root.path());
    EXPECT_NE(outcome.standardError.find(said("Interrupted; camera 8 was not changed")),
              std::string::npos)
        << outcome.standardError;
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).exitStatus, 0);
}

TEST_F(CompanionSignals, EndTheProgramBySIGTERMLikewise) {
    EXPECT_EQ(installWhile("syncfs:signal=TERM:when=1").signal, SIGTERM);
}

TEST_F(CompanionSignals, ComeTooLateAfterTheJournal) {
    auto const outcome = installWhile(afterJournal);
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_NE(
        outcome.standardError.find(said("It was too late to stop: the installation was finished.")),
        std::string::npos)
        << outcome.standardError;
    EXPECT_EQ(ask({"verify", "7", "-t", "cali"}).exitStatus, 0);
}

TEST_F(CompanionSignals, LeaveTheAnswerInJsonWhole) {
    for (auto const& injection : {beforeJournal, afterJournal}) {
        auto const outcome = installWhile(injection, true);
        EXPECT_EQ(outcome.signal, SIGINT);
        EXPECT_TRUE(companiontest::fitsTheSchema(outcome.standardOutput));
        auto const found = outcome.standardOutput.find("\"message\": \"It was too late to stop: ");
        EXPECT_EQ(found != std::string::npos, injection == afterJournal) << outcome.standardOutput;
    }
}

TEST_F(CompanionSignals, ThatTheCallerIgnoresAreIgnored) {
    auto const outcome = installWhile(beforeJournal, false, "INT");
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
}

TEST_F(CompanionSignals, LeaveTheRestOfTheCamerasOut) {
    support::writeSmallSet(root.path() + "/usb", 8);
    auto const outcome =
        support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-o",
                      "/dev/null", "-e", "inject=" + afterJournal, companiontest::program,
                      "install", "--all", "-s", "usb", "-t", "cali"},
                     root.path());
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_EQ(ask({"check", "7", "-t", "cali"}).exitStatus, 0);
    EXPECT_FALSE(fs::exists(installed("Cali-8.xml")));
}

TEST_F(CompanionSignals, ComeTooLateForARemovalAfterTheJournal) {
    EXPECT_EQ(ask({"install", "7", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    auto const outcome = support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq",
                                       "-o", "/dev/null", "-e", "inject=unlinkat:signal=INT:when=2",
                                       companiontest::program, "remove", "7", "-t", "cali"},
                                      root.path());
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_NE(
        outcome.standardError.find(said("It was too late to stop: the removal was finished.")),
        std::string::npos)
        << outcome.standardError;
    EXPECT_EQ(support::tree(cali), support::Tree{});
}

TEST_F(CompanionSignals, LeaveTheRestOfTheCamerasUncompared) {
    support::writeSmallSet(root.path() + "/usb", 8);
    EXPECT_EQ(ask({"install", "--all", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    auto const outcome = support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq",
                                       "-o", "/dev/null", "-P", installed("Cali-7-23-M20-100.dat"),
                                       "-e", "inject=pread64:signal=INT:when=1",
                                       companiontest::program, "verify", "-t", "cali"},
                                      root.path());
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_EQ(outcome.standardOutput, "");
    EXPECT_EQ(outcome.standardError, said("Interrupted"));
}
