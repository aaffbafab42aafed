#include "sdk/IRLogger.h"

#include "tests/support/FakeClock.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using support::readFile;
using thalvo::Logger;
using zel::IRLogger;
using zel::IRLoggerVerbosityLevel;

namespace {

/// A fresh logger, on 16 November 2026 at 3:12:40, in a working directory of the test's own.
class IRLoggerTest : public ::testing::Test {
protected:
    IRLoggerTest() {
        Logger::releaseInstance();
        support::setClock(1000, 0);
        support::setDate(16, 11, 2026, 3, 12, 40);
        std::filesystem::current_path(m_directory.path());
    }
    ~IRLoggerTest() override {
        Logger::releaseInstance();
        support::useRealClockAndDate();
        std::filesystem::current_path("/");
    }

    std::string directory() const { return m_directory.path(); }

    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(m_directory.path())) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

private:
    support::TemporaryDirectory m_directory;
};

using Names = std::vector<std::string>;

/// Prints one line of each level from 0 to 4. @return What the console shows.
std::string consoleOfAllLevels() {
    ::testing::internal::CaptureStderr();
    for (unsigned int level = 0; level <= 4; ++level) {
        Logger::getInstance()->print(level, "tool/main", 5, "x");
    }
    return ::testing::internal::GetCapturedStderr();
}

std::string consoleAt(IRLoggerVerbosityLevel level) {
    IRLogger::setVerbosity(level, zel::IRLOG_OFF, nullptr);
    return consoleOfAllLevels();
}

/// What a log file of this level holds after one line of each level, the console being off.
std::string fileAt(IRLoggerVerbosityLevel level) {
    IRLogger::setVerbosity(zel::IRLOG_OFF, level, "a");
    consoleOfAllLevels();
    return readFile("a_16_11_2026_3-12-40.log");
}

constexpr char const* upToErrors = "ERROR [tool/main:5] @ 0s :x\n";
constexpr char const* upToWarnings = "ERROR [tool/main:5] @ 0s :x\n"
                                     "WARNING [tool/main:5] @ 0s :x\n";
constexpr char const* upToInformation = "ERROR [tool/main:5] @ 0s :x\n"
                                        "WARNING [tool/main:5] @ 0s :x\n"
                                        "INFO [tool/main:5] @ 0s :x\n";
constexpr char const* upToDebugging = "ERROR [tool/main:5] @ 0s :x\n"
                                      "WARNING [tool/main:5] @ 0s :x\n"
                                      "INFO [tool/main:5] @ 0s :x\n"
                                      "DEBUG [tool/main:5] @ 0s :x\n";

} // namespace

TEST_F(IRLoggerTest, NumbersItsLevelsFromOne) {
    EXPECT_EQ(zel::IRLOG_OFF, 1);
    EXPECT_EQ(zel::IRLOG_ERROR, 2);
    EXPECT_EQ(zel::IRLOG_WARNING, 3);
    EXPECT_EQ(zel::IRLOG_INFO, 4);
    EXPECT_EQ(zel::IRLOG_DEBUG, 5);
}

TEST_F(IRLoggerTest, ShowsNothingOnTheConsoleWhenItIsOff) {
    EXPECT_EQ(consoleAt(zel::IRLOG_OFF), "");
}

TEST_F(IRLoggerTest, ShowsOnlyErrorsOnTheConsoleAtErrorLevel) {
    EXPECT_EQ(consoleAt(zel::IRLOG_ERROR), upToErrors);
}

TEST_F(IRLoggerTest, AddsWarningsOnTheConsole) {
    EXPECT_EQ(consoleAt(zel::IRLOG_WARNING), upToWarnings);
}

TEST_F(IRLoggerTest, AddsInformationOnTheConsole) {
    EXPECT_EQ(consoleAt(zel::IRLOG_INFO), upToInformation);
}

TEST_F(IRLoggerTest, AddsDebugLinesOnTheConsole) {
    EXPECT_EQ(consoleAt(zel::IRLOG_DEBUG), upToDebugging);
}

TEST_F(IRLoggerTest, TakesLevel7ForErrors) {
    EXPECT_EQ(consoleAt(static_cast<IRLoggerVerbosityLevel>(7)), upToErrors);
}

TEST_F(IRLoggerTest, TakesLevel6ForErrors) {
    EXPECT_EQ(consoleAt(static_cast<IRLoggerVerbosityLevel>(6)), upToErrors);
}

TEST_F(IRLoggerTest, TakesLevel0ForErrors) {
    EXPECT_EQ(consoleAt(static_cast<IRLoggerVerbosityLevel>(0)), upToErrors);
}

TEST_F(IRLoggerTest, WritesOnlyErrorsToTheFileAtErrorLevel) {
    EXPECT_EQ(fileAt(zel::IRLOG_ERROR), upToErrors);
}

TEST_F(IRLoggerTest, AddsWarningsInTheFile) {
    EXPECT_EQ(fileAt(zel::IRLOG_WARNING), upToWarnings);
}

TEST_F(IRLoggerTest, AddsInformationInTheFile) {
    EXPECT_EQ(fileAt(zel::IRLOG_INFO), upToInformation);
}

TEST_F(IRLoggerTest, AddsDebugLinesInTheFile) {
    EXPECT_EQ(fileAt(zel::IRLOG_DEBUG), upToDebugging);
}

TEST_F(IRLoggerTest, TakesLevel7ForErrorsInTheFile) {
    EXPECT_EQ(fileAt(static_cast<IRLoggerVerbosityLevel>(7)), upToErrors);
}

TEST_F(IRLoggerTest, GovernsConsoleAndFileEachByItsOwnLevel) {
    IRLogger::setVerbosity(zel::IRLOG_WARNING, zel::IRLOG_DEBUG, "a");
    EXPECT_EQ(consoleOfAllLevels(), upToWarnings);
    EXPECT_EQ(readFile("a_16_11_2026_3-12-40.log"), upToDebugging);
}

TEST_F(IRLoggerTest, OpensNoFileWhenTheFileIsOff) {
    IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
    consoleOfAllLevels();
    EXPECT_EQ(files(), Names{});
}

TEST_F(IRLoggerTest, OpensNoFileWhenTheFileIsOffAndNamed) {
    IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, "a");
    consoleOfAllLevels();
    EXPECT_EQ(files(), Names{});
}

TEST_F(IRLoggerTest, WritesNothingAnywhereWhenBothAreOff) {
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_OFF, "a");
    EXPECT_EQ(consoleOfAllLevels(), "");
    EXPECT_EQ(files(), Names{});
}

TEST_F(IRLoggerTest, CallsItsFileVessimoWhenNoNameIsGiven) {
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_ERROR, nullptr);
    EXPECT_EQ(files(), Names{"vessimo.log_16_11_2026_3-12-40.log"});
}

TEST_F(IRLoggerTest, CallsItsFileVessimoWhenAnEmptyNameIsGiven) {
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_ERROR, "");
    EXPECT_EQ(files(), Names{"vessimo.log_16_11_2026_3-12-40.log"});
}

TEST_F(IRLoggerTest, CallsItsFileByTheNameGiven) {
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_ERROR, "camera.log");
    EXPECT_EQ(files(), Names{"camera.log_16_11_2026_3-12-40.log"});
}

TEST_F(IRLoggerTest, PutsItsFileIntoTheDirectoryOfTheName) {
    std::filesystem::current_path("/");
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_ERROR, (directory() + "/camera").c_str());
    EXPECT_EQ(files(), Names{"camera_16_11_2026_3-12-40.log"});
}

TEST_F(IRLoggerTest, HandsTheNameToTheLoggerAlsoWhenTheFileIsOff) {
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_OFF, "a");
    support::setDate(17, 11, 2026, 0, 0, 0);
    // The logger keeps a name that it stamped before, and stamps any other.
    IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_ERROR, "a_16_11_2026_3-12-40.log");
    EXPECT_EQ(files(), Names{"a_16_11_2026_3-12-40.log"});
}

TEST_F(IRLoggerTest, TakesTheLevelsOfASecondCall) {
    IRLogger::setVerbosity(zel::IRLOG_DEBUG, zel::IRLOG_OFF, nullptr);
    EXPECT_EQ(consoleAt(zel::IRLOG_ERROR), upToErrors);
}

TEST_F(IRLoggerTest, IsSilentAboutAFileThatCannotBeOpened) {
    ::testing::internal::CaptureStderr();
    IRLogger::setVerbosity(zel::IRLOG_DEBUG, zel::IRLOG_DEBUG, "missing/a");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}
