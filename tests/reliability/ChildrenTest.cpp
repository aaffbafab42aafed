// The programs that the product starts are missing, fail, are killed, hang until somebody kills
// them, or write to a pipe that nobody reads. Each time there is a defined outcome, and nothing is
// left behind: no zombie, no descriptor.
#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"

#include "tests/support/EndChild.h"
#include "tests/support/Log.h"
#include "tests/support/Namespace.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

constexpr unsigned long serial = 12345678;

/// What is wrong with a program. All but a missing one are scripts of bash, since the ordinary
/// shell is among the programs.
struct Fault {
    char const* name;
    char const* script; ///< null: there is no such program
};

constexpr Fault missing{"Missing", nullptr};
constexpr Fault failing{"Failing", "exit 3\n"};
constexpr Fault killed{"Killed", "kill -KILL $$\n"};
constexpr Fault hanging{"HangingUntilKilled", "echo > /tmp/hanging/$$; exec /bin/sleep 1000\n"};
constexpr Fault writingToAClosedPipe{"WritingToAClosedPipe", "while echo a line; do :; done\n"};

Fault const faults[] = {missing, failing, killed, hanging, writingToAClosedPipe};
Fault const faultsOnceStarted[] = {failing, killed, hanging, writingToAClosedPipe};

enum class ChildSignal { ordinary, ignored };

/// Kills, from outside, each program that reports that it hangs.
class Killer {
public:
    Killer() {
        fs::create_directory("/tmp/hanging");
        m_process = fork();
        if (m_process == 0)
            killForEver();
    }
    ~Killer() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    Killer(Killer const&) = delete;
    Killer& operator=(Killer const&) = delete;

private:
    [[noreturn]] static void killForEver() {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (true) {
            for (auto const& entry : fs::directory_iterator("/tmp/hanging")) {
                kill(std::stoi(entry.path().filename()), SIGKILL);
                fs::remove(entry.path());
            }
            usleep(5000);
        }
    }

    pid_t m_process = -1;
};

/// Lets the standard output be a pipe that nobody reads.
class ClosedPipe {
public:
    ClosedPipe() {
        int ends[2] = {-1, -1};
        std::fflush(stdout);
        if (pipe2(ends, O_CLOEXEC) != 0)
            return;
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
    }
    ~ClosedPipe() {
        dup2(m_previous, STDOUT_FILENO);
        close(m_previous);
    }
    ClosedPipe(ClosedPipe const&) = delete;
    ClosedPipe& operator=(ClosedPipe const&) = delete;

private:
    int m_previous = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
};

void makeScript(std::string const& path, std::string const& script) {
    support::writeFile(path, "#!/bin/bash\n" + script);
    fs::permissions(path, fs::perms::all);
}

/// Puts a fault in the place of a program found along the path.
void replaceProgram(std::string const& name, Fault const& fault) {
    fs::remove("/tmp/bin/" + name);
    if (fault.script != nullptr)
        makeScript("/tmp/bin/" + name, fault.script);
}

/// Puts a fault in the place of the shell.
void replaceShell(Fault const& fault) {
    makeScript("/tmp/shell", fault.script != nullptr ? fault.script : "");
    if (fault.script == nullptr)
        fs::permissions("/tmp/shell", fs::perms::owner_read);
    ASSERT_EQ(mount("/tmp/shell", fs::canonical("/bin/sh").c_str(), "none", MS_BIND, nullptr), 0);
}

struct Outcome {
    bool result;
    Lines log;
};

/// What an operation returns and reports. It must leave no process and no descriptor behind.
Outcome outcomeOf(std::function<bool()> const& operation) {
    Outcome outcome{};
    auto const before = support::openDescriptors();
    outcome.log = support::logOf([&] { outcome.result = operation(); });
    EXPECT_EQ(support::openDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
    EXPECT_EQ(errno, ECHILD);
    return outcome;
}

/// A machine with the programs that the product starts, a stick and a target.
void inWorld(ChildSignal childSignal, std::function<void()> const& body) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        unsetenv("TMPDIR");
        for (auto const* directory : {"/tmp/bin", "/tmp/stick", "/tmp/target"})
            fs::create_directory(directory);
        for (std::string const name : {"find", "cp", "wget", "grep"})
            fs::create_symlink("/usr/bin/" + name, "/tmp/bin/" + name);
        setenv("PATH", "/tmp/bin", 1);
        support::writeSmallSet("/tmp/stick", serial);
        zel::IRLogger::setVerbosity(zel::IRLOG_OFF, zel::IRLOG_OFF, nullptr);
        ConfigCali::getInstance()->load("/tmp/nowhere", -1);
        Killer const killer;
        // The killer is a child, too: it must not be taken for one that was left behind.
        pid_t const operations = fork();
        if (operations != 0) {
            int status = 0;
            ASSERT_EQ(waitpid(operations, &status, 0), operations);
            EXPECT_EQ(status, 0) << "failed, see above";
            return;
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        std::signal(SIGCHLD, childSignal == ChildSignal::ignored ? SIG_IGN : SIG_DFL);
        body();
        std::fflush(nullptr);
        support::endChild(testing::Test::HasFailure() ? 1 : 0);
    });
}

bool copy() {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir("/tmp/target");
    return manager.copyCalibrationFromLocalRepo(serial, "/tmp/stick");
}

bool accessible() {
    return zel::IRCalibrationManager::getInstance()->isOnlineCalibrationRepoAccessible();
}

bool download() {
    ClosedPipe const nobodyReads;
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir("/tmp/target");
    return manager.downloadCalibration(serial);
}

std::string const error = "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :";
std::string const information = "INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :";
Lines const unreadableLinks{error + "Error reading /tmp/downloadlinks.xml",
                            information + "Download failed."};
Lines const malformedLinks{error + "Error parsing download links file: /tmp/downloadlinks.xml",
                           information + "Download failed."};

using Case = std::tuple<Fault, ChildSignal>;

class AProgram : public testing::TestWithParam<Case> {
protected:
    Fault const fault = std::get<0>(GetParam());
    ChildSignal const childSignal = std::get<1>(GetParam());
};

class AStartedProgram : public AProgram {};

std::string nameOf(testing::TestParamInfo<Case> const& info) {
    bool const ignored = std::get<1>(info.param) == ChildSignal::ignored;
    return std::get<0>(info.param).name + std::string(ignored ? "WhileChildrenAreIgnored" : "");
}

std::string const linksFile =
    "<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n<string>http://files.example/cali</string>\n"
    "</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n";

/// Answers the request for the links file, and has the fault for all others.
std::string servingLinksThen(std::string const& script) {
    return "if [ \"$3\" = /tmp/downloadlinks.xml ]; then echo '" + linksFile +
           "' > \"$3\"; exit 0; fi\n" + script;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(, AProgram,
                         testing::Combine(testing::ValuesIn(faults),
                                          testing::Values(ChildSignal::ordinary,
                                                          ChildSignal::ignored)),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(, AStartedProgram,
                         testing::Combine(testing::ValuesIn(faultsOnceStarted),
                                          testing::Values(ChildSignal::ordinary,
                                                          ChildSignal::ignored)),
                         nameOf);

TEST_P(AProgram, InPlaceOfFindCopiesNothing) {
    inWorld(childSignal, [&] {
        replaceProgram("find", fault);
        auto const outcome = outcomeOf(copy);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        EXPECT_TRUE(fs::is_empty("/tmp/target"));
    });
}

TEST_P(AProgram, InPlaceOfCpCopiesNothing) {
    inWorld(childSignal, [&] {
        replaceProgram("cp", fault);
        auto const outcome = outcomeOf(copy);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        EXPECT_TRUE(fs::is_empty("/tmp/target"));
    });
}

TEST_P(AProgram, InPlaceOfTheShellCopiesNothing) {
    inWorld(childSignal, [&] {
        replaceShell(fault);
        auto const outcome = outcomeOf(copy);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        EXPECT_TRUE(fs::is_empty("/tmp/target"));
    });
}

TEST_P(AProgram, InPlaceOfTheShellMeansThatNoServerCanBeReached) {
    inWorld(childSignal, [&] {
        replaceShell(fault);
        auto const outcome = outcomeOf(accessible);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST_P(AProgram, InPlaceOfGrepMeansThatNoServerCanBeReached) {
    inWorld(childSignal, [&] {
        replaceProgram("grep", fault);
        auto const outcome = outcomeOf(accessible);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST_P(AProgram, InPlaceOfWgetFetchesNoLinks) {
    inWorld(childSignal, [&] {
        replaceProgram("wget", fault);
        auto const outcome = outcomeOf(download);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, unreadableLinks);
        EXPECT_TRUE(fs::is_empty("/tmp/target"));
    });
}

TEST_P(AProgram, InPlaceOfTheShellFetchesNoLinks) {
    inWorld(childSignal, [&] {
        replaceShell(fault);
        auto const outcome = outcomeOf(download);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, unreadableLinks);
        EXPECT_TRUE(fs::is_empty("/tmp/target"));
    });
}

// A `wget` that was started counts, however it ends. While SIGCHLD is ignored, the system reports
// no status, which counts as a command that could not be started.
TEST_P(AStartedProgram, InPlaceOfWgetFetchesNoFiles) {
    inWorld(childSignal, [&] {
        auto const script = servingLinksThen(fault.script);
        replaceProgram("wget", {fault.name, script.c_str()});
        auto const outcome = outcomeOf(download);
        bool const ignored = childSignal == ChildSignal::ignored;
        EXPECT_EQ(outcome.result, !ignored);
        EXPECT_EQ(outcome.log,
                  ignored ? (Lines{error + "Error downloading \"http://files.example/cali/12/1234/"
                                           "Califiles SN12345678/Cali-12345678.xml\"",
                                   information + "Download failed."})
                          : Lines{});
        EXPECT_TRUE(fs::is_empty("/tmp/target"));
        EXPECT_FALSE(fs::exists("/tmp/downloadlinks.xml"));
    });
}

TEST(IgnoredChildren, FailADownloadWhoseFirstFileArrived) {
    inWorld(ChildSignal::ignored, [] {
        auto const script = servingLinksThen("echo fetched > \"$3\"\n");
        replaceProgram("wget", {"", script.c_str()});
        auto const outcome = outcomeOf(download);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log.back(), information + "Download failed.");
        EXPECT_EQ(support::readFile("/tmp/target/" + support::descriptionName(serial)),
                  "fetched\n");
    });
}

TEST(AKilledWget, ThatWroteHalfTheLinksFailsTheDownload) {
    inWorld(ChildSignal::ordinary, [] {
        replaceProgram("wget", {"", "echo '<DownloadLinks>' > $3\necho '<Imager>' >> $3\n"
                                    "kill -KILL $$\n"});
        auto const outcome = outcomeOf(download);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
        EXPECT_FALSE(fs::exists("/tmp/downloadlinks.xml"));
    });
}

TEST(AKilledCp, LeavesTheOtherFilesToBeCopied) {
    inWorld(ChildSignal::ordinary, [] {
        replaceProgram("cp", {"", "case $1 in *.dat) kill -KILL $$;; esac\nexec /bin/cp \"$@\"\n"});
        auto const outcome = outcomeOf(copy);
        EXPECT_FALSE(outcome.result);
        EXPECT_TRUE(fs::exists("/tmp/target/" + support::descriptionName(serial)));
        EXPECT_FALSE(fs::exists("/tmp/target/" + support::dataName(serial)));
        EXPECT_TRUE(fs::exists("/tmp/target/" + support::curveName(serial)));
    });
}

TEST(IgnoredChildren, DoNotKeepAFileFromBeingCopied) {
    inWorld(ChildSignal::ignored, [] {
        fs::remove("/tmp/stick/" + support::curveName(serial));
        auto const outcome = outcomeOf(copy);
        EXPECT_FALSE(outcome.result);
        EXPECT_TRUE(fs::exists("/tmp/target/" + support::descriptionName(serial)));
        EXPECT_TRUE(fs::exists("/tmp/target/" + support::dataName(serial)));
    });
}

TEST(EveryOperation, LeavesNoDescriptorAndNoChildBehind) {
    inWorld(ChildSignal::ordinary, [] {
        support::writeSmallSet("/tmp/target", serial);
        zel::IRCalibrationManager manager;
        manager.setCalibrationDir("/tmp/target");
        outcomeOf([&] { return manager.checkCalibration(serial) == nullptr; });
        outcomeOf([&] {
            std::unique_ptr<char[]> const list(manager.checkCalibration(1));
            return list == nullptr;
        });
        outcomeOf([&] { return manager.getAvailableOptics(serial)->empty(); });
        outcomeOf([&] { return manager.generateConfiguration(serial).empty(); });
        outcomeOf([&] { return manager.downloadCalibration(serial); });
        outcomeOf(accessible);
        outcomeOf([&] {
            unsigned long found = 0;
            return manager.findSerial(found);
        });
    });
}
