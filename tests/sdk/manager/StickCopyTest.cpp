#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"

#include "tests/support/ClosedStreams.h"
#include "tests/support/Command.h"
#include "tests/support/Seen.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Start {
    std::string command;
    std::string mode;
    std::string outputBefore; // what had reached the captured standard output by then
};

std::vector<Start> starts;
bool refuseStarts = false;

std::string capturedSoFar() {
    struct stat status {};
    if (fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    auto const count = pread(STDOUT_FILENO, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

} // namespace

// Takes the place of the C library's, notes how commands are started, and refuses when told to, as
// for want of processes or descriptors.
extern "C" std::FILE* popen(char const* command, char const* mode) {
    starts.push_back({command, mode, capturedSoFar()});
    if (refuseStarts) {
        errno = EAGAIN;
        return nullptr;
    }
    using Popen = std::FILE* (*)(char const*, char const*);
    static auto const real = reinterpret_cast<Popen>(dlsym(RTLD_NEXT, "popen"));
    return real(command, mode);
}

namespace {

namespace fs = std::filesystem;

using support::curveName;
using support::dataName;
using support::descriptionName;
using support::readFile;
using support::smallDescription;
using support::TemporaryDirectory;
using support::Tree;
using support::tree;
using support::writeFile;
using support::writeSmallSet;

constexpr unsigned long serial = 14080045;

class StickCopy : public testing::Test {
protected:
    StickCopy() {
        zel::IRLogger::setVerbosity(zel::IRLOG_ERROR, zel::IRLOG_OFF, nullptr);
        // Unloads the description that an earlier test of the same process left: none of this
        // serial number is there.
        ConfigCali::getInstance()->load(root.path().c_str(), -1);
        fs::create_directory(stick);
        fs::create_directory(target);
        starts.clear();
        refuseStarts = false;
    }

    ~StickCopy() override { fs::current_path(home); }

    fs::path const home = fs::current_path();
    TemporaryDirectory const root;
    std::string const stick = root.path() + "/stick";
    std::string const target = root.path() + "/target";
};

bool install(std::string const& source, std::string const& target, unsigned long number = serial) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(target.c_str());
    return manager.copyCalibrationFromLocalRepo(number, source);
}

// What a copy shows whose command cannot be started.
std::string commandLine(std::string const& source, std::string const& target,
                        unsigned long number = serial) {
    refuseStarts = true;
    testing::internal::CaptureStdout();
    install(source, target, number);
    return testing::internal::GetCapturedStdout();
}

Tree smallSet(unsigned long number) {
    return {{descriptionName(number), smallDescription()},
            {dataName(number), dataName(number)},
            {curveName(number), curveName(number)}};
}

void expectAbnormalEnd(std::string const& source, std::string const& target,
                       unsigned long number = serial) {
    EXPECT_EXIT(install(source, target, number), testing::KilledBySignal(SIGSEGV), "^$");
}

// The order in which find(1) meets files of a name is the file system's.
std::string lastFound(std::string const& directory, std::string const& name) {
    auto const found = support::run({"find", directory, "-name", name}).standardOutput;
    auto const end = found.size() - 1;
    auto const start = found.rfind('\n', end - 1);
    return found.substr(start + 1, end - start - 1);
}

TEST_F(StickCopy, ShowsTheCommandForTheDefaultCalibrationDirectory) {
    refuseStarts = true;
    testing::internal::CaptureStdout();
    zel::IRCalibrationManager manager;
    manager.copyCalibrationFromLocalRepo(14080045, "/media/usbstick");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "find /media/usbstick -name Cali-14080045* -exec cp \"{}\" /usr/share/libzentho/cali "
              "\\; -o -name Kennlinie-14080045* -exec cp \"{}\" /usr/share/libzentho/cali \\; "
              "2> /dev/null\n");
}

TEST_F(StickCopy, ShowsAnEmptyCalibrationDirectoryAsNothing) {
    EXPECT_EQ(commandLine("stick", ""), "find stick -name Cali-14080045* -exec cp \"{}\"  \\; -o "
                                        "-name Kennlinie-14080045* -exec cp \"{}\"  \\; "
                                        "2> /dev/null\n");
}

TEST_F(StickCopy, ShowsPathsWithoutQuotingThem) {
    EXPECT_EQ(commandLine("/a b;c", "/d'e$f"),
              "find /a b;c -name Cali-14080045* -exec cp \"{}\" /d'e$f \\; -o -name "
              "Kennlinie-14080045* -exec cp \"{}\" /d'e$f \\; 2> /dev/null\n");
}

TEST_F(StickCopy, ShowsSerialZeroAsOneDigit) {
    EXPECT_EQ(commandLine("/s", "/t", 0), "find /s -name Cali-0* -exec cp \"{}\" /t \\; -o -name "
                                          "Kennlinie-0* -exec cp \"{}\" /t \\; 2> /dev/null\n");
}

TEST_F(StickCopy, ShowsTheLargestSerialAsAnUnsignedNumber) {
    EXPECT_EQ(commandLine("/s", "/t", 18446744073709551615UL),
              "find /s -name Cali-18446744073709551615* -exec cp \"{}\" /t \\; -o -name "
              "Kennlinie-18446744073709551615* -exec cp \"{}\" /t \\; 2> /dev/null\n");
}

TEST_F(StickCopy, CutsTheCalibrationDirectoryAt260Characters) {
    auto const kept = "/" + std::string(259, 't');
    EXPECT_EQ(commandLine("/s", kept + "uvw"),
              "find /s -name Cali-14080045* -exec cp \"{}\" " + kept +
                  " \\; -o -name Kennlinie-14080045* -exec cp \"{}\" " + kept +
                  " \\; 2> /dev/null\n");
}

TEST_F(StickCopy, DoesNotCutTheSource) {
    auto const source = "/" + std::string(999, 's');
    EXPECT_EQ(commandLine(source, "/t"), "find " + source +
                                             " -name Cali-14080045* -exec cp \"{}\" /t \\; -o "
                                             "-name Kennlinie-14080045* -exec cp \"{}\" /t \\; "
                                             "2> /dev/null\n");
}

TEST_F(StickCopy, StartsExactlyTheCommandThatItShows) {
    auto const shown = commandLine(stick, target);
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_EQ(starts[0].command + "\n", shown);
}

TEST_F(StickCopy, StartsTheCommandToReadFromIt) {
    commandLine(stick, target);
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_EQ(starts[0].mode, "r");
}

TEST_F(StickCopy, HasShownTheCommandBeforeItRuns) {
    auto const shown = commandLine(stick, target);
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_EQ(starts[0].outputBefore, shown);
}

TEST_F(StickCopy, FailsWhenTheCommandCannotBeStarted) {
    refuseStarts = true;
    EXPECT_FALSE(install(stick, target));
}

TEST_F(StickCopy, MakesNoCheckWhenTheCommandCannotBeStarted) {
    writeSmallSet(target, serial);
    refuseStarts = true;
    EXPECT_FALSE(install(stick, target)); // a check would find the set complete and not return
}

TEST_F(StickCopy, LoadsNoDescriptionWhenTheCommandCannotBeStarted) {
    writeFile(target + "/" + descriptionName(serial), smallDescription());
    refuseStarts = true;
    install(stick, target);
    EXPECT_FALSE(ConfigCali::getInstance()->isLoaded(static_cast<int>(serial)));
}

TEST_F(StickCopy, DoesNotPassOnTheOutputOfTheCommand) {
    testing::internal::CaptureStdout();
    install(stick + " -print", target);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "find " + stick + " -print -name Cali-14080045* -exec cp \"{}\" " + target +
                  " \\; -o -name Kennlinie-14080045* -exec cp \"{}\" " + target +
                  " \\; 2> /dev/null\n");
}

TEST_F(StickCopy, DiscardsTheErrorsOfTheCommand) {
    writeSmallSet(stick, serial);
    testing::internal::CaptureStderr();
    install(stick + " " + root.path() + "/missing", root.path() + "/no/such/target");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(StickCopy, FailsWithoutAMatchingFile) {
    writeSmallSet(stick, 21090003);
    EXPECT_FALSE(install(stick, target));
}

TEST_F(StickCopy, CopiesNothingWithoutAMatchingFile) {
    writeSmallSet(stick, 21090003);
    install(stick, target);
    EXPECT_EQ(tree(target), Tree{});
}

TEST_F(StickCopy, FailsWithoutASource) {
    EXPECT_FALSE(install(root.path() + "/missing", target));
}

TEST_F(StickCopy, FailsWhenTheDataFileIsMissing) {
    writeSmallSet(stick, serial);
    fs::remove(stick + "/" + dataName(serial));
    EXPECT_FALSE(install(stick, target));
}

TEST_F(StickCopy, FailsWhenTheCurveFileIsMissing) {
    writeSmallSet(stick, serial);
    fs::remove(stick + "/" + curveName(serial));
    EXPECT_FALSE(install(stick, target));
}

TEST_F(StickCopy, FailsWhenTheDescriptionIsMissing) {
    writeSmallSet(stick, serial);
    fs::remove(stick + "/" + descriptionName(serial));
    EXPECT_FALSE(install(stick, target));
}

TEST_F(StickCopy, CopiesWhatThereIsOfAnIncompleteSet) {
    writeSmallSet(stick, serial);
    fs::remove(stick + "/" + descriptionName(serial));
    install(stick, target);
    EXPECT_EQ(tree(target),
              (Tree{{dataName(serial), dataName(serial)}, {curveName(serial), curveName(serial)}}));
}

TEST_F(StickCopy, EndsBySegmentationFaultWhenTheSetIsComplete) {
    writeSmallSet(stick, serial);
    expectAbnormalEnd(stick, target);
}

TEST_F(StickCopy, LeavesTheCompleteSetBehindWhenItEndsThatWay) {
    writeSmallSet(stick, serial);
    expectAbnormalEnd(stick, target);
    EXPECT_EQ(tree(target), smallSet(serial));
}

TEST_F(StickCopy, EndsThatWayAlsoWithAHandlerForTheSignal) {
    writeSmallSet(stick, serial);
    EXPECT_EXIT(
        {
            std::signal(SIGSEGV, [](int) { _exit(0); });
            install(stick, target);
        },
        testing::KilledBySignal(SIGSEGV), "^$");
}

TEST_F(StickCopy, EndsThatWayAlsoWhenTheSignalIsIgnored) {
    writeSmallSet(stick, serial);
    EXPECT_EXIT(
        {
            std::signal(SIGSEGV, SIG_IGN);
            install(stick, target);
        },
        testing::KilledBySignal(SIGSEGV), "^$");
}

TEST_F(StickCopy, EndsThatWayAlsoWhenTheSignalIsBlocked) {
    writeSmallSet(stick, serial);
    EXPECT_EXIT(
        {
            sigset_t signals;
            sigemptyset(&signals);
            sigaddset(&signals, SIGSEGV);
            sigprocmask(SIG_BLOCK, &signals, nullptr);
            install(stick, target);
        },
        testing::KilledBySignal(SIGSEGV), "^$");
}

TEST_F(StickCopy, EndsThatWayWhenTheSetWasCompleteBefore) {
    writeSmallSet(target, serial);
    expectAbnormalEnd(stick, target);
}

TEST_F(StickCopy, EndsThatWayForADescriptionWithoutOptics) {
    writeFile(stick + "/" + descriptionName(serial), "<CaliData>\n</CaliData>\n");
    expectAbnormalEnd(stick, target);
}

TEST_F(StickCopy, DoesNotExamineTheExitStatusOfTheCommand) {
    writeSmallSet(target, serial);
    expectAbnormalEnd(root.path() + "/missing", target);
}

TEST_F(StickCopy, EndsThatWayWhenASecondStickHasTheRest) {
    writeSmallSet(stick, serial);
    fs::remove(stick + "/" + curveName(serial));
    auto const second = root.path() + "/second";
    writeFile(second + "/" + curveName(serial), "");
    ASSERT_FALSE(install(stick, target));
    expectAbnormalEnd(second, target);
}

TEST_F(StickCopy, EndsThatWayForACompleteSetOfSerialZero) {
    writeSmallSet(stick, 0);
    expectAbnormalEnd(stick, target, 0);
}

TEST_F(StickCopy, WaitsUntilTheCommandHasFinished) {
    writeSmallSet(stick, serial);
    expectAbnormalEnd("$(sleep 0.2)" + stick, target);
}

TEST_F(StickCopy, LeavesNoChildProcessBehind) {
    install(stick, target);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(StickCopy, LeavesNothingOpen) {
    auto const descriptors = [] {
        auto const all = fs::directory_iterator("/proc/self/fd");
        return std::distance(fs::begin(all), fs::end(all));
    };
    auto const before = descriptors();
    install(stick, target);
    EXPECT_EQ(descriptors(), before);
}

TEST_F(StickCopy, CopiesAlsoWhenStandardStreamsAreClosed) {
    writeFile(stick + "/" + dataName(serial), "content");
    for (auto const& streams : support::selectionsOfStreams()) {
        {
            support::ClosedStreams const closed(streams);
            install(stick, target);
        }
        EXPECT_EQ(tree(target), (Tree{{dataName(serial), "content"}}));
        fs::remove(target + "/" + dataName(serial));
    }
}

TEST_F(StickCopy, CopiesFromAnyDepthIntoOneDirectory) {
    writeFile(stick + "/a/b/c/Cali-14080045.xml", smallDescription());
    writeFile(stick + "/a/Cali-14080045-23.dat", "data");
    writeFile(stick + "/d/Kennlinie-14080045-23.prn", "curve");
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045.xml", smallDescription()},
                                  {"Cali-14080045-23.dat", "data"},
                                  {"Kennlinie-14080045-23.prn", "curve"}}));
}

TEST_F(StickCopy, CopiesEveryFileWhoseNameBeginsWithTheSerial) {
    writeFile(stick + "/Cali-14080045", "");
    writeFile(stick + "/Cali-14080045.bak", "");
    writeFile(stick + "/Cali-140800456.xml", "");
    writeFile(stick + "/Kennlinie-14080045 old.txt", "");
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045", ""},
                                  {"Cali-14080045.bak", ""},
                                  {"Cali-140800456.xml", ""},
                                  {"Kennlinie-14080045 old.txt", ""}}));
}

TEST_F(StickCopy, CopiesNoFileOfAnotherName) {
    writeFile(stick + "/cali-14080045.xml", "");
    writeFile(stick + "/My-Cali-14080045.xml", "");
    writeFile(stick + "/Cali-1408004.xml", "");
    writeFile(stick + "/Cali-014080045.xml", "");
    writeFile(stick + "/Kennlinien-14080045.prn", "");
    writeFile(stick + "/readme.txt", "");
    install(stick, target);
    EXPECT_EQ(tree(target), Tree{});
}

TEST_F(StickCopy, CopiesTheFilesOfALongerSerialToo) {
    writeSmallSet(stick, 14080045);
    install(stick, target, 1408004);
    EXPECT_EQ(tree(target), smallSet(14080045));
}

TEST_F(StickCopy, FailsForASerialOfWhichOnlyALongerOneIsThere) {
    writeSmallSet(stick, 14080045);
    EXPECT_FALSE(install(stick, target, 1408004));
}

TEST_F(StickCopy, CopiesEverySerialThatBeginsWithZeroForSerialZero) {
    writeFile(stick + "/Cali-0815.xml", "description");
    writeFile(stick + "/Kennlinie-0815.prn", "curve");
    writeFile(stick + "/Cali-815.xml", "another");
    install(stick, target, 0);
    EXPECT_EQ(tree(target),
              (Tree{{"Cali-0815.xml", "description"}, {"Kennlinie-0815.prn", "curve"}}));
}

TEST_F(StickCopy, OverwritesAnOlderFileOfTheSameName) {
    writeFile(target + "/Cali-14080045-23.dat", "an older and longer content");
    writeFile(stick + "/Cali-14080045-23.dat", "new");
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-23.dat", "new"}}));
}

TEST_F(StickCopy, LetsTheLastFoundCopyOfAFileWin) {
    for (std::string const folder : {"b", "a", "d", "c"}) {
        writeFile(stick + "/" + folder + "/Cali-14080045-23.dat", "from " + folder);
    }
    auto const expected = readFile(lastFound(stick, "Cali-14080045-23.dat"));
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-23.dat", expected}}));
}

TEST_F(StickCopy, FindsFilesBelowADirectoryThatLooksLikeOne) {
    writeFile(stick + "/Cali-14080045/Cali-14080045-23.dat", "data");
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-23.dat", "data"}}));
}

TEST_F(StickCopy, CopiesFilesWithBlanksInTheirNames) {
    writeFile(stick + "/my files/Cali-14080045 $(x).dat", "data");
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045 $(x).dat", "data"}}));
}

TEST_F(StickCopy, LeavesTheStickAsItIs) {
    writeSmallSet(stick + "/a", serial);
    fs::remove(stick + "/a/" + dataName(serial));
    auto const before = tree(stick);
    install(stick, target);
    EXPECT_EQ(tree(stick), before);
}

TEST_F(StickCopy, WritesTheLastFileToThePathOfATargetThatIsMissing) {
    writeSmallSet(stick, serial);
    fs::remove(stick + "/" + descriptionName(serial));
    auto const found = support::run({"find", stick, "-type", "f"}).standardOutput;
    auto const last = found.substr(found.rfind('/') + 1, found.size() - found.rfind('/') - 2);
    auto const missing = root.path() + "/missing";
    install(stick, missing);
    ASSERT_TRUE(fs::is_regular_file(missing));
    EXPECT_EQ(readFile(missing), last); // these files hold their own names
}

TEST_F(StickCopy, FailsWithATargetThatIsMissing) {
    writeSmallSet(stick, serial);
    EXPECT_FALSE(install(stick, root.path() + "/missing"));
}

TEST_F(StickCopy, FailsWithATargetWhoseParentIsMissing) {
    writeSmallSet(stick, serial);
    EXPECT_FALSE(install(stick, root.path() + "/missing/target"));
}

TEST_F(StickCopy, MakesNothingOfATargetWhoseParentIsMissing) {
    writeSmallSet(stick, serial);
    install(stick, root.path() + "/missing/target");
    EXPECT_FALSE(fs::exists(root.path() + "/missing"));
}

TEST_F(StickCopy, MakesTheMissingTargetWhenThereIsNothingToCopy) {
    install(stick, root.path() + "/missing");
    EXPECT_TRUE(fs::is_directory(root.path() + "/missing"));
}

TEST_F(StickCopy, SearchesARelativeSourceInTheWorkingDirectory) {
    writeFile(stick + "/Cali-14080045-23.dat", "data");
    fs::current_path(root.path());
    install("stick", target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-23.dat", "data"}}));
}

TEST_F(StickCopy, CopiesToARelativeTargetInTheWorkingDirectory) {
    writeFile(stick + "/Cali-14080045-23.dat", "data");
    fs::current_path(root.path());
    install(stick, "target");
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-23.dat", "data"}}));
}

TEST_F(StickCopy, SearchesBothHalvesOfASourceWithABlank) {
    writeFile(root.path() + "/my/Cali-14080045-1.dat", "first half");
    writeFile(root.path() + "/stick/Cali-14080045-2.dat", "second half");
    writeFile(root.path() + "/my stick/Cali-14080045-3.dat", "whole");
    fs::current_path(root.path());
    install("my stick", target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-1.dat", "first half"},
                                  {"Cali-14080045-2.dat", "second half"}}));
}

TEST_F(StickCopy, LetsTheShellExpandWildcardsInTheSource) {
    writeFile(root.path() + "/stick1/Cali-14080045-1.dat", "first");
    writeFile(root.path() + "/stick2/Cali-14080045-2.dat", "second");
    install(root.path() + "/stick?", target);
    EXPECT_EQ(tree(target),
              (Tree{{"Cali-14080045-1.dat", "first"}, {"Cali-14080045-2.dat", "second"}}));
}

TEST_F(StickCopy, LetsTheShellExpandThePatternWithAFileInTheWorkingDirectory) {
    writeFile(root.path() + "/Cali-14080045-1.dat", "");
    writeFile(stick + "/Cali-14080045-1.dat", "named like the one here");
    writeFile(stick + "/Cali-14080045-2.dat", "not so");
    fs::current_path(root.path());
    install(stick, target);
    EXPECT_EQ(tree(target), (Tree{{"Cali-14080045-1.dat", "named like the one here"}}));
}

} // namespace
