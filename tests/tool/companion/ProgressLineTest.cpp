// The line that says how far an operation is. Delays come at an exact system call.
#include "tests/tool/companion/Companion.h"

#include "tests/support/Matches.h"
#include "tests/support/SmallSet.h"

namespace {

class CompanionProgressLine : public companiontest::Companion {
protected:
    CompanionProgressLine() { support::writeSmallSet(root.path() + "/usb", 7); }

    std::string const install = "$program install 7 -s usb -t cali";
    /// The same, with a medium that takes its time.
    std::string const slowInstall = "env ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o /dev/null"
                                    " -e inject=syncfs:delay_enter=700000 " +
                                    install;
};

} // namespace

TEST_F(CompanionProgressLine, ShowsOnATerminalHowFarAnInstallationIs) {
    auto const seen = onTerminal({"NO_COLOR=1"}, slowInstall);
    EXPECT_NE(seen.find("\rReading back: 0 of "), std::string::npos) << seen;
}

TEST_F(CompanionProgressLine, CountsTheFoldersThatWereSearched) {
    for (std::string const folder : {"a", "b", "c"})
        support::writeFile(root.path() + "/usb/" + folder + "/notes", "");
    auto const seen =
        onTerminal({"NO_COLOR=1"}, "env ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o"
                                   " /dev/null -e inject=getdents64:delay_enter=300000 " +
                                       install);
    for (std::string const count : {"1 folder", "2 folders", "3 folders"})
        EXPECT_NE(seen.find("\rSearching: " + count + "\033[K"), std::string::npos) << seen;
}

TEST_F(CompanionProgressLine, ShowsBytesRateAndTimeLeft) {
    support::writeFile(root.path() + "/usb/" + support::dataName(7), std::string(8'000'000, 'x'));
    auto const seen =
        onTerminal({"NO_COLOR=1"}, "stty cols 200; env ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o"
                                   " /dev/null -e inject=pread64:delay_enter=60000:when=1..15 " +
                                       install);
    EXPECT_TRUE(support::hasMatch(
        seen, "Copying: [0-9]+ of [0-9]+ files, [0-9.]+ of 8\\.0 MB, [0-9.]+ MB/s, [0-9]+ s left"))
        << seen;
}

TEST_F(CompanionProgressLine, ShowsBytesRateAndTimeLeftOfAComparison) {
    support::writeFile(root.path() + "/usb/" + support::dataName(7), std::string(8'000'000, 'x'));
    EXPECT_EQ(ask({"install", "7", "-s", "usb", "-t", "cali"}).exitStatus, 0);
    for (std::string const source : {"", " -s usb"}) {
        auto const seen =
            onTerminal({"NO_COLOR=1"},
                       "stty cols 200; env ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o"
                       " /dev/null -e inject=pread64:delay_enter=60000:when=1..15 $program verify 7"
                       " -t cali" +
                           source);
        EXPECT_TRUE(support::hasMatch(
            seen, "Comparing: 0 of 3 files, [0-9.]+ of 8\\.0 MB, [0-9.]+ MB/s, [0-9]+ s left"))
            << seen;
    }
}

TEST_F(CompanionProgressLine, IsGoneBeforeAnythingElseIsSaid) {
    auto const seen = onTerminal({"NO_COLOR=1"}, slowInstall);
    EXPECT_NE(seen.find("\r\033[Kzentho-cali: From here on"), std::string::npos) << seen;
}

TEST_F(CompanionProgressLine, ShowsNothingOfAQuickInstallation) {
    auto const seen = onTerminal({"NO_COLOR=1"}, install);
    EXPECT_EQ(seen.find('\r'), std::string::npos) << seen;
}

TEST_F(CompanionProgressLine, ShowsNothingOnADumbTerminal) {
    auto const seen = onTerminal({"TERM=dumb"}, slowInstall);
    EXPECT_EQ(seen.find('\r'), std::string::npos) << seen;
}

TEST_F(CompanionProgressLine, ShowsNothingWithoutATerminal) {
    auto const seen = onTerminal({"NO_COLOR=1"}, slowInstall + " 2> errors; cat -A errors");
    EXPECT_EQ(seen.find("^M"), std::string::npos) << seen;
}

TEST_F(CompanionProgressLine, SaysThatItWaits) {
    support::writeSmallSet(root.path() + "/usb", 8);
    std::string const holder = "env ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o /dev/null"
                               " -e inject=syncfs:delay_enter=4000000 " +
                               install + " > /dev/null 2>&1 &";
    auto const seen =
        onTerminal({"NO_COLOR=1"}, holder + " until [ -e cali/.zentho-cali/stage ]; do sleep 0.1; "
                                            "done; $program install 8 -s usb -t cali; wait");
    EXPECT_NE(seen.find("\rWaiting"), std::string::npos) << seen;
}
