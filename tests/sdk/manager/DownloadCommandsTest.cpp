// Downloads with `system` replaced: what would be run, and what follows when it cannot be started.
#include "sdk/IRCalibrationManager.h"

#include "tests/support/Camera.h"
#include "tests/support/Log.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

constexpr char const* linksFile = "/tmp/downloadlinks.xml";
constexpr char const* linksCommand =
    "wget http://download.zentho.example/downloadlinks.xml -O /tmp/downloadlinks.xml";

/// Stands in for the shell: takes a command, gives what `system` returns.
std::function<int(std::string const&)> shell;
Lines commands;

constexpr int notStarted = -1;
constexpr int succeeded = 0;
constexpr int exitStatusEight = 8 << 8;

void putLinksFile(std::string const& strings) {
    support::writeFile(linksFile, "<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n" + strings +
                                      "</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n");
}

void putLinksFile() {
    putLinksFile("<string>http://files.zentho.example/cali</string>\n");
}

/// Answers the fetch of the links file, and leaves all else to the other one.
std::function<int(std::string const&)> withLinks(std::function<int(std::string const&)> others) {
    return [others](std::string const& command) {
        if (command != linksCommand)
            return others(command);
        putLinksFile();
        return succeeded;
    };
}

/// Gives these results one after the other.
std::function<int(std::string const&)> results(std::vector<int> values) {
    return [values, next = std::size_t{0}](std::string const&) mutable {
        return values.at(next++);
    };
}

std::function<int(std::string const&)> always(int result) {
    return [result](std::string const&) {
        return result;
    };
}

/// Runs the body with a temporary directory of its own.
void inWorld(std::function<void()> const& body) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        unsetenv("TMPDIR");
        body();
    });
}

struct Outcome {
    bool result;
    Lines log;
};

Outcome fetch(char const* list, char const* serialText = "12345678") {
    Outcome outcome{};
    outcome.log = support::logOf([&] {
        outcome.result = zel::IRCalibrationManager::downloadTarget(list, serialText, "/target");
    });
    return outcome;
}

Outcome install(std::string const& directory, unsigned long serial = 12345678) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(directory.c_str());
    Outcome outcome{};
    outcome.log = support::logOf([&] { outcome.result = manager.downloadCalibration(serial); });
    return outcome;
}

/// The file commands after the links command, for the camera 12345678 and the target /target.
Lines fileCommands() {
    Lines files = commands;
    if (!files.empty())
        files.erase(files.begin());
    return files;
}

std::string url(std::string const& path) {
    return "\"http://files.zentho.example/cali" + path + "\"";
}

std::string fileCommand(std::string const& name) {
    return "wget " + url("/12/1234/Califiles SN12345678/" + name) + " -O /target/" + name;
}

std::string notDownloaded(std::string const& name) {
    return "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error downloading " +
           url("/12/1234/Califiles SN12345678/" + name);
}

Lines const installed{"INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :All files installed."};
Lines const noSerial{"ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :No serial number specified."};
constexpr char const* downloadFailed =
    "INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :Download failed.";

std::string somethingWrong(std::string const& reason) {
    return "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Something went wrong: " + reason;
}

} // namespace

// Takes the place of the C library's, for the product as well.
extern "C" int system(char const* command) {
    commands.emplace_back(command);
    return shell(command);
}

TEST(DownloadTarget, FetchesTheLinksFileToItsFixedPlace) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;");
        EXPECT_EQ(commands.at(0), "wget http://download.zentho.example/downloadlinks.xml -O"
                                  " /tmp/downloadlinks.xml");
    });
}

TEST(DownloadTarget, FetchesAFileByItsQuotedUrl) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("Cali-12345678.xml;");
        EXPECT_EQ(fileCommands(),
                  Lines{"wget \"http://files.zentho.example/cali/12/1234/Califiles"
                        " SN12345678/Cali-12345678.xml\" -O /target/Cali-12345678.xml"});
    });
}

TEST(DownloadTarget, FetchesTheFilesInTheOrderOfTheList) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("b;a;");
        EXPECT_EQ(fileCommands(), (Lines{fileCommand("b"), fileCommand("a")}));
    });
}

TEST(DownloadTarget, NeedsNoSeparatorAfterTheLastName) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;b");
        EXPECT_EQ(fileCommands(), (Lines{fileCommand("a"), fileCommand("b")}));
    });
}

TEST(DownloadTarget, TakesASeparatorAloneAsOneEmptyName) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch(";");
        EXPECT_EQ(fileCommands(), Lines{fileCommand("")});
    });
}

TEST(DownloadTarget, TakesAnEmptyFieldAsAnEmptyName) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;;b;");
        EXPECT_EQ(fileCommands(), (Lines{fileCommand("a"), fileCommand(""), fileCommand("b")}));
    });
}

TEST(DownloadTarget, TakesANameWithASlashForOneWhoseCommandCannotBeStarted) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        auto const outcome = fetch("../a;b;/c;d/e;f/;");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{notDownloaded("../a")});
        EXPECT_EQ(fileCommands(), Lines{fileCommand("b")});
    });
}

TEST(DownloadTarget, FailsForNamesWithSlashesAlone) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        auto const outcome = fetch("../a;/b;");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, (Lines{notDownloaded("../a"), notDownloaded("/b")}));
    });
}

TEST(DownloadTarget, FailsQuietlyForAnEmptyList) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        auto const outcome = fetch("");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        EXPECT_EQ(commands, Lines{linksCommand});
    });
}

TEST(DownloadTarget, PutsAOneDigitSerialInBothPlaces) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;", "1");
        EXPECT_EQ(fileCommands(), Lines{"wget " + url("/1/1/Califiles SN1/a") + " -O /target/a"});
    });
}

TEST(DownloadTarget, PutsATwoDigitSerialInBothPlaces) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;", "12");
        EXPECT_EQ(fileCommands(),
                  Lines{"wget " + url("/12/12/Califiles SN12/a") + " -O /target/a"});
    });
}

TEST(DownloadTarget, PutsAThreeDigitSerialInTheSecondPlaceWhole) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;", "123");
        EXPECT_EQ(fileCommands(),
                  Lines{"wget " + url("/12/123/Califiles SN123/a") + " -O /target/a"});
    });
}

TEST(DownloadTarget, CutsAFiveDigitSerialInTheSecondPlace) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        fetch("a;", "12345");
        EXPECT_EQ(fileCommands(),
                  Lines{"wget " + url("/12/1234/Califiles SN12345/a") + " -O /target/a"});
    });
}

TEST(DownloadTarget, LeavesTheTargetDirectoryWithoutQuotationMarks) {
    inWorld([] {
        shell = withLinks(always(succeeded));
        zel::IRCalibrationManager::downloadTarget("a;", "1", "/a target");
        EXPECT_EQ(fileCommands(), Lines{"wget " + url("/1/1/Califiles SN1/a") + " -O /a target/a"});
    });
}

TEST(DownloadTarget, RemovesTheLinksFileBeforeTheFirstFile) {
    inWorld([] {
        bool linksFileThere = true;
        shell = withLinks([&](std::string const&) {
            linksFileThere = fs::exists(linksFile);
            return succeeded;
        });
        fetch("a;");
        EXPECT_FALSE(linksFileThere);
    });
}

TEST(DownloadTarget, UsesAnEmptyLinkAsItIs) {
    inWorld([] {
        shell = [](std::string const& command) {
            if (command == linksCommand)
                putLinksFile("<string></string>\n");
            return succeeded;
        };
        fetch("a;", "1");
        EXPECT_EQ(fileCommands(), Lines{"wget \"/1/1/Califiles SN1/a\" -O /target/a"});
    });
}

TEST(DownloadTarget, DoesNotCareHowTheFetchOfTheLinksFileEnds) {
    inWorld([] {
        putLinksFile();
        shell = results({notStarted, succeeded});
        EXPECT_TRUE(fetch("a;").result);
        EXPECT_EQ(fileCommands(), Lines{fileCommand("a")});
    });
}

TEST(DownloadTarget, FailsWithoutALinksFile) {
    inWorld([] {
        shell = always(succeeded);
        auto const outcome = fetch("a;");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{"ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error reading"
                                     " /tmp/downloadlinks.xml"});
    });
}

TEST(DownloadTarget, StartsNoFileWithoutALinksFile) {
    inWorld([] {
        shell = always(succeeded);
        fetch("a;");
        EXPECT_EQ(commands, Lines{linksCommand});
    });
}

TEST(DownloadTarget, StartsNoFileWithoutLinks) {
    inWorld([] {
        shell = [](std::string const&) {
            putLinksFile("");
            return succeeded;
        };
        fetch("a;");
        EXPECT_EQ(commands, Lines{linksCommand});
    });
}

TEST(DownloadTarget, ReportsEachFileWhenNoCommandCanBeStarted) {
    inWorld([] {
        shell = withLinks(always(notStarted));
        auto const outcome = fetch("a;b;");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, (Lines{notDownloaded("a"), notDownloaded("b")}));
    });
}

TEST(DownloadTarget, SucceedsWhenOnlyALaterCommandCanBeStarted) {
    inWorld([] {
        shell = withLinks(results({notStarted, succeeded}));
        auto const outcome = fetch("a;b;");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{notDownloaded("a")});
    });
}

TEST(DownloadTarget, SaysNothingAboutALaterFailureOnceACommandWasStarted) {
    inWorld([] {
        shell = withLinks(results({succeeded, notStarted}));
        auto const outcome = fetch("a;b;");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, TriesEveryFileAfterAFailure) {
    inWorld([] {
        shell = withLinks(always(notStarted));
        fetch("a;b;");
        EXPECT_EQ(fileCommands(), (Lines{fileCommand("a"), fileCommand("b")}));
    });
}

TEST(DownloadTarget, CountsACommandThatEndsWithAnErrorAsStarted) {
    inWorld([] {
        shell = withLinks(always(exitStatusEight));
        auto const outcome = fetch("a;");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadCalibration, RunsNothingWhenTheSetIsComplete) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        support::writeSmallSet(directory.path(), 12345678);
        auto const outcome = install(directory.path());
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, installed);
        EXPECT_EQ(commands, Lines{});
    });
}

TEST(DownloadCalibration, MakesThreePassesWhenTheServerLacksAFile) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        shell = withLinks(always(exitStatusEight));
        auto const outcome = install(directory.path());
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        std::string const file = "wget " + url("/12/1234/Califiles SN12345678/Cali-12345678.xml") +
                                 " -O " + directory.path() + "/Cali-12345678.xml";
        EXPECT_EQ(commands, (Lines{linksCommand, file, linksCommand, file, linksCommand, file}));
    });
}

TEST(DownloadCalibration, DoesNotCheckAfterTheThirdPass) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        int pass = 0;
        shell = withLinks([&](std::string const&) {
            if (++pass == 3)
                support::writeFile(directory.path() + "/Cali-12345678.xml", "");
            return succeeded;
        });
        auto const outcome = install(directory.path());
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadCalibration, StopsAsSoonAsTheSetIsComplete) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        shell = withLinks([&](std::string const&) {
            support::writeSmallSet(directory.path(), 12345678);
            return succeeded;
        });
        auto const outcome = install(directory.path());
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, installed);
        EXPECT_EQ(commands.size(), 2U);
    });
}

TEST(DownloadCalibration, FetchesAgainWhatIsStillMissingInTheNextPass) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        auto const name = [&](std::string const& file) {
            return directory.path() + "/" + file;
        };
        shell = withLinks([&](std::string const& command) {
            if (commands.size() == 2) {
                support::writeFile(name("Cali-12345678.xml"), support::smallDescription());
            } else if (command.find(".dat") != std::string::npos) {
                support::writeFile(name(support::dataName(12345678)), "");
            }
            return succeeded;
        });
        install(directory.path());
        auto const fetched = [&](std::string const& file) {
            return "wget " + url("/12/1234/Califiles SN12345678/" + file) + " -O " + name(file);
        };
        EXPECT_EQ(commands, (Lines{linksCommand, fetched("Cali-12345678.xml"), linksCommand,
                                   fetched("Cali-12345678-23-M20-100.dat"),
                                   fetched("Kennlinie-12345678-23-M20-100.prn"), linksCommand,
                                   fetched("Kennlinie-12345678-23-M20-100.prn")}));
    });
}

TEST(DownloadCalibration, FetchesOnlyWhatBelongsToTheCamera) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        auto const camera =
            support::camera(12345678)
                .optic(23)
                .text("a;;b;../c;Cali-123456789.xml;Cali-1234567.xml;Cali-12345678.d")
                .range(-20, 100);
        support::writeFile(directory.path() + "/Cali-12345678.xml", camera.description());
        shell = withLinks(always(succeeded));
        auto const outcome = install(directory.path());
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        auto const fetched = [&](std::string const& file) {
            return "wget " + url("/12/1234/Califiles SN12345678/" + file) + " -O " +
                   directory.path() + "/" + file;
        };
        Lines const onePass{
            linksCommand, fetched("Cali-12345678-23-a"), fetched("Cali-12345678.d-M20-100.dat"),
            fetched("Kennlinie-12345678-23-a"), fetched("Cali-12345678.d-M20-100.prn")};
        EXPECT_EQ(Lines(commands.begin(), commands.begin() + 5), onePass);
        EXPECT_EQ(commands.size(), 15U);
    });
}

TEST(DownloadCalibration, FailsInTheFirstPassWhenNoCommandCanBeStarted) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        shell = withLinks(always(notStarted));
        auto const outcome = install(directory.path());
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, (Lines{notDownloaded("Cali-12345678.xml"), downloadFailed}));
        EXPECT_EQ(commands.size(), 2U);
    });
}

TEST(DownloadCalibration, FailsWhenALaterPassFails) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        shell = withLinks(results({succeeded, notStarted}));
        auto const outcome = install(directory.path());
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, (Lines{notDownloaded("Cali-12345678.xml"), downloadFailed}));
        EXPECT_EQ(commands.size(), 4U);
    });
}

TEST(DownloadCalibration, WritesABigSerialNumberWithoutASignInTheUrl) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        shell = withLinks(always(notStarted));
        install(directory.path(), 4294967295UL);
        EXPECT_EQ(fileCommands(),
                  Lines{"wget " + url("/42/4294/Califiles SN4294967295/Cali--1.xml") + " -O " +
                        directory.path() + "/Cali--1.xml"});
    });
}

TEST(DownloadCalibration, NeedsASerialNumber) {
    support::TemporaryDirectory const directory;
    auto const outcome = install(directory.path(), 0);
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.log, noSerial);
    EXPECT_EQ(commands, Lines{});
}

TEST(DownloadCalibration, ReportsADirectoryThatDoesNotExist) {
    support::TemporaryDirectory const directory;
    auto const outcome = install(directory.path() + "/missing");
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.log, Lines{somethingWrong("No such file or directory")});
    EXPECT_EQ(commands, Lines{});
}

TEST(DownloadCalibration, CreatesNoDirectory) {
    support::TemporaryDirectory const directory;
    install(directory.path() + "/missing");
    EXPECT_FALSE(fs::exists(directory.path() + "/missing"));
}

TEST(DownloadCalibration, ReportsADirectoryThatDoesNotExistBeforeAMissingSerialNumber) {
    support::TemporaryDirectory const directory;
    auto const outcome = install(directory.path() + "/missing", 0);
    EXPECT_EQ(outcome.log, Lines{somethingWrong("No such file or directory")});
}

TEST(DownloadCalibration, ReportsAProbeThatIsADirectoryWithTheSystemsWords) {
    support::TemporaryDirectory const directory;
    fs::create_directory(directory.path() + "/.zentho_access");
    auto const outcome = install(directory.path());
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.log, Lines{somethingWrong("Is a directory")});
}

TEST(DownloadCalibration, ReportsADirectoryThatMayNotBeWritten) {
    support::inPrivateNamespaces([] {
        support::TemporaryDirectory const directory;
        fs::permissions(directory.path(), fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        auto const outcome = install(directory.path());
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{"ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :No writing"
                                     " permissions to " +
                                     directory.path()});
    });
}

TEST(DownloadCalibration, ReportsADirectoryThatMayNotBeWrittenBeforeAMissingSerialNumber) {
    support::inPrivateNamespaces([] {
        support::TemporaryDirectory const directory;
        fs::permissions(directory.path(), fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(
            install(directory.path(), 0).log,
            Lines{"ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :No writing permissions to " +
                  directory.path()});
    });
}

TEST(DownloadCalibration, ProbesTheDirectoryWithAFileThatItRemoves) {
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/.zentho_access", "left by an earlier run");
    install(directory.path(), 0);
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(DownloadCalibration, RemovesTheProbeBeforeTheFirstCommand) {
    inWorld([] {
        support::TemporaryDirectory const directory;
        bool probeThere = true;
        shell = [&](std::string const&) {
            probeThere = fs::exists(directory.path() + "/.zentho_access");
            return succeeded;
        };
        install(directory.path());
        EXPECT_FALSE(probeThere);
    });
}

TEST(DownloadCalibration, ChangesNoDirectoryOfTheManager) {
    support::TemporaryDirectory const directory;
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(directory.path().c_str());
    manager.downloadCalibration(0);
    EXPECT_EQ(manager.getCalibrationDir(), directory.path());
}
