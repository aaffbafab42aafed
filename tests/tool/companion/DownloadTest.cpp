// Downloads through the real wget from a real web server.
#include "tests/tool/companion/Companion.h"

#include "tests/support/Camera.h"
#include "tests/support/DownloadWorld.h"
#include "tests/support/HttpServer.h"
#include "tests/support/LogLines.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <functional>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using companiontest::makeHint;
using companiontest::said;
using support::DownloadWorld;
using support::HttpServer;
using support::Outcome;
using support::Tree;
using support::writeFile;

constexpr unsigned long serial = 12345678;
std::string const description = "Cali-12345678.xml";
std::string const data = "Cali-12345678-23-M20-100.dat";
std::string const curve = "Kennlinie-12345678-23-M20-100.prn";
std::string const cameraDirectory = "/cali/12/1234/Califiles SN12345678/";

Tree const wholeSet{{description, support::smallDescription()}, {data, data}, {curve, curve}};
std::string const allInstalled =
    description + ": installed\n" + data + ": installed\n" + curve + ": installed\n";

/// What the companion itself wrote to the standard error stream, without the lines of wget.
std::string remarksIn(Outcome const& outcome) {
    std::string remarks;
    for (auto const& line : support::lines(outcome.standardError)) {
        if (line.rfind("zentho-cali: ", 0) == 0)
            remarks += line + "\n";
    }
    return remarks;
}

class CompanionDownload : public companiontest::Companion {
protected:
    /// Runs the body beside a server that has these files of the camera's set.
    void served(std::vector<std::string> const& names,
                std::function<void(DownloadWorld const&)> const& body) const {
        support::inDownloadWorld([&](DownloadWorld const& world) {
            world.serveLink();
            fs::create_directories(world.served(cameraDirectory));
            for (auto const& name : names)
                writeFile(world.served(cameraDirectory) + name, wholeSet.at(name));
            HttpServer const web(world.served(""));
            body(world);
        });
    }

    /// Runs the body beside a server that has a description whose optic has this text.
    static void servedWithText(std::string const& text,
                               std::function<void(DownloadWorld const&)> const& body) {
        support::inDownloadWorld([&](DownloadWorld const& world) {
            world.serveLink();
            fs::create_directories(world.served(cameraDirectory));
            auto const camera =
                support::camera(static_cast<int>(serial)).optic(23).text(text).range(-20, 100);
            writeFile(world.served(cameraDirectory) + description, camera.description());
            HttpServer const web(world.served(""));
            body(world);
        });
    }

    static Outcome download(DownloadWorld const& world,
                            std::vector<std::string> const& options = {},
                            std::string const& signals = "--default-signal=CHLD") {
        std::vector<std::string> words{
            "env", signals, companiontest::program, "download", "12345678", "-t", "target"};
        words.insert(words.end(), options.begin(), options.end());
        return support::run(words, fs::path(world.target()).parent_path());
    }
};

} // namespace

TEST_F(CompanionDownload, InstallsTheWholeSet) {
    served({description, data, curve}, [](DownloadWorld const& world) {
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
        EXPECT_EQ(outcome.standardOutput, allInstalled);
        EXPECT_EQ(support::tree(world.target()), wholeSet);
    });
}

TEST_F(CompanionDownload, AddsNoRemarkWhenAllIsWell) {
    served({description, data, curve},
           [](DownloadWorld const& world) { EXPECT_EQ(remarksIn(download(world)), ""); });
}

TEST_F(CompanionDownload, AsksNoServerForACompleteSet) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        support::writeSmallSet(world.target(), serial);
        auto const outcome = download(world);
        EXPECT_EQ(support::seen(outcome), support::exited(0, "", ""));
    });
}

TEST_F(CompanionDownload, NamesOnlyWhatCameWithThisRun) {
    served({description, data, curve}, [](DownloadWorld const& world) {
        support::writeSmallSet(world.target(), serial);
        fs::remove(world.target() + "/" + curve);
        EXPECT_EQ(download(world).standardOutput, curve + ": installed\n");
    });
}

TEST_F(CompanionDownload, NamesNoFileAsInstalledThatWasThereBeforeTheDescription) {
    served({description, curve}, [](DownloadWorld const& world) {
        writeFile(world.target() + "/" + data, data);
        EXPECT_EQ(download(world).standardOutput,
                  description + ": installed\n" + curve + ": installed\n");
    });
}

TEST_F(CompanionDownload, NamesAFileThatTheServerLacksAsStillMissing) {
    served({description, data}, [](DownloadWorld const& world) {
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.standardOutput,
                  description + ": installed\n" + data + ": installed\n" + curve + ": missing\n");
        EXPECT_EQ(remarksIn(outcome), said("Not complete."));
    });
}

TEST_F(CompanionDownload, LeavesNoEmptyFileForWhatTheServerLacks) {
    served({description, data}, [](DownloadWorld const& world) {
        download(world);
        EXPECT_FALSE(fs::exists(world.target() + "/" + curve));
    });
}

TEST_F(CompanionDownload, NamesTheDescriptionOfACameraThatTheServerDoesNotKnow) {
    served({}, [](DownloadWorld const& world) {
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.standardOutput, description + ": missing\n");
        EXPECT_EQ(support::tree(world.target()), Tree{});
    });
}

TEST_F(CompanionDownload, FetchesAFileThatAnEarlierDownloadLeftEmpty) {
    served({curve}, [](DownloadWorld const& world) {
        support::writeSmallSet(world.target(), serial);
        writeFile(world.target() + "/" + curve, "");
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(outcome.standardOutput, curve + ": installed\n");
        EXPECT_EQ(support::tree(world.target()), wholeSet);
    });
}

TEST_F(CompanionDownload, FetchesTheWholeSetWhenTheDescriptionIsEmpty) {
    served({description, data, curve}, [](DownloadWorld const& world) {
        writeFile(world.target() + "/" + description, "");
        auto const outcome = download(world);
        EXPECT_EQ(outcome.standardOutput, allInstalled);
        EXPECT_EQ(support::tree(world.target()), wholeSet);
    });
}

TEST_F(CompanionDownload, KeepsAnEmptyFileOfTheCallers) {
    served({}, [](DownloadWorld const& world) {
        support::writeSmallSet(world.target(), serial);
        writeFile(world.target() + "/" + curve, "");
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.standardOutput, curve + ": empty\n");
        EXPECT_TRUE(fs::exists(world.target() + "/" + curve));
    });
}

TEST_F(CompanionDownload, DoesNotTakeAPageOfAnotherServerForADescription) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        world.serveLink();
        writeFile(world.served(cameraDirectory) + description, "<html>\nPlease log in\n</html>\n");
        HttpServer const web(world.served(""));
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.standardOutput, description + ": unreadable\n");
    });
}

TEST_F(CompanionDownload, TouchesNoFileOutsideTheTarget) {
    servedWithText(";../outside/precious;../outside/fresh;", [](DownloadWorld const& world) {
        std::string const outside = world.target() + "/../outside";
        fs::create_directory(outside);
        writeFile(outside + "/precious", "mine");
        EXPECT_EQ(download(world).exitStatus, 1);
        EXPECT_EQ(support::tree(outside), (Tree{{"precious", "mine"}}));
    });
}

TEST_F(CompanionDownload, RemovesNoEmptyFileOutsideTheTarget) {
    servedWithText("/../../outside/", [](DownloadWorld const& world) {
        std::string const name = "-M20-100.dat"; // what follows the text in a name
        std::string const outside = world.target() + "/../outside";
        fs::create_directory(outside);
        fs::create_directory(world.target() + "/Cali-12345678-23-");
        writeFile(outside + "/" + name, "");
        EXPECT_EQ(download(world).exitStatus, 1);
        EXPECT_EQ(support::tree(outside), (Tree{{name, ""}}));
    });
}

TEST_F(CompanionDownload, TouchesNoFileOfAnotherCamera) {
    servedWithText(";Cali-99.xml;", [](DownloadWorld const& world) {
        writeFile(world.target() + "/Cali-99.xml", "of another camera");
        EXPECT_EQ(download(world).exitStatus, 1);
        EXPECT_EQ(support::readFile(world.target() + "/Cali-99.xml"), "of another camera");
    });
}

TEST_F(CompanionDownload, SaysThatTheDownloadFailed) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        auto const outcome = download(world);
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.standardOutput, description + ": missing\n");
        EXPECT_EQ(remarksIn(outcome),
                  said("The download did not go through; -v tells why.") + said("Not complete."));
        auto const answer = download(world, {"--json"}).standardOutput;
        EXPECT_NE(answer.find("\"message\": \"The download did not go through; -v tells why.\""),
                  std::string::npos)
            << answer;
    });
}

TEST_F(CompanionDownload, SaysVerboselyWhyTheDownloadFailed) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        auto const error = download(world, {"-v"}).standardError;
        EXPECT_NE(error.find(":Error parsing download links file: "), std::string::npos);
    });
}

TEST_F(CompanionDownload, WritesToADirectoryWithBlanksAndDollarsInItsName) {
    served({description, data, curve}, [](DownloadWorld const& world) {
        auto const directory = world.target() + "/a $HOME; b";
        fs::create_directory(directory);
        EXPECT_EQ(download(world, {"-t", directory}).exitStatus, 0);
        EXPECT_EQ(support::tree(directory), wholeSet);
    });
}

TEST_F(CompanionDownload, SucceedsWhenTheCallerIgnoresItsChildren) {
    served({description, data, curve}, [](DownloadWorld const& world) {
        auto const outcome = download(world, {"-v"}, "--ignore-signal=CHLD");
        EXPECT_EQ(outcome.standardOutput, allInstalled);
        EXPECT_EQ(outcome.standardError.find("ERROR"), outcome.standardError.find("ERROR 404"));
    });
}

TEST_F(CompanionDownload, NamesADirectoryThatDoesNotExist) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        EXPECT_EQ(support::seen(download(world, {"-t", "none"})),
                  support::exited(
                      3, "",
                      said("Cannot use the calibration directory none: No such file or directory") +
                          makeHint("none")));
    });
}

TEST_F(CompanionDownload, NamesADirectoryThatMayNotBeWritten) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        fs::permissions(world.target(), fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(support::seen(download(world)),
                  support::exited(3, "",
                                  said("Cannot use the calibration directory target: Permission"
                                       " denied")));
        fs::permissions(world.target(), fs::perms::owner_all);
    });
}

TEST_F(CompanionDownload, RefusesToRunBesideAnotherDownload) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        int const other = open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ASSERT_EQ(flock(other, LOCK_EX), 0);
        EXPECT_EQ(support::seen(download(world)),
                  support::exited(3, "",
                                  said("Cannot lock /tmp: Resource temporarily unavailable") +
                                      companiontest::hinted("Another download is under way.")));
        close(other);
    });
}

TEST_F(CompanionDownload, NeedsADirectoryForTheLinksFile) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        support::TemporaryDirectory const unused;
        fs::permissions("/tmp", fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(support::seen(download(world)),
                  support::exited(3, "", said("Cannot use /tmp: Permission denied")));
        fs::permissions("/tmp", fs::perms::owner_all);
    });
}

TEST_F(CompanionDownload, DropsTheRecordOfAnInstallationWhenItFetchesAFile) {
    served({curve}, [](DownloadWorld const& world) {
        std::string const usb = world.target() + "/../usb";
        support::writeSmallSet(usb, serial);
        auto const where = fs::path(world.target()).parent_path();
        support::run({companiontest::program, "install", "12345678", "-s", "usb", "-t", "target"},
                     where);
        fs::remove(world.target() + "/" + curve);
        EXPECT_EQ(download(world).exitStatus, 0);
        auto const verified =
            support::run({companiontest::program, "verify", "12345678", "-t", "target"}, where);
        EXPECT_EQ(verified.exitStatus, 3) << verified.standardOutput;
    });
}

TEST_F(CompanionDownload, KeepsTheRecordOfACompleteInstallation) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        std::string const usb = world.target() + "/../usb";
        support::writeSmallSet(usb, serial);
        auto const where = fs::path(world.target()).parent_path();
        support::run({companiontest::program, "install", "12345678", "-s", "usb", "-t", "target"},
                     where);
        EXPECT_EQ(download(world).exitStatus, 0);
        EXPECT_EQ(
            support::run({companiontest::program, "verify", "12345678", "-t", "target"}, where)
                .exitStatus,
            0);
    });
}

TEST_F(CompanionDownload, RefusesToRunBesideAnInstallation) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        fs::create_directory(world.target() + "/.zentho-cali");
        int const lock = open((world.target() + "/.zentho-cali/lock").c_str(),
                              O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        ASSERT_EQ(fcntl(lock, F_OFD_SETLK, &whole), 0);
        auto const outcome = download(world, {"--no-wait"});
        EXPECT_EQ(outcome.exitStatus, 3);
        EXPECT_NE(outcome.standardError.find("changes target\n"), std::string::npos)
            << outcome.standardError;
        close(lock);
    });
}

TEST_F(CompanionDownload, AnswersInJson) {
    served({description, data}, [](DownloadWorld const& world) {
        auto const answer = download(world, {"--json"}).standardOutput;
        EXPECT_EQ(answer, "{\n"
                          "  \"command\": \"download\",\n"
                          "  \"status\": 1,\n"
                          "  \"serial\": 12345678,\n"
                          "  \"directory\": \"target\",\n"
                          "  \"changed\": true,\n"
                          "  \"complete\": false,\n"
                          "  \"files\": [\n"
                          "    {\n"
                          "      \"name\": \"Cali-12345678.xml\",\n"
                          "      \"state\": \"installed\"\n"
                          "    },\n"
                          "    {\n"
                          "      \"name\": \"Cali-12345678-23-M20-100.dat\",\n"
                          "      \"state\": \"installed\"\n"
                          "    },\n"
                          "    {\n"
                          "      \"name\": \"Kennlinie-12345678-23-M20-100.prn\",\n"
                          "      \"state\": \"missing\"\n"
                          "    }\n"
                          "  ],\n"
                          "  \"problems\": [\n"
                          "    {\n"
                          "      \"name\": \"Kennlinie-12345678-23-M20-100.prn\",\n"
                          "      \"state\": \"missing\",\n"
                          "      \"path\": \"target/Kennlinie-12345678-23-M20-100.prn\",\n"
                          "      \"message\": \"missing\"\n"
                          "    }\n"
                          "  ]\n"
                          "}\n");
        EXPECT_TRUE(companiontest::fitsTheSchema(answer));
    });
}

TEST_F(CompanionDownload, AnswersInJsonAlsoOnFailure) {
    support::inDownloadWorld([](DownloadWorld const& world) {
        auto const answer = download(world, {"-t", "none", "--json"}).standardOutput;
        EXPECT_EQ(answer.substr(0, 42), "{\n  \"command\": \"download\",\n  \"status\": 3,\n");
        EXPECT_TRUE(companiontest::fitsTheSchema(answer));
    });
}
