#include "util/Logger.h"

#include "tests/support/FakeClock.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <limits>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using support::readFile;
using support::setClock;
using support::writeFile;
using thalvo::Logger;

namespace {

constexpr auto console = static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_ON);
constexpr auto logfile = static_cast<Logger::loggerConf_>(Logger::LOGFILE_ON | Logger::CONSOLE_OFF);
constexpr auto both = static_cast<Logger::loggerConf_>(Logger::LOGFILE_ON | Logger::CONSOLE_ON);
constexpr auto neither =
    static_cast<Logger::loggerConf_>(Logger::LOGFILE_OFF | Logger::CONSOLE_OFF);

/// A logger made at 1,000 seconds after the epoch, on 9 November 2026 at 3:07:05.
class LoggerTest : public ::testing::Test {
protected:
    LoggerTest() {
        Logger::releaseInstance();
        setClock(1000, 0);
        support::setDate(9, 11, 2026, 3, 7, 5);
        Logger::getInstance();
    }
    ~LoggerTest() override {
        Logger::releaseInstance();
        support::useRealClockAndDate();
    }

    /// Base name of a log file in a directory of the test's own.
    std::string base() const { return m_directory.path() + "/vessimo.log"; }
    std::string stamped() const { return base() + "_9_11_2026_3-7-5.log"; }
    std::string directory() const { return m_directory.path(); }

private:
    support::TemporaryDirectory m_directory;
};

void configure(std::string const& filename, Logger::loggerConf_ conf, int fileLevel,
               int consoleLevel) {
    Logger::getInstance()->configure(filename, conf, fileLevel, consoleLevel);
}

void print(unsigned int level, std::string const& message) {
    Logger::getInstance()->print(level, "sdk/SimpleXML", 120, message);
}

template <class Body>
std::string shownOnTheConsole(Body const& body) {
    ::testing::internal::CaptureStderr();
    body();
    return ::testing::internal::GetCapturedStderr();
}

std::string consoleLineOf(unsigned int level, std::string const& message) {
    return shownOnTheConsole([&] { print(level, message); });
}

/// Messages of the levels 0 to 4 that pass a console threshold, each the level's digit.
std::string levelsPassing(int consoleLevel) {
    configure("unused", console, 3, consoleLevel);
    std::string passing;
    for (unsigned int level = 0; level <= 4; ++level) {
        if (!consoleLineOf(level, "x").empty())
            passing += std::to_string(level);
    }
    return passing;
}

/// Runs @p body in a process of its own, where nobody has yet been warned that the logger is not
/// configured. @return What it showed on the console.
template <class Body>
std::string shownByAFreshProcess(Body const& body) {
    return shownOnTheConsole([&] {
        pid_t const child = fork();
        if (child == 0) {
            body();
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    });
}

std::vector<std::string> filesIn(std::string const& directory) {
    std::vector<std::string> names;
    DIR* const stream = opendir(directory.c_str());
    if (stream == nullptr)
        return names;
    while (dirent const* const entry = readdir(stream)) {
        std::string const name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    closedir(stream);
    return names;
}

bool isOpenInThisProcess(std::string const& path) {
    for (std::string const& name : filesIn("/proc/self/fd")) {
        char target[4096];
        ssize_t const length = readlink(("/proc/self/fd/" + name).c_str(), target, sizeof target);
        if (length > 0 && path == std::string(target, static_cast<std::size_t>(length))) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST_F(LoggerTest, IsOneForTheProcess) {
    EXPECT_EQ(Logger::getInstance(), Logger::getInstance());
}

TEST_F(LoggerTest, HasTheBitsThatCallersCombine) {
    EXPECT_EQ(Logger::LOGFILE_ON, 1);
    EXPECT_EQ(Logger::LOGFILE_OFF, 2);
    EXPECT_EQ(Logger::CONSOLE_ON, 4);
    EXPECT_EQ(Logger::CONSOLE_OFF, 8);
}

TEST_F(LoggerTest, WritesTagOriginSecondsAndMessage) {
    configure("unused", console, 3, 3);
    setClock(1001, 500000);
    EXPECT_EQ(consoleLineOf(1, "message text"),
              "WARNING [sdk/SimpleXML:120] @ 1.5s :message text\n");
}

TEST_F(LoggerTest, TagsLevel0AsError) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, TagsLevel1AsWarning) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(consoleLineOf(1, "x"), "WARNING [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, TagsLevel2AsInformation) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(consoleLineOf(2, "x"), "INFO [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, TagsLevel3AsDebug) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(consoleLineOf(3, "x"), "DEBUG [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, TagsLevel4AsError) {
    configure("unused", console, 4, 4);
    EXPECT_EQ(consoleLineOf(4, "x"), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, TagsLevel7AsErrorAndPassesItAtAThresholdOf7) {
    configure("unused", console, 7, 7);
    EXPECT_EQ(consoleLineOf(7, "x"), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, HoldsLevel7BackAtAThresholdOf6) {
    configure("unused", console, 6, 6);
    EXPECT_EQ(consoleLineOf(7, "x"), "");
}

TEST_F(LoggerTest, WritesAnEmptyMessage) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(consoleLineOf(0, ""), "ERROR [sdk/SimpleXML:120] @ 0s :\n");
}

TEST_F(LoggerTest, WritesAMessageAsItStands) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(consoleLineOf(0, " a%s\n\xff "), "ERROR [sdk/SimpleXML:120] @ 0s : a%s\n\xff \n");
}

TEST_F(LoggerTest, WritesANegativeSourceLine) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(shownOnTheConsole([] { Logger::getInstance()->print(0, "imgproc/Cali", -5, "x"); }),
              "ERROR [imgproc/Cali:-5] @ 0s :x\n");
}

TEST_F(LoggerTest, WritesSixDigitsOfTheSeconds) {
    configure("unused", console, 3, 3);
    setClock(1012, 345678);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 12.3457s :x\n");
}

TEST_F(LoggerTest, WritesTheSecondsWithoutTrailingZeros) {
    configure("unused", console, 3, 3);
    setClock(1000, 12300);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 0.0123s :x\n");
}

TEST_F(LoggerTest, WritesWholeSecondsWithoutAPoint) {
    configure("unused", console, 3, 3);
    setClock(1120, 0);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 120s :x\n");
}

TEST_F(LoggerTest, WritesAMillionSecondsWithAnExponent) {
    configure("unused", console, 3, 3);
    setClock(1001000, 0);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 1e+06s :x\n");
}

TEST_F(LoggerTest, WritesAMicrosecondWithAnExponent) {
    configure("unused", console, 3, 3);
    setClock(1000, 10);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 1e-05s :x\n");
}

TEST_F(LoggerTest, RoundsSecondsLikeAStream) {
    configure(base(), logfile, 3, 3);
    support::Random random(5);
    std::ostringstream expected;
    for (int i = 0; i < 20000; ++i) {
        int const step = i % 2 == 0 ? 1 : 125; // many of the latter lie half-way between results
        long const seconds = random.below(i % 3 == 0 ? 10 : 2000);
        long const microseconds = random.below(1000000 / step) * step;
        setClock(1000 + seconds, microseconds);
        print(0, "x");
        long double const now = static_cast<long double>(1000 + seconds) * 1000.0L +
                                static_cast<long double>(microseconds) / 1000.0L;
        expected << "ERROR [sdk/SimpleXML:120] @ " << (now - 1000000.0L) / 1000.0L << "s :x\n";
    }
    EXPECT_TRUE(readFile(stamped()) == expected.str());
}

TEST_F(LoggerTest, WritesNegativeSecondsAfterTheClockWasSetBack) {
    configure("unused", console, 3, 3);
    setClock(997, 500000);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ -2.5s :x\n");
}

TEST_F(LoggerTest, CountsSecondsFromItsMakingAndNotFromItsConfiguration) {
    setClock(1003, 0);
    configure("unused", console, 3, 3);
    setClock(1004, 0);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 4s :x\n");
}

TEST_F(LoggerTest, CountsSecondsAnewAfterItWasReleased) {
    setClock(1003, 0);
    Logger::releaseInstance();
    configure("unused", console, 3, 3);
    setClock(1004, 0);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 1s :x\n");
}

TEST_F(LoggerTest, PassesOnlyErrorsAtAThresholdOf0) {
    EXPECT_EQ(levelsPassing(0), "0");
}

TEST_F(LoggerTest, PassesUpToTheThreshold) {
    EXPECT_EQ(levelsPassing(2), "012");
}

TEST_F(LoggerTest, PassesEveryLevelAtANegativeThreshold) {
    EXPECT_EQ(levelsPassing(-1), "01234");
}

TEST_F(LoggerTest, PassesTheHighestLevelAtAThresholdOfMinusOne) {
    configure("unused", console, 3, -1);
    EXPECT_EQ(consoleLineOf(std::numeric_limits<unsigned int>::max(), "x"),
              "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, ComparesTheConsoleWithItsOwnThreshold) {
    configure(base(), both, 3, 0);
    EXPECT_EQ(consoleLineOf(3, "x"), "");
}

TEST_F(LoggerTest, ComparesTheFileWithItsOwnThreshold) {
    configure(base(), both, 0, 3);
    consoleLineOf(3, "debug");
    consoleLineOf(0, "error");
    EXPECT_EQ(readFile(stamped()), "ERROR [sdk/SimpleXML:120] @ 0s :error\n");
}

TEST_F(LoggerTest, PassesEveryLevelToTheFileAtANegativeThreshold) {
    configure(base(), logfile, -1, 0);
    print(7, "x");
    EXPECT_EQ(readFile(stamped()), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, WritesTheSameLineToFileAndConsole) {
    configure(base(), both, 3, 3);
    setClock(1001, 500000);
    EXPECT_EQ(consoleLineOf(2, "x"), "INFO [sdk/SimpleXML:120] @ 1.5s :x\n");
    EXPECT_EQ(readFile(stamped()), "INFO [sdk/SimpleXML:120] @ 1.5s :x\n");
}

TEST_F(LoggerTest, ShowsNothingWhenTheConsoleIsOff) {
    configure(base(), logfile, 3, 3);
    EXPECT_EQ(consoleLineOf(0, "x"), "");
}

TEST_F(LoggerTest, MakesNoFileWhenTheFileIsOff) {
    configure(base(), console, 3, 3);
    consoleLineOf(0, "x");
    EXPECT_TRUE(filesIn(directory()).empty());
}

TEST_F(LoggerTest, GoesByTheOnBitsWhenTheOffBitsAreSetToo) {
    configure(base(), static_cast<Logger::loggerConf_>(1 | 2 | 4 | 8), 3, 3);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
    EXPECT_EQ(readFile(stamped()), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, WritesNowhereWithoutAnyBit) {
    configure(base(), static_cast<Logger::loggerConf_>(0), 3, 3);
    EXPECT_EQ(consoleLineOf(0, "x"), "");
    EXPECT_TRUE(filesIn(directory()).empty());
}

TEST_F(LoggerTest, NamesTheFileAfterTheLocalDateAndTimeWithoutLeadingZeros) {
    configure(base(), logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()), std::vector<std::string>{"vessimo.log_9_11_2026_3-7-5.log"});
}

TEST_F(LoggerTest, WritesAllDigitsOfTheDateAndTime) {
    support::setDate(31, 12, 1999, 23, 59, 58);
    configure(base(), logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()),
              std::vector<std::string>{"vessimo.log_31_12_1999_23-59-58.log"});
}

TEST_F(LoggerTest, CountsMonthsFromOne) {
    support::setDate(1, 1, 2026, 0, 0, 0);
    configure(base(), logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()), std::vector<std::string>{"vessimo.log_1_1_2026_0-0-0.log"});
}

TEST_F(LoggerTest, OpensTheFileBeforeTheFirstLine) {
    configure(base(), logfile, 3, 3);
    EXPECT_EQ(readFile(stamped()), "");
}

TEST_F(LoggerTest, AppendsToAFileThatExists) {
    writeFile(stamped(), "before\n");
    configure(base(), logfile, 3, 3);
    print(0, "x");
    EXPECT_EQ(readFile(stamped()), "before\nERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, WritesEachLineToTheFileAtOnce) {
    configure(base(), logfile, 3, 3);
    print(0, "a");
    std::string const afterOne = readFile(stamped());
    print(0, "b");
    EXPECT_EQ(afterOne, "ERROR [sdk/SimpleXML:120] @ 0s :a\n");
}

TEST_F(LoggerTest, ShowsLinesOnTheConsoleWhenTheFileCannotBeOpened) {
    configure(directory() + "/missing/vessimo.log", both, 3, 3);
    EXPECT_EQ(consoleLineOf(0, "x"), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, IsSilentAboutAFileThatCannotBeOpened) {
    EXPECT_EQ(
        shownOnTheConsole([this] { configure(directory() + "/missing/vessimo.log", both, 3, 3); }),
        "");
}

TEST_F(LoggerTest, MakesNoDirectoryForTheFile) {
    configure(directory() + "/missing/vessimo.log", logfile, 3, 3);
    print(0, "x");
    EXPECT_TRUE(filesIn(directory()).empty());
}

TEST_F(LoggerTest, WritesToANewFileAfterOneThatCouldNotBeOpened) {
    configure(directory() + "/missing/vessimo.log", logfile, 3, 3);
    print(0, "lost");
    configure(base(), logfile, 3, 3);
    print(0, "x");
    EXPECT_EQ(readFile(stamped()), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, OpensASecondFileForTheSameBaseNameASecondLater) {
    configure(base(), logfile, 3, 3);
    print(0, "first");
    support::setDate(9, 11, 2026, 3, 7, 6);
    configure(base(), logfile, 3, 3);
    print(0, "second");
    EXPECT_EQ(readFile(base() + "_9_11_2026_3-7-6.log"),
              "ERROR [sdk/SimpleXML:120] @ 0s :second\n");
}

TEST_F(LoggerTest, LeavesTheFirstFileAsItWasWhenASecondIsOpened) {
    configure(base(), logfile, 3, 3);
    print(0, "first");
    support::setDate(9, 11, 2026, 3, 7, 6);
    configure(base(), logfile, 3, 3);
    print(0, "second");
    EXPECT_EQ(readFile(stamped()), "ERROR [sdk/SimpleXML:120] @ 0s :first\n");
}

TEST_F(LoggerTest, ClosesTheFirstFileWhenASecondIsOpened) {
    configure(base(), logfile, 3, 3);
    ASSERT_TRUE(isOpenInThisProcess(stamped()));
    support::setDate(9, 11, 2026, 3, 7, 6);
    configure(base(), logfile, 3, 3);
    EXPECT_FALSE(isOpenInThisProcess(stamped()));
}

TEST_F(LoggerTest, ClosesTheFileWhenTheFileIsSwitchedOff) {
    configure(base(), logfile, 3, 3);
    ASSERT_TRUE(isOpenInThisProcess(stamped()));
    configure(base(), neither, 3, 3);
    EXPECT_FALSE(isOpenInThisProcess(stamped()));
}

TEST_F(LoggerTest, WritesToAFileThatIsSwitchedOnLater) {
    configure(base(), console, 3, 3);
    configure(base(), logfile, 3, 3);
    print(0, "x");
    EXPECT_EQ(readFile(stamped()), "ERROR [sdk/SimpleXML:120] @ 0s :x\n");
}

TEST_F(LoggerTest, ContinuesTheFileWhenTheSameBaseNameComesWithinASecond) {
    configure(base(), logfile, 3, 3);
    print(0, "a");
    configure(base(), logfile, 3, 3);
    print(0, "b");
    EXPECT_EQ(readFile(stamped()),
              "ERROR [sdk/SimpleXML:120] @ 0s :a\nERROR [sdk/SimpleXML:120] @ 0s :b\n");
}

TEST_F(LoggerTest, KeepsTheStampedNameWhenItIsGivenAgain) {
    configure(base(), logfile, 3, 3);
    support::setDate(9, 11, 2026, 3, 7, 6);
    configure(stamped(), logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()), std::vector<std::string>{"vessimo.log_9_11_2026_3-7-5.log"});
}

TEST_F(LoggerTest, RemembersTheStampedNameAlsoWhileTheFileIsOff) {
    configure(base(), console, 3, 3);
    support::setDate(9, 11, 2026, 3, 7, 6);
    configure(stamped(), logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()), std::vector<std::string>{"vessimo.log_9_11_2026_3-7-5.log"});
}

TEST_F(LoggerTest, TakesNewThresholdsFromASecondConfiguration) {
    configure("unused", console, 3, 3);
    configure("unused", console, 0, 0);
    EXPECT_EQ(consoleLineOf(1, "x"), "");
}

TEST_F(LoggerTest, OpensNoFileForAnEmptyNameBeforeAnyOther) {
    ASSERT_EQ(chdir(directory().c_str()), 0);
    configure("", logfile, 3, 3);
    print(0, "x");
    EXPECT_TRUE(filesIn(directory()).empty());
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(LoggerTest, StampsAnEmptyNameAfterAnother) {
    ASSERT_EQ(chdir(directory().c_str()), 0);
    configure("unused", console, 3, 3);
    configure("", logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()), std::vector<std::string>{"_9_11_2026_3-7-5.log"});
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(LoggerTest, OpensANameWithoutADirectoryInTheWorkingDirectory) {
    ASSERT_EQ(chdir(directory().c_str()), 0);
    configure("a.log", logfile, 3, 3);
    EXPECT_EQ(filesIn(directory()), std::vector<std::string>{"a.log_9_11_2026_3-7-5.log"});
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(LoggerTest, ClosesItsFileWhenItIsReleased) {
    configure(base(), logfile, 3, 3);
    ASSERT_TRUE(isOpenInThisProcess(stamped()));
    Logger::releaseInstance();
    EXPECT_FALSE(isOpenInThisProcess(stamped()));
}

TEST_F(LoggerTest, CanBeReleasedTwice) {
    Logger::releaseInstance();
    Logger::releaseInstance();
    EXPECT_NE(Logger::getInstance(), nullptr);
}

TEST_F(LoggerTest, ForgetsItsConfigurationWhenItIsReleased) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(shownByAFreshProcess([] {
                  Logger::releaseInstance();
                  print(0, "dropped");
              }),
              "[sdk/SimpleXML:120] @ 0s : Logger not configured!\n");
}

TEST_F(LoggerTest, WarnsThatItIsNotConfiguredInPlaceOfTheFirstLine) {
    EXPECT_EQ(shownByAFreshProcess([] {
                  setClock(1002, 250000);
                  print(1, "dropped");
              }),
              "[sdk/SimpleXML:120] @ 2.25s : Logger not configured!\n");
}

TEST_F(LoggerTest, DropsLaterLinesInSilenceWhileItIsNotConfigured) {
    EXPECT_EQ(shownByAFreshProcess([] {
                  print(0, "first");
                  print(0, "second");
                  print(3, "third");
              }),
              "[sdk/SimpleXML:120] @ 0s : Logger not configured!\n");
}

TEST_F(LoggerTest, WarnsOnceInAProcessAlsoWhenItIsReleased) {
    EXPECT_EQ(shownByAFreshProcess([] {
                  print(0, "first");
                  Logger::releaseInstance();
                  print(0, "second");
              }),
              "[sdk/SimpleXML:120] @ 0s : Logger not configured!\n");
}

TEST_F(LoggerTest, WritesNoneOfTheEarlierLinesOnceItIsConfigured) {
    EXPECT_EQ(shownByAFreshProcess([] {
                  print(0, "early");
                  configure("unused", console, 3, 3);
                  print(0, "late");
              }),
              "[sdk/SimpleXML:120] @ 0s : Logger not configured!\n"
              "ERROR [sdk/SimpleXML:120] @ 0s :late\n");
}

TEST_F(LoggerTest, DoesNotWarnWhenItIsConfiguredWithBothOutputsOff) {
    EXPECT_EQ(shownByAFreshProcess([] {
                  configure("unused", neither, 0, 0);
                  print(0, "x");
              }),
              "");
}

TEST_F(LoggerTest, OpensNoFileBeforeItIsConfigured) {
    ASSERT_EQ(chdir(directory().c_str()), 0);
    shownByAFreshProcess([] { print(0, "x"); });
    EXPECT_TRUE(filesIn(directory()).empty());
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(LoggerTest, SaysThatALevelWouldReachTheConsole) {
    configure("unused", console, 0, 2);
    EXPECT_TRUE(Logger::getInstance()->wouldPrint(2));
}

TEST_F(LoggerTest, SaysThatALevelWouldReachTheFile) {
    configure(base(), both, 2, 0);
    EXPECT_TRUE(Logger::getInstance()->wouldPrint(2));
}

TEST_F(LoggerTest, SaysThatALevelWouldReachNoOutput) {
    configure(base(), both, 2, 2);
    EXPECT_FALSE(Logger::getInstance()->wouldPrint(3));
}

TEST_F(LoggerTest, ReportsTheConcatenationOfAllParts) {
    configure("unused", console, 3, 3);
    EXPECT_EQ(shownOnTheConsole([] {
                  thalvo::report(thalvo::LogLevel::warning, "imgproc/Cali", 12, "Serial ",
                                 std::string("140"), " lost");
              }),
              "WARNING [imgproc/Cali:12] @ 0s :Serial 140 lost\n");
}

TEST_F(LoggerTest, HoldsReportsAboveTheThresholdBack) {
    configure("unused", console, 3, 0);
    EXPECT_EQ(shownOnTheConsole(
                  [] { thalvo::report(thalvo::LogLevel::warning, "imgproc/Cali", 12, "x"); }),
              "");
}

TEST_F(LoggerTest, WarnsAboutAReportWhileItIsNotConfigured) {
    EXPECT_EQ(shownByAFreshProcess(
                  [] { thalvo::report(thalvo::LogLevel::debug, "imgproc/Cali", 12, "x"); }),
              "[imgproc/Cali:12] @ 0s : Logger not configured!\n");
}
