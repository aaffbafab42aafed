// Downloads through the real wget from a real web server, which serves the files below
// repository().
#include "sdk/IRCalibrationManager.h"

#include "tests/support/HttpServer.h"
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

std::string const server = "http://download.zentho.example";

/// What stands in the download links file around its links.
std::string linksAround(std::string const& strings) {
    return "<?xml version=\"1.0\"?>\n<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n" + strings +
           "</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n";
}

std::string linkTo(std::string const& url) {
    return "<string>" + url + "</string>\n";
}

/// A directory that the web server serves, and one to download to.
class World {
public:
    std::string target() const { return m_directory.path() + "/target"; }
    std::string served(std::string const& path) const { return m_directory.path() + "/www" + path; }

    void serveLinks(std::string const& content) const {
        support::writeFile(served("/downloadlinks.xml"), content);
    }
    void serveLink() const { serveLinks(linksAround(linkTo(server + "/cali"))); }
    void serveSet() const { support::writeSmallSet(served(cameraDirectory), serial); }

private:
    support::TemporaryDirectory m_directory;
};

/// Runs the body in a world of its own, in which nothing of the machine's settings for wget counts.
void inWorld(std::function<void(World const&)> const& body) {
    support::inPrivateNamespaces([&] {
        support::mountTmpfs("/tmp");
        unsetenv("TMPDIR");
        for (auto const* name : {"http_proxy", "HTTP_PROXY", "WGETRC", "SYSTEM_WGETRC"}) {
            unsetenv(name);
        }
        setenv("no_proxy", "*", 1);
        support::resolveToLoopback("download.zentho.example");
        World const world;
        fs::create_directories(world.served(""));
        fs::create_directories(world.target());
        setenv("HOME", world.target().c_str(), 1);
        body(world);
    });
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

TEST(DownloadCalibration, InstallsTheWholeSetOfACamera) {
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
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

TEST(DownloadCalibration, TellsThatAllFilesAreInstalledAndNothingElse) {
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, installed);
    });
}

TEST(DownloadCalibration, FetchesTheDescriptionFirstAndThenWhatItNames) {
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
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
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
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
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
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
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
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
    inWorld([](World const& world) {
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
    inWorld([](World const& world) {
        world.serveLink();
        world.serveSet();
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
    inWorld([](World const& world) {
        support::HttpServer const web(world.served(""));
        auto const outcome = install(world);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, withDownloadFailed(malformedLinks));
        EXPECT_EQ(web.requests(), Lines{"GET /downloadlinks.xml 404"});
    });
}

TEST(DownloadCalibration, FailsWhenTheServerRefusesTheConnection) {
    inWorld([](World const& world) {
        auto const outcome = install(world);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, withDownloadFailed(malformedLinks));
    });
}

TEST(DownloadCalibration, FailsWithoutWget) {
    inWorld([](World const& world) {
        setenv("PATH", world.target().c_str(), 1);
        auto const outcome = install(world);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, withDownloadFailed(unreadableLinks));
    });
}

TEST(DownloadTarget, LeavesNoLinksFileWhenTheServerHasNone) {
    inWorld([](World const& world) {
        support::HttpServer const web(world.served(""));
        fetch(world, "a;");
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, LeavesNoLinksFileWhenTheServerRefusesTheConnection) {
    inWorld([](World const& world) {
        fetch(world, "a;");
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, ReportsABrokenLinksFileWithTheReadersWords) {
    inWorld([](World const& world) {
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
    inWorld([](World const& world) {
        std::string const broken = "<DownloadLinks>\n<Imager>\n<!-- a\n</DownloadLinks>\n";
        fetchWithLinks(world, broken);
        EXPECT_EQ(support::readFile(linksFile), broken);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithAnotherRoot) {
    inWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, "<Links>\n<string>x</string>\n</Links>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithoutImager) {
    inWorld([](World const& world) {
        auto const outcome =
            fetchWithLinks(world, "<DownloadLinks>\n<CaliData>\n<Links>\n<string>x</string>\n"
                                  "</Links>\n</CaliData>\n</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithoutCaliData) {
    inWorld([](World const& world) {
        auto const outcome =
            fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n<Links>\n<string>x</string>\n"
                                  "</Links>\n</Imager>\n</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, FailsForALinksFileWithoutLinks) {
    inWorld([](World const& world) {
        auto const outcome =
            fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n<CaliData>\n<string>x</string>\n"
                                  "</CaliData>\n</Imager>\n</DownloadLinks>\n");
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.log, malformedLinks);
    });
}

TEST(DownloadTarget, RemovesALinksFileThatLacksAnElement) {
    inWorld([](World const& world) {
        fetchWithLinks(world, "<DownloadLinks>\n<Imager>\n</Imager>\n</DownloadLinks>\n");
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, RemovesTheLinksFileThatItHasRead) {
    inWorld([](World const& world) {
        fetchWithLinks(world, linksAround(linkTo(server + "/cali")));
        EXPECT_FALSE(fs::exists(linksFile));
    });
}

TEST(DownloadTarget, ReportsEveryFileWithAnEmptyUrlWhenThereAreNoLinks) {
    inWorld([](World const& world) {
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
    inWorld([](World const& world) {
        world.serveLinks(linksAround(linkTo(server + "/empty") + linkTo(server + "/cali")));
        support::writeFile(world.served(cameraDirectory) + "a", "of the second link");
        support::HttpServer const web(world.served(""));
        EXPECT_TRUE(fetch(world, "a;").result);
        EXPECT_EQ(web.requests(), (Lines{"GET /downloadlinks.xml 200",
                                         "GET /empty/12/1234/Califiles%20SN12345678/a 404"}));
    });
}

TEST(DownloadTarget, SucceedsQuietlyForAFileThatTheServerLacks) {
    inWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, linksAround(linkTo(server + "/cali")));
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, SucceedsQuietlyWhenTheRepositoryRefusesTheConnection) {
    inWorld([](World const& world) {
        auto const outcome = fetchWithLinks(world, linksAround(linkTo("http://127.0.0.1:81/cali")));
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, ReplacesAFileOfTheSameName) {
    inWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served(cameraDirectory) + "a", "new");
        support::writeFile(world.target() + "/a", "old and longer");
        support::HttpServer const web(world.served(""));
        fetch(world, "a;");
        EXPECT_EQ(support::readFile(world.target() + "/a"), "new");
    });
}

TEST(DownloadTarget, GoesOnBehindAnEmptyFileName) {
    inWorld([](World const& world) {
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
    inWorld([](World const& world) {
        world.serveLink();
        support::HttpServer const web(world.served(""));
        auto const outcome = fetch(world, ";");
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(outcome.log, Lines{});
    });
}

TEST(DownloadTarget, LooksForACameraOfOneDigitBelowThatDigitTwice) {
    inWorld([](World const& world) {
        world.serveLink();
        support::writeFile(world.served("/cali/7/7/Califiles SN7/a"), "of camera 7");
        support::HttpServer const web(world.served(""));
        fetch(world, "a;", "7");
        EXPECT_EQ(support::readFile(world.target() + "/a"), "of camera 7");
    });
}
