// What reaches the standard streams and the log file, and what happens when they cannot be written.
#include "tests/tool/companion/Companion.h"

#include "tests/support/Namespace.h"

#include <cstdint>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using companiontest::fetchHint;
using companiontest::makeHint;
using companiontest::said;
using support::exited;
using support::writeFile;

class CompanionStreams : public companiontest::Companion {
protected:
    /// Installs a description that cannot be understood.
    void installMalformed() const {
        writeFile(installed("Cali-7.xml"), "<CaliData>\n<!-- without an end\n</CaliData>\n");
    }
};

std::string const cannotWrite = "Cannot write the standard output: ";

} // namespace

TEST_F(CompanionStreams, FailWhenTheStandardOutputIsFull) {
    EXPECT_EQ(seenOfShell("\"$0\" --version > /dev/full"),
              exited(3, "", said(cannotWrite + "No space left on device")));
}

TEST_F(CompanionStreams, FailWhenTheStandardOutputIsClosed) {
    EXPECT_EQ(seenOfShell("\"$0\" --version >&-"),
              exited(3, "", said(cannotWrite + "Bad file descriptor")));
}

TEST_F(CompanionStreams, FailWhenTheReaderHasClosedThePipe) {
    EXPECT_EQ(seenOfShell("mkfifo pipe; sleep 60 < pipe & exec 3> pipe; kill $!; wait;"
                          " \"$0\" --version >&3"),
              exited(3, "", said(cannotWrite + "Broken pipe")));
}

TEST_F(CompanionStreams, FailInJsonAlsoWhenTheStandardOutputIsFull) {
    EXPECT_EQ(seenOfShell("\"$0\" check 7 -t none --json > /dev/full"),
              exited(3, "",
                     said("Cannot use the calibration directory none: No such file or directory") +
                         makeHint("none") + said(cannotWrite + "No space left on device")));
}

TEST_F(CompanionStreams, ThatAreClosedAreNotTakenForTheLog) {
    seenOfShell("\"$0\" check 7 -t cali --log log >&- 2>&-");
    auto const files = support::tree(root.path());
    auto const log = files.lower_bound("log_");
    ASSERT_NE(log, files.end());
    EXPECT_EQ(log->second.find("not complete"), std::string::npos) << log->second;
}

TEST_F(CompanionStreams, HideTheLogWithoutAnOption) {
    installMalformed();
    EXPECT_EQ(seenOf({"optics", "7", "-t", "cali"}),
              exited(1, "",
                     said("The format of cali/Cali-7.xml is wrong: its comments do not pair up.") +
                         said("There is no description cali/Cali-7.xml to read.") +
                         fetchHint("7")));
}

TEST_F(CompanionStreams, SayVerboselyWhatIsWrongWithADescription) {
    installMalformed();
    auto const error = seenOf({"optics", "7", "-t", "cali", "-v"});
    EXPECT_NE(error.find("ERROR [tool/companion/InstalledSet:LINE] @ TIMEs :The format of"
                         " cali/Cali-7.xml is wrong: its comments do not pair up.\n"),
              std::string::npos)
        << error;
}

TEST_F(CompanionStreams, SayVerboselyWhyADescriptionCannotBeRead) {
    writeFile(installed("Cali-7.xml"), "");
    fs::resize_file(installed("Cali-7.xml"), std::uintmax_t{1} << 31U); // one byte too large
    auto const error = seenOf({"optics", "7", "-t", "cali", "-v"});
    EXPECT_NE(error.find("ERROR [tool/companion/InstalledSet:LINE] @ TIMEs :cali/Cali-7.xml"
                         " cannot be read: File too large.\n"),
              std::string::npos)
        << error;
}

TEST_F(CompanionStreams, KeepTheLogOffTheStandardOutput) {
    installMalformed();
    EXPECT_EQ(ask({"optics", "7", "-t", "cali", "-vvvv"}).standardOutput, "");
}

TEST_F(CompanionStreams, LeaveTheWholeLogToAFile) {
    install("14080045");
    fs::create_directory(root.path() + "/logs");
    EXPECT_EQ(ask({"optics", "14080045", "-t", "cali", "--log", "logs/optics"}).standardError, "");
    auto const files = support::tree(root.path() + "/logs");
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files.begin()->first.substr(0, 7), "optics_");
    EXPECT_NE(files.begin()->second.find("DEBUG [tool/companion/InstalledSet:"), std::string::npos);
}

TEST_F(CompanionStreams, WriteALogFileIntoTheWorkingDirectory) {
    ask({"check", "7", "-t", "cali", "--log", "check"});
    auto const names = support::tree(root.path());
    EXPECT_EQ(names.lower_bound("check_")->first.substr(0, 6), "check_");
}

TEST_F(CompanionStreams, NameTheDirectoryOfALogThatDoesNotExist) {
    EXPECT_EQ(seenOf({"check", "7", "-t", "cali", "--log", "none/check"}),
              exited(3, "",
                     said("Cannot use the directory of the log file none/: No such file or"
                          " directory")));
}

TEST_F(CompanionStreams, NameTheDirectoryOfALogThatMayNotBeWritten) {
    support::inPrivateNamespaces([&] {
        fs::permissions(root.path(), fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"check", "7", "-t", "cali", "--log", "check"}),
                  exited(3, "",
                         said("Cannot use the directory of the log file .: Permission"
                              " denied")));
        fs::permissions(root.path(), fs::perms::owner_all);
    });
}

TEST_F(CompanionStreams, ShowErrorsWithABoldNameOnATerminal) {
    EXPECT_EQ(onTerminal({}, "$program find 0"),
              "\033[1mzentho-cali: \033[0mSERIAL: '0' is no serial number: decimal digits, 1 to"
              " 2147483647\n"
              "\033[1mzentho-cali: \033[0mhint: This tells what fits:\n"
              "  zentho-cali find --help\n");
}
