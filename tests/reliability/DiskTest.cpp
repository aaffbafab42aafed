// Targets that are full or may not be written, and sticks that are pulled out, on real small file
// systems.
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"
#include "util/Logger.h"

#include "tests/support/Command.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Log.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include <sys/mount.h>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

constexpr unsigned long serial = 12345678;
constexpr std::uintmax_t dataSize = 200000;
constexpr int failed = 255;

std::string stick;  // where the stick is mounted
std::string target; // where its files are copied to
std::string const notSuccessful = "Copying of calibration files was NOT successful\n";

void mountOrThrow(std::string const& where, unsigned long flags, std::string const& options) {
    if (mount("tmpfs", where.c_str(), "tmpfs", flags, options.c_str()) != 0)
        throw std::system_error(errno, std::generic_category(), "mount " + where);
}

/// Mounts a file system with room for this many pages and, unless 0, this many files, its root
/// included.
void mountSmall(std::string const& where, int pages, int files = 0) {
    mountOrThrow(where, 0,
                 "size=" + std::to_string(pages * 4096) + ",nr_inodes=" + std::to_string(files) +
                     ",mode=0755");
}

void makeReadOnly(std::string const& where) {
    mountOrThrow(where, MS_REMOUNT | MS_RDONLY, "");
}

/// Writes until nothing more fits.
void fill(std::string const& directory) {
    std::ofstream file(directory + "/filler");
    while (file.put('x').flush()) {
    }
}

/// A stick with a set whose data file is large, and a target.
void inWorld(std::function<void()> const& body) {
    support::inPrivateNamespaces([&] {
        support::TemporaryDirectory const root;
        stick = root.path() + "/stick";
        target = root.path() + "/target";
        fs::create_directory(stick);
        fs::create_directory(target);
        support::writeSmallSet(stick, serial);
        support::writeFile(stick + "/" + support::dataName(serial), std::string(dataSize, 'd'));
        body();
        umount2(stick.c_str(), MNT_DETACH); // so that the directories can be deleted
        umount2(target.c_str(), MNT_DETACH);
    });
}

/// A target and, as a directory for temporary files, a file system without anything in it.
void inDownloadWorld(std::function<void()> const& body) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        support::mountTmpfs("/srv");
        setenv("TMPDIR", "/srv", 1);
        setenv("no_proxy", "*", 1);
        for (auto const* name : {"http_proxy", "HTTP_PROXY", "WGETRC", "SYSTEM_WGETRC"})
            unsetenv(name);
        setenv("HOME", "/srv", 1);
        support::resolveToLoopback("download.zentho.example");
        target = "/srv/target";
        fs::create_directory(target);
        body();
    });
}

support::Outcome install() {
    return support::run({ZENTHO_INSTALLER, "-d12345678", "-s", stick, "-t", target});
}

void expectNotSuccessful(support::Outcome const& outcome) {
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.exitStatus, failed);
    EXPECT_EQ(outcome.standardOutput.substr(outcome.standardOutput.find('\n') + 1), notSuccessful);
    EXPECT_EQ(outcome.standardError, "");
}

std::string const installed = "INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :All files installed.";

struct Download {
    bool result;
    Lines log;
};

Download download() {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(target.c_str());
    Download outcome{};
    outcome.log = support::logOf([&] { outcome.result = manager.downloadCalibration(serial); });
    return outcome;
}

std::string somethingWrong(std::string const& reason) {
    return "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Something went wrong: " + reason;
}

} // namespace

// `cp` leaves what fits, and a file that is there counts, whatever it holds.
TEST(AFullTarget, CountsATruncatedFileAsThere) {
    inWorld([] {
        mountSmall(target, 4);
        auto const outcome = install();
        EXPECT_EQ(outcome.signal, SIGSEGV);
        EXPECT_LT(fs::file_size(target + "/" + support::dataName(serial)), dataSize);
    });
}

// An empty description is one that names no files.
TEST(AFullTarget, CountsEmptyFilesAsAWholeSet) {
    inWorld([] {
        mountSmall(target, 4);
        fill(target);
        auto const outcome = install();
        EXPECT_EQ(outcome.signal, SIGSEGV);
        EXPECT_EQ(fs::file_size(target + "/" + support::descriptionName(serial)), 0U);
    });
}

TEST(AFullTarget, ThatTakesNoFurtherFileMakesTheSetIncomplete) {
    inWorld([] {
        mountSmall(target, 1000, 3);
        expectNotSuccessful(install());
    });
}

TEST(AFullTarget, ThatTakesNoFileAtAllMakesTheSetIncomplete) {
    inWorld([] {
        mountSmall(target, 1000, 1);
        expectNotSuccessful(install());
        EXPECT_TRUE(fs::is_empty(target));
    });
}

TEST(AFullTarget, IsReportedBeforeADownload) {
    inDownloadWorld([] {
        mountSmall(target, 1000, 1);
        auto const outcome = download();
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{somethingWrong("No space left on device")});
    });
}

// The probe is an empty file, which a full file system still takes.
TEST(AFullTarget, IsNoticedByTheDownloadOnlyWhenItTakesNoFurtherFile) {
    inDownloadWorld([] {
        mountSmall(target, 4);
        fill(target);
        support::writeSmallSet("/srv/www/cali/12/1234/Califiles SN12345678", serial);
        support::writeFile("/srv/www/downloadlinks.xml",
                           "<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n<string>"
                           "http://download.zentho.example/cali</string>\n</Links>\n</CaliData>\n"
                           "</Imager>\n</DownloadLinks>\n");
        support::HttpServer const web("/srv/www");
        auto const outcome = download();
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{installed});
        EXPECT_EQ(fs::file_size(target + "/" + support::descriptionName(serial)), 0U);
    });
}

TEST(AFullTemporaryDirectory, FailsTheDownload) {
    inDownloadWorld([] {
        support::writeFile("/srv/www/downloadlinks.xml", "<DownloadLinks>\n</DownloadLinks>\n");
        support::HttpServer const web("/srv/www");
        mountSmall("/tmp", 1);
        fill("/tmp");
        auto const outcome = download();
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log,
                  (Lines{"ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error parsing download"
                         " links file: /tmp/downloadlinks.xml",
                         "INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :Download failed."}));
    });
}

TEST(AFullLogDirectory, LosesTheFilesLinesAndNothingElse) {
    inWorld([] {
        mountSmall(target, 1);
        fill(target);
        zel::IRLogger::setVerbosity(zel::IRLOG_DEBUG, zel::IRLOG_DEBUG, (target + "/log").c_str());
        auto const error = support::standardErrorOf([] {
            for (int i = 0; i < 3; ++i)
                thalvo::report(thalvo::LogLevel::error, "sdk/SimpleXML", 7, "a message");
        });
        EXPECT_EQ(support::logLinesIn(error).size(), 3U);
    });
}

TEST(AReadOnlyTarget, MakesTheSetIncomplete) {
    inWorld([] {
        mountSmall(target, 1000);
        makeReadOnly(target);
        expectNotSuccessful(install());
        EXPECT_TRUE(fs::is_empty(target));
    });
}

TEST(AReadOnlyTarget, ThatHoldsTheSetAlreadyIsComplete) {
    inWorld([] {
        mountSmall(target, 1000);
        support::writeSmallSet(target, serial);
        makeReadOnly(target);
        EXPECT_EQ(install().signal, SIGSEGV);
    });
}

TEST(AReadOnlyTarget, IsReportedBeforeADownload) {
    inDownloadWorld([] {
        mountSmall(target, 1000);
        makeReadOnly(target);
        auto const outcome = download();
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{somethingWrong("Read-only file system")});
    });
}

namespace {

/// Moves the set to a file system of its own, as that of a stick is, and replaces `cp` by a script.
void mountStick(std::string const& cp) {
    for (auto const& entry : fs::directory_iterator(stick))
        fs::remove(entry.path());
    mountSmall(stick, 1000);
    support::writeSmallSet(stick, serial);
    auto const directory = fs::path(stick).parent_path().string() + "/bin";
    support::writeFile(directory + "/cp", "#!/bin/sh\n" + cp);
    fs::permissions(directory + "/cp", fs::perms::owner_all);
    setenv("PATH", (directory + ":" + std::string(getenv("PATH"))).c_str(), 1);
}

auto filesIn(std::string const& directory) {
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
}

} // namespace

TEST(AVanishingStick, MakesTheSetIncompleteAfterTheFirstFile) {
    inWorld([] {
        mountStick("/bin/cp \"$@\"; exec /bin/umount -l " + stick + "\n");
        expectNotSuccessful(install());
        EXPECT_EQ(filesIn(target), 1);
    });
}

TEST(AVanishingStick, MakesTheSetIncompleteBeforeTheFirstFile) {
    inWorld([] {
        mountStick("/bin/umount -l " + stick + "; exec /bin/cp \"$@\"\n");
        expectNotSuccessful(install());
        EXPECT_EQ(filesIn(target), 0);
    });
}

TEST(AVanishingStick, DoesNotMatterForWhatIsInstalledAlready) {
    inWorld([] {
        support::writeSmallSet(target, serial);
        mountStick("/bin/umount -l " + stick + "; exec /bin/cp \"$@\"\n");
        EXPECT_EQ(install().signal, SIGSEGV);
    });
}

TEST(AVanishingTarget, MakesTheSetIncomplete) {
    inWorld([] {
        mountSmall(target, 1000);
        mountStick("/bin/cp \"$@\"; exec /bin/umount -l " + target + "\n");
        expectNotSuccessful(install());
    });
}
