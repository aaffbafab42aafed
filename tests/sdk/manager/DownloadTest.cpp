// Downloads through the real wget from a real web server, which serves the files below
// repository().
#include "sdk/IRCalibrationManager.h"

#include "tests/support/ClosedStreams.h"
#include "tests/support/DownloadWorld.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Log.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

using support::inDownloadWorld;
using support::linksAround;
using support::linkTo;

constexpr unsigned long serial = 12345678;
constexpr char const* cameraDirectory = "/cali/12/1234/Califiles SN12345678/";
constexpr char const* linksFile = "/tmp/downloadlinks.xml";

Lines const installed{"INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :All files installed."};
Lines const unreadableLinks{
    "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error reading /tmp/downloadlinks.xml"};
Lines const malformedLinks{"ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error parsing download"
                           " links file: /tmp/downloadlinks.xml"};
constexpr char const* downloadFailed =
    "INFO [sdk/IRCalibrationManager:LINE] @ TIMEs :Download failed.";

std::string const server = support::downloadServer;

using World = support::DownloadWorld;

void serveSet(World const& world) {
    support::writeSmallSet(world.served(cameraDirectory), serial);
}

struct Outcome {
    bool result;
    Lines log;
};

/// Downloads the camera's set to the world's target directory.
Outcome install(World const& world, unsigned long camera = serial) {
    zel::IRCalibrationManager manager;
    manager.setCalibrationDir(world.target().c_str());
    Outcome outcome{};
    outcome.log = support::logOf([&] { outcome.result = manager.downloadCalibration(camera); });
    return outcome;
}

/// Downloads the files of a list to the world's target directory.
Outcome fetch(World const& world, char const* list, char const* serialText = "12345678") {
    Outcome outcome{};
    outcome.log = support::logOf([&] {
        outcome.result =
            zel::IRCalibrationManager::downloadTarget(list, serialText, world.target());
    });
    return outcome;
}

/// The outcome of a fetch from a server with this links file.
Outcome fetchWithLinks(World const& world, std::string const& links) {
    world.serveLinks(links);
    support::HttpServer const web(world.served(""));
    return fetch(world, "a;");
}

Lines withDownloadFailed(Lines lines) {
    lines.push_back(downloadFailed);
    return lines;
}

} // namespace

TEST(DownloadTarget, WithoutAFileListFails) {
    EXPECT_FALSE(zel::IRCalibrationManager::downloadTarget(nullptr, "12345678", "/nowhere"));
}

TEST(DownloadCalibration, InstallsTheWholeSetOfACamera) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        support::HttpServer const web(world.served(""));
        install(world);
        EXPECT_EQ(support::readFile(world.target() + "/Cali-12345678.xml"),
                  support::smallDescription());
        EXPECT_EQ(support::readFile(world.target() + "/" + support::dataName(serial)),
                  support::dataName(serial));
        EXPECT_EQ(support::readFile(world.target() + "/" + support::curveName(serial)),
                  support::curveName(serial));
    });
}

TEST(DownloadCalibration, SaysThatAllFilesAreInstalledAndNothingElse) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, installed);
    });
}

TEST(DownloadCalibration, FetchesTheDescriptionFirstAndThenWhatItNames) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        support::HttpServer const web(world.served(""));
        install(world);
        std::string const camera = "GET /cali/12/1234/Califiles%20SN12345678/";
        EXPECT_EQ(web.requests(),
                  (Lines{"GET /downloadlinks.xml 200", camera + "Cali-12345678.xml 200",
                         "GET /downloadlinks.xml 200", camera + "Cali-12345678-23-M20-100.dat 200",
                         camera + "Kennlinie-12345678-23-M20-100.prn 200"}));
    });
}

TEST(DownloadCalibration, FetchesOnlyWhatIsMissing) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        support::writeSmallSet(world.target(), serial);
        fs::remove(world.target() + "/" + support::curveName(serial));
        support::HttpServer const web(world.served(""));
        install(world);
        EXPECT_EQ(web.requests(),
                  (Lines{"GET /downloadlinks.xml 200", "GET /cali/12/1234/Califiles%20SN12345678/"
                                                       "Kennlinie-12345678-23-M20-100.prn 200"}));
    });
}

TEST(DownloadCalibration, LeavesNothingButTheSetBehind) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        support::HttpServer const web(world.served(""));
        install(world);
        auto const count =
            std::distance(fs::directory_iterator(world.target()), fs::directory_iterator());
        EXPECT_EQ(count, 3);
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

// wget makes the file before it asks the server, and a file that exists counts as installed.
TEST(DownloadCalibration, CountsTheEmptyFileThatWgetLeavesForOneThatTheServerLacks) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        fs::remove(world.served(cameraDirectory) + support::dataName(serial));
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, installed);
        EXPECT_EQ(support::readFile(world.target() + "/" + support::dataName(serial)), "");
    });
}

// The empty file is also a readable description, one that names no optic and so no further file.
TEST(DownloadCalibration, CountsTheEmptyDescriptionOfACameraThatTheServerDoesNotKnow) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, installed);
        EXPECT_EQ(web.requests(),
                  (Lines{"GET /downloadlinks.xml 200", "GET /cali/12/1234/Califiles%20SN12345678/"
                                                       "Cali-12345678.xml 404"}));
    });
}

TEST(DownloadCalibration, MakesThreePassesWhenAFileStaysMissing) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        serveSet(world);
        support::writeSmallSet(world.target(), serial);
        auto const stubborn = world.target() + "/" + support::dataName(serial);
        fs::remove(stubborn);
        fs::create_symlink("/proc/nowhere/file", stubborn); // wget cannot make the file either
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
        EXPECT_EQ(web.requests(), (Lines{"GET /downloadlinks.xml 200", "GET /downloadlinks.xml 200",
                                         "GET /downloadlinks.xml 200"}));
    });
}

TEST(DownloadCalibration, FailsWhenTheServerHasNoLinksFile) {
    inDownloadWorld([](World const& world) {
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, withDownloadFailed(malformedLinks));
        EXPECT_EQ(web.requests(), Lines{"GET /downloadlinks.xml 404"});
    });
}

TEST(DownloadCalibration, FailsWhenTheServerRefusesTheConnection) {
    inDownloadWorld([](World const& world) {
        auto const outcome = install(world);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, withDownloadFailed(malformedLinks));
    });
}

TEST(DownloadCalibration, FailsWithoutWget) {
    inDownloadWorld([](World const& world) {
        setenv("PATH", world.target().c_str(), 1);
        auto const outcome = install(world);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, withDownloadFailed(unreadableLinks));
    });
}

TEST(DownloadTarget, LeavesNoLinksFileWhenTheServerHasNone) {
    inDownloadWorld([](World const& world) {
        support::HttpServer const web(world.served(""));
        fetch(world, "a;");
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, LeavesNoLinksFileWhenTheServerRefusesTheConnection) {
    inDownloadWorld([](World const& world) {
        fetch(world, "a;");
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, ReportsABrokenLinksFileWithTheReadersWords) {
    inDownloadWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n<!-- a\n"
                                                   "</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log,
                  (Lines{"ERROR [sdk/SimpleXML:LINE] @ TIMEs :<Imager><!-- a",
                         "ERROR [sdk/SimpleXML:LINE] @ TIMEs :Format of file"
                         " /tmp/downloadlinks.xml is wrong. Verify, that the XML document is"
                         " well-formed!",
                         unreadableLinks[0]}));
    });
}

TEST(DownloadTarget, LeavesABrokenLinksFileInPlace) {
    inDownloadWorld([](World const& world) {
        std::string const broken = "<DownloadLinks>\n<Imager>\n<!-- a\n</DownloadLinks>\n";
        fetchWithLinks(world, broken);
        EXPECT_EQ(support::readFile(linksFile), broken);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithAnotherRoot) {
    inDownloadWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, "<Links>\n<string>x</string>\n</Links>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithoutImager) {
    inDownloadWorld([](World const& world) {
        auto const outcome =
            fetchWithLinks(world, "<DownloadLinks>\n<CaliData>\n<Links>\n<string>x</string>\n"
                                  "</Links>\n</CaliData>\n</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithoutCaliData) {
    inDownloadWorld([](World const& world) {
        auto const outcome =
            fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n<Links>\n<string>x</string>\n"
                                  "</Links>\n</Imager>\n</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithoutLinks) {
    inDownloadWorld([](World const& world) {
        auto const outcome =
            fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n<CaliData>\n<string>x</string>\n"
                                  "</CaliData>\n</Imager>\n</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, RemovesALinksFileThatLacksAnElement) {
    inDownloadWorld([](World const& world) {
        fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n</Imager>\n</DownloadLinks>\n");
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, RemovesTheLinksFileThatItHasRead) {
    inDownloadWorld([](World const& world) {
        fetchWithLinks(world, linksAround(linkTo(server + "/cali")));
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, ReportsEveryFileWithAnEmptyUrlWhenThereAreNoLinks) {
    inDownloadWorld([](World const& world) {
        world.serveLinks(linksAround(""));
        support::HttpServer const web(world.served(""));
        auto const outcome = fetch(world, "a;b;");
        std::string const line =
            "ERROR [sdk/IRCalibrationManager:LINE] @ TIMEs :Error downloading ";
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, (Lines{line, line}));
    });
}

TEST(DownloadTarget, UsesTheFirstOfTwoLinksOnly) {
    inDownloadWorld([](World const& world) {
        world.serveLinks(linksAround(linkTo(server + "/empty") + linkTo(server + "/cali")));
        support::writeFile(world.served(cameraDirectory) + "a", "of the second link");
        support::HttpServer const web(world.served(""));
        EXPECT_TRUE(fetch(world, "a;").result);
        EXPECT_EQ(web.requests(), (Lines{"GET /downloadlinks.xml 200",
                                         "GET /empty/12/1234/Califiles%20SN12345678/a 404"}));
    });
}

TEST(DownloadTarget, SucceedsQuietlyForAFileThatTheServerLacks) {
    inDownloadWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, linksAround(linkTo(server + "/cali")));
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, SucceedsQuietlyWhenTheRepositoryRefusesTheConnection) {
    inDownloadWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, linksAround(linkTo("http://127.0.0.1:81/cali")));
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, ReplacesAFileOfTheSameName) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served(cameraDirectory) + "a", "new");
        support::writeFile(world.target() + "/a", "old and longer");
        support::HttpServer const web(world.served(""));
        fetch(world, "a;");
        EXPECT_EQ(support::readFile(world.target() + "/a"), "new");
    });
}

TEST(DownloadTarget, ContinuesAfterAnEmptyFileName) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served(cameraDirectory) + "a", "first");
        support::writeFile(world.served(cameraDirectory) + "b", "second");
        support::HttpServer const web(world.served(""));
        EXPECT_TRUE(fetch(world, "a;;b;").result);
        EXPECT_EQ(support::readFile(world.target() + "/a"), "first");
        EXPECT_EQ(support::readFile(world.target() + "/b"), "second");
    });
}

TEST(DownloadTarget, SucceedsForAnEmptyFileNameAlone) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::HttpServer const web(world.served(""));
        auto const outcome = fetch(world, ";");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, KeepsWhatWgetSaysOutOfTheFilesWhenStandardStreamsAreClosed) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served(cameraDirectory) + "a", "content");
        support::HttpServer const web(world.served(""));
        for (auto const& streams : support::selectionsOfStreams()) {
            bool fetched = false;
            {
                support::ClosedStreams const closed(streams);
                fetched =
                    zel::IRCalibrationManager::downloadTarget("a;", "12345678", world.target());
            }
            EXPECT_TRUE(fetched);
            EXPECT_EQ(support::readFile(world.target() + "/a"), "content");
        }
    });
}

TEST(DownloadTarget, KeepsWhatWgetSaysOutOfTheFilesWhenChildrenDoNotInheritTheErrorStream) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served(cameraDirectory) + "a", "content");
        support::HttpServer const web(world.served(""));
        int const flags = fcntl(STDERR_FILENO, F_GETFD);
        fcntl(STDERR_FILENO, F_SETFD, FD_CLOEXEC);
        zel::IRCalibrationManager::downloadTarget("a;", "12345678", world.target());
        fcntl(STDERR_FILENO, F_SETFD, flags);
        EXPECT_EQ(support::readFile(world.target() + "/a"), "content");
    });
}

TEST(DownloadTarget, LooksForACameraOfOneDigitBelowThatDigitTwice) {
    inDownloadWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served("/cali/7/7/Califiles SN7/a"), "of camera 7");
        support::HttpServer const web(world.served(""));
        fetch(world, "a;", "7");
        EXPECT_EQ(support::readFile(world.target() + "/a"), "of camera 7");
    });
}
