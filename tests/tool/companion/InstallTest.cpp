#include "tests/tool/companion/Companion.h"

#include "tests/support/Camera.h"
#include "tests/support/Namespace.h"
#include "tests/support/SmallSet.h"
#include "tests/support/UsbTree.h"
#include "util/FileDescriptor.h"

#include <algorithm>
#include <filesystem>
#include <functional>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using companiontest::curve;
using companiontest::data;
using companiontest::description;
using companiontest::hinted;
using companiontest::said;
using support::exited;
using support::writeFile;

std::string const unplug = said("From here on the source may be unplugged.");

std::string states(std::string const& state) {
    return data + ": " + state + "\n" + description + ": " + state + "\n" + curve + ": " + state +
           "\n";
}

std::string const installedAll =
    exited(0, states("installed"), unplug + said("Camera 7 is complete: 3 installed."));

// Camera 7 has the small set on a stick of its own.
class CompanionInstall : public companiontest::Companion {
protected:
    CompanionInstall() { support::writeSmallSet(usb + "/7", 7); }

    std::string fromUsb(std::vector<std::string> const& options = {}) const {
        std::vector<std::string> words{"install", "7", "-s", "usb", "-t", "cali"};
        words.insert(words.end(), options.begin(), options.end());
        return seenOf(words);
    }

    /// Runs the body with a USB bus of its own.
    static void onBus(std::function<void()> const& body) {
        support::inPrivateNamespaces([&] {
            support::emptyUsbTree();
            body();
        });
    }

    /// Runs the body where nothing is mounted for media, and where it can be.
    static void withMedia(std::function<void()> const& body) {
        support::inPrivateNamespaces([&] {
            for (auto const* place : {"/media", "/mnt"})
                support::mountTmpfs(place);
            body();
        });
    }

    /// Mounts a medium with the camera's set, as a desktop does.
    static void plugIn(std::string const& name, unsigned long serial) {
        std::string const place = "/media/someone/" + name;
        fs::create_directories(place);
        support::mountTmpfs(place);
        support::writeSmallSet(place + "/set", serial);
    }

    /// Locks the calibration directory as process 4711.
    zel::FileDescriptor lockAsAnotherProcess() const {
        fs::create_directory(installed(".zentho-cali"));
        zel::FileDescriptor lock(
            open(installed(".zentho-cali/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(write(lock.get(), "4711\n", 5), 5);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        EXPECT_EQ(fcntl(lock.get(), F_OFD_SETLK, &whole), 0);
        return lock;
    }

    std::string const usb = root.path() + "/usb";
};

} // namespace

TEST_F(CompanionInstall, BringsInAWholeSet) {
    EXPECT_EQ(fromUsb(), installedAll);
    EXPECT_EQ(seenOf({"verify", "7", "-s", "usb", "-t", "cali"}),
              exited(0, states("same"), said("Camera 7: 3 same; complete.")));
}

TEST_F(CompanionInstall, SaysThatThereWasNothingToDo) {
    fromUsb();
    EXPECT_EQ(fromUsb(),
              exited(0, states("unchanged"), said("Camera 7 is unchanged and complete.")));
}

TEST_F(CompanionInstall, MakesTheDirectoryAndItsParents) {
    EXPECT_EQ(seenOf({"install", "7", "-s", "usb", "-t", "a/b c/d"}), installedAll);
    EXPECT_TRUE(fs::exists(root.path() + "/a/b c/d/" + data));
}

TEST_F(CompanionInstall, TakesASourceWhosePathBeginsWithAHyphenAndHoldsQuotesAndBrackets) {
    fs::rename(usb, root.path() + "/-s 'q' [x] \"y\"");
    EXPECT_EQ(seenOf({"install", "7", "-s", "-s 'q' [x] \"y\"", "-t", "cali"}), installedAll);
}

TEST_F(CompanionInstall, ChangesNothingWhenFilesAreMissing) {
    fs::remove(usb + "/7/" + curve);
    EXPECT_EQ(fromUsb(), exited(1, curve + ": missing\n",
                                said("Camera 7 was not changed: 1 missing.") +
                                    said("The source holds camera 7.") +
                                    hinted("This installs what there is:",
                                           {"zentho-cali install --partial 7 -s usb -t cali"})));
    EXPECT_EQ(support::tree(cali), support::Tree{});
}

TEST_F(CompanionInstall, InstallsWhatThereIsOnRequest) {
    fs::remove(usb + "/7/" + curve);
    EXPECT_EQ(fromUsb({"--partial"}),
              exited(1,
                     data + ": installed\n" + description + ": installed\n" + curve + ": missing\n",
                     unplug + said("Camera 7 is not complete: 2 installed, 1 missing.") +
                         said("The source holds camera 7.")));
}

TEST_F(CompanionInstall, NamesTheCamerasOfTheSourceForAWrongSerialNumber) {
    support::writeSmallSet(usb + "/9", 9);
    EXPECT_EQ(seenOf({"install", "8", "-s", "usb", "-t", "cali"}),
              exited(1, "Cali-8.xml: missing\n",
                     said("Camera 8 was not changed: 1 missing.") +
                         said("The source holds cameras 7 and 9.")));
}

TEST_F(CompanionInstall, NamesTheFilesThatAreDifferentCopies) {
    writeFile(usb + "/old/" + data, "another one");
    EXPECT_EQ(fromUsb(),
              exited(1, data + ": ambiguous\n",
                     said("usb/7/" + data + ", usb/old/" + data + ": These files differ.") +
                         said("Camera 7 was not changed: 1 ambiguous.")));
}

TEST_F(CompanionInstall, RefusesAnEmptyFileAlsoForAPartialSet) {
    writeFile(usb + "/7/" + data, "");
    EXPECT_EQ(fromUsb({"--partial"}), exited(1, data + ": damaged\n",
                                             said("usb/7/" + data + ": It is empty.") +
                                                 said("Camera 7 was not changed: 1 damaged.")));
}

TEST_F(CompanionInstall, SaysWhatItWouldDo) {
    EXPECT_EQ(fromUsb({"--dry-run"}),
              exited(0, states("installed"), said("Camera 7 would be complete: 3 installed.")));
    EXPECT_EQ(support::tree(cali), support::Tree{});
}

TEST_F(CompanionInstall, RemovesWhatNobodyNamesOnRequest) {
    fromUsb();
    writeFile(installed("Cali-7-old.dat"), "old");
    auto const seen = fromUsb({"--prune"});
    EXPECT_NE(seen.find("Cali-7-old.dat: removed\n"), std::string::npos) << seen;
    EXPECT_FALSE(fs::exists(installed("Cali-7-old.dat")));
}

TEST_F(CompanionInstall, TellsOfWhatNobodyNames) {
    fromUsb();
    writeFile(installed("Cali-7-old.dat"), "old");
    auto const seen = fromUsb();
    EXPECT_NE(seen.find("cali/Cali-7-old.dat"), std::string::npos) << seen;
}

TEST_F(CompanionInstall, NamesASourceThatDoesNotExist) {
    EXPECT_EQ(seenOf({"install", "7", "-s", "none", "-t", "cali"}),
              exited(3, "", said("Cannot use the source none: No such file or directory")));
}

TEST_F(CompanionInstall, NamesADirectoryThatMayNotBeWritten) {
    support::inPrivateNamespaces([&] {
        fs::permissions(cali, fs::perms::owner_read | fs::perms::owner_exec);
        support::giveUpPrivileges();
        EXPECT_EQ(
            fromUsb(),
            exited(3, "", said("Cannot make the directory cali/.zentho-cali: Permission denied")));
    });
}

TEST_F(CompanionInstall, HintsAtRootToAnOrdinaryUser) {
    auto const seen = seenOfOrdinaryUser("install 7 -s usb -t cali");
    EXPECT_EQ(seen, exited(3, "",
                           said("Cannot make the directory cali/.zentho-cali: Permission denied") +
                               hinted("Root may do this:",
                                      {"sudo zentho-cali install 7 -s usb -t cali"})));
}

TEST_F(CompanionInstall, NamesTheRoomThatADiskLacks) {
    support::inPrivateNamespaces([&] {
        std::string const disk = root.path() + "/disk";
        fs::create_directory(disk);
        ASSERT_EQ(mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k"), 0);
        writeFile(usb + "/7/" + data, std::string(100000, 'x'));
        auto const outcome = ask({"install", "7", "-s", "usb", "-t", "disk"});
        EXPECT_EQ(outcome.exitStatus, 3);
        EXPECT_EQ(outcome.standardOutput, "");
        EXPECT_NE(outcome.standardError.find("There is not enough room in disk: "),
                  std::string::npos)
            << outcome.standardError;
        EXPECT_NE(outcome.standardError.find(" bytes are needed, "), std::string::npos)
            << outcome.standardError;
        EXPECT_EQ(support::tree(disk), support::Tree{});
    });
}

TEST_F(CompanionInstall, TakesTheOnlyAttachedCamera) {
    onBus([&] {
        support::attach("1-1", support::camera("7\n"));
        EXPECT_EQ(seenOf({"install", "-s", "usb", "-t", "cali"}), installedAll);
    });
}

TEST_F(CompanionInstall, NamesTheAttachedCamerasWhenThereAreSeveral) {
    onBus([&] {
        support::attach("1-1", support::camera("78\n"));
        support::attach("1-2", support::camera("7\n"));
        EXPECT_EQ(seenOf({"install", "-s", "usb", "-t", "cali"}),
                  exited(3, "",
                         said("Several cameras are attached: 7 and 78") +
                             hinted("Name one:", {"zentho-cali install 7 -s usb -t cali",
                                                  "zentho-cali install 78 -s usb -t cali"})));
    });
}

TEST_F(CompanionInstall, SaysThatNoCameraIsAttached) {
    support::writeSmallSet(usb + "/78", 78);
    onBus([&] {
        EXPECT_EQ(seenOf({"install", "-s", "usb", "-t", "cali"}),
                  exited(3, "",
                         said("No camera is attached") +
                             hinted("The source holds these cameras:",
                                    {"zentho-cali install 7 -s usb -t cali",
                                     "zentho-cali install 78 -s usb -t cali",
                                     "zentho-cali install --all -s usb -t cali"})));
    });
}

TEST_F(CompanionInstall, NamesNoCameraWhereItKnowsNoSource) {
    onBus([&] {
        std::string const said =
            companiontest::said("No camera is attached") +
            hinted("Add a serial number, or --all for every camera that the stick holds.");
        EXPECT_EQ(seenOf({"install", "-t", "cali"}), exited(3, "", said));
        EXPECT_EQ(seenOf({"install", "-s", "none", "-t", "cali"}), exited(3, "", said));
    });
}

TEST_F(CompanionInstall, TakesAllTogetherWhereTheSourceHoldsTooManyCamerasToNameEach) {
    for (unsigned long serial = 100; serial < 120; ++serial)
        support::writeSmallSet(usb + "/more", serial);
    onBus([&] {
        EXPECT_EQ(seenOf({"install", "-s", "usb", "-t", "cali"}),
                  exited(3, "",
                         said("No camera is attached") +
                             hinted("The source holds these cameras:",
                                    {"zentho-cali install --all -s usb -t cali"})));
    });
}

TEST_F(CompanionInstall, TakesEveryCameraOfTheSource) {
    support::writeSmallSet(usb + "/78", 78);
    EXPECT_EQ(seenOf({"install", "--all", "-s", "usb", "-t", "cali"}),
              exited(0,
                     states("installed") + "Cali-78-23-M20-100.dat: installed\n"
                                           "Cali-78.xml: installed\n"
                                           "Kennlinie-78-23-M20-100.prn: installed\n",
                     unplug + said("Camera 7 is complete: 3 installed.") +
                         said("Camera 78 is complete: 3 installed.")));
}

TEST_F(CompanionInstall, TakesTheOtherCamerasWhenOneIsNotWhole) {
    support::writeSmallSet(usb + "/78", 78);
    fs::remove(usb + "/7/" + curve);
    auto const outcome = ask({"install", "--all", "-s", "usb", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.standardOutput, curve + ": missing\nCali-78-23-M20-100.dat: installed\n"
                                              "Cali-78.xml: installed\n"
                                              "Kennlinie-78-23-M20-100.prn: installed\n");
}

TEST_F(CompanionInstall, TakesTheOtherCamerasWhenAFolderStandsInAFilesPlace) {
    support::writeSmallSet(usb + "/78", 78);
    fs::create_directory(installed(data));
    auto const outcome = ask({"install", "--all", "-s", "usb", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_TRUE(fs::exists(installed(support::descriptionName(78))));
}

TEST_F(CompanionInstall, SaysThatASourceHoldsNoCamera) {
    fs::create_directory(root.path() + "/empty");
    EXPECT_EQ(seenOf({"install", "--all", "-s", "empty", "-t", "cali"}),
              exited(1, "", said("empty holds no camera's description.")));
}

TEST_F(CompanionInstall, FindsTheMediumThatHoldsTheCamera) {
    withMedia([&] {
        plugIn("USB STICK", 7);
        plugIn("OTHER", 8);
        EXPECT_EQ(seenOf({"install", "7", "-t", "cali"}),
                  exited(0, states("installed"),
                         said("Taking the files from /media/someone/USB STICK.") + unplug +
                             said("Camera 7 is complete: 3 installed.")));
    });
}

TEST_F(CompanionInstall, ListsTheMediaWhenSeveralHoldTheCamera) {
    withMedia([&] {
        plugIn("USB STICK", 7);
        plugIn("OTHER", 7);
        EXPECT_EQ(
            seenOf({"install", "7", "-t", "cali"}),
            exited(3, "",
                   said("Several mounted media hold it: /media/someone/OTHER,"
                        " /media/someone/USB STICK") +
                       hinted("Name one:", {"zentho-cali install -s /media/someone/OTHER 7 -t cali",
                                            "zentho-cali install -s '/media/someone/USB STICK' 7 -t"
                                            " cali"})));
    });
}

TEST_F(CompanionInstall, SaysThatNoMediumHoldsTheCamera) {
    withMedia([&] {
        plugIn("OTHER", 8);
        EXPECT_EQ(seenOf({"install", "7", "-t", "cali"}),
                  exited(3, "",
                         said("No medium that is mounted below /media, /run/media or /mnt holds the"
                              " description of camera 7") +
                             hinted("-s names a directory or an archive that does.")));
    });
}

TEST_F(CompanionInstall, DoesNotTakeTheCalibrationDirectoryForAPartOfTheSource) {
    std::string const below =
        said("Not searched, since it is the calibration directory: ./installed");
    EXPECT_EQ(seenOf({"install", "7", "-s", ".", "-t", "./installed"}), installedAll);
    std::string const newData = "newer " + data;
    writeFile(usb + "/7/" + data, newData);
    EXPECT_EQ(
        seenOf({"install", "7", "-s", ".", "-t", "installed"}),
        exited(0, data + ": replaced\n" + description + ": unchanged\n" + curve + ": unchanged\n",
               unplug + below + said("Camera 7 is complete: 1 replaced, 2 unchanged.")));
    EXPECT_EQ(seenOf({"verify", "7", "-s", ".", "-t", "installed"}),
              exited(0, states("same"), below + said("Camera 7: 3 same; complete.")));
}

TEST_F(CompanionInstall, DoesNotTakeTheCalibrationDirectoryForAMedium) {
    withMedia([&] {
        plugIn("STICK", 7);
        plugIn("installed", 7);
        EXPECT_EQ(seenOf({"install", "7", "-t", "/media/someone/installed"}),
                  exited(0, states("installed"),
                         said("Taking the files from /media/someone/STICK.") + unplug +
                             said("Camera 7 is complete: 3 installed.")));
    });
}

TEST_F(CompanionInstall, DoesNotSearchTheCalibrationDirectoryOnAMedium) {
    withMedia([&] {
        plugIn("STICK", 7);
        support::writeSmallSet("/media/someone/STICK/installed", 8);
        EXPECT_EQ(ask({"install", "8", "-t", "/media/someone/STICK/installed"}).exitStatus, 3);
        EXPECT_EQ(ask({"install", "7", "-t", "/media/someone/STICK/installed"}).exitStatus, 0);
    });
}

TEST_F(CompanionInstall, AnswersInJson) {
    EXPECT_EQ(jsonOf({"install", "7", "-s", "usb", "-t", "cali"}),
              "{\n"
              "  \"command\": \"install\",\n"
              "  \"status\": 0,\n"
              "  \"serial\": 7,\n"
              "  \"directory\": \"cali\",\n"
              "  \"source\": \"usb\",\n"
              "  \"changed\": true,\n"
              "  \"complete\": true,\n"
              "  \"bytes\": " +
                  std::to_string(data.size() + curve.size() + support::smallDescription().size()) +
                  ",\n"
                  "  \"files\": [\n"
                  "    {\n"
                  "      \"name\": \"Cali-7-23-M20-100.dat\",\n"
                  "      \"state\": \"installed\"\n"
                  "    },\n"
                  "    {\n"
                  "      \"name\": \"Cali-7.xml\",\n"
                  "      \"state\": \"installed\"\n"
                  "    },\n"
                  "    {\n"
                  "      \"name\": \"Kennlinie-7-23-M20-100.prn\",\n"
                  "      \"state\": \"installed\"\n"
                  "    }\n"
                  "  ],\n"
                  "  \"problems\": []\n"
                  "}\n");
}

TEST_F(CompanionInstall, AnswersInJsonThatNothingChanged) {
    fromUsb();
    auto const answer = jsonOf({"install", "7", "-s", "usb", "-t", "cali"});
    EXPECT_NE(answer.find("  \"changed\": false,\n  \"complete\": true,\n  \"bytes\": 0,\n"),
              std::string::npos)
        << answer;
}

TEST_F(CompanionInstall, AnswersInJsonWithEveryPathOfDifferentCopies) {
    writeFile(usb + "/old/" + data, "another one");
    auto const answer = jsonOf({"install", "7", "-s", "usb", "-t", "cali"});
    EXPECT_NE(answer.find("\"path\": \"usb/7/" + data + "\""), std::string::npos) << answer;
    EXPECT_NE(answer.find("\"path\": \"usb/old/" + data + "\""), std::string::npos) << answer;
}

TEST_F(CompanionInstall, AnswersInJsonAlsoOnFailure) {
    EXPECT_EQ(jsonOf({"install", "7", "-s", "none", "-t", "cali"}),
              "{\n"
              "  \"command\": \"install\",\n"
              "  \"status\": 3,\n"
              "  \"serial\": 7,\n"
              "  \"directory\": \"cali\",\n"
              "  \"source\": \"none\",\n"
              "  \"changed\": false,\n"
              "  \"complete\": false,\n"
              "  \"bytes\": 0,\n"
              "  \"files\": [],\n"
              "  \"problems\": [],\n"
              "  \"error\": {\n"
              "    \"message\": \"Cannot use the source\",\n"
              "    \"path\": \"none\",\n"
              "    \"reason\": \"No such file or directory\",\n"
              "    \"hint\": null\n"
              "  }\n"
              "}\n");
}

TEST_F(CompanionInstall, AnswersInJsonAlsoWithoutACamera) {
    onBus([&] {
        auto const answer = jsonOf({"install", "-t", "cali"});
        EXPECT_NE(answer.find("  \"serial\": null,\n"), std::string::npos) << answer;
        EXPECT_NE(answer.find("  \"source\": null,\n"), std::string::npos) << answer;
    });
}

TEST_F(CompanionInstall, AnswersInJsonForEveryCamera) {
    support::writeSmallSet(usb + "/78", 78);
    fs::remove(usb + "/7/" + curve);
    fs::create_directory(installed(support::dataName(78)));
    auto const answer = jsonOf({"install", "--all", "-s", "usb", "-t", "cali"});
    std::string const start = "{\n"
                              "  \"command\": \"install\",\n"
                              "  \"status\": 3,\n"
                              "  \"directory\": \"cali\",\n"
                              "  \"source\": \"usb\",\n"
                              "  \"changed\": false,\n"
                              "  \"complete\": false,\n"
                              "  \"problems\": [],\n"
                              "  \"cameras\": [\n"
                              "    {\n"
                              "      \"serial\": 7,\n";
    EXPECT_EQ(answer.substr(0, start.size()), start);
}

TEST_F(CompanionInstall, SaysWhyAnEqualSetCannotBeRecorded) {
    support::writeSmallSet(cali, 7);
    std::string const why = "The set cannot be recorded in cali: Read-only file system";
    support::inPrivateNamespaces([&] {
        ASSERT_EQ(mount(cali.c_str(), cali.c_str(), nullptr, MS_BIND, nullptr), 0);
        ASSERT_EQ(mount(nullptr, cali.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr),
                  0);
        EXPECT_EQ(fromUsb(), exited(0, states("unchanged"),
                                    said(why) + said("Camera 7 is unchanged and complete.")));
        auto const answer = jsonOf({"install", "7", "-s", "usb", "-t", "cali"});
        EXPECT_NE(answer.find("\"message\": \"" + why + "\""), std::string::npos) << answer;
    });
}

TEST_F(CompanionInstall, SaysWhoKeepsAnEqualSetFromBeingRecorded) {
    support::writeSmallSet(cali, 7);
    auto const lock = lockAsAnotherProcess();
    EXPECT_EQ(fromUsb({"--no-wait"}),
              exited(0, states("unchanged"),
                     said("The set cannot be recorded: Another process changes cali") +
                         said("Camera 7 is unchanged and complete.")));
}

TEST_F(CompanionInstall, NamesInJsonWhatARemarkIsAbout) {
    fromUsb();
    writeFile(installed("Cali-7-old.dat"), "old");
    auto const answer = jsonOf({"install", "7", "-s", "usb", "-t", "cali"});
    EXPECT_NE(answer.find("\"message\": \"Neither the source nor the description names "
                          "cali/Cali-7-old.dat\""),
              std::string::npos)
        << answer;
}

TEST_F(CompanionInstall, DoesNotWaitForAnotherProcessWhenToldSo) {
    auto const lock = lockAsAnotherProcess();
    EXPECT_EQ(fromUsb({"--no-wait"}),
              exited(3, "",
                     said("Process 4711 changes cali") +
                         hinted("Without --no-wait, this waits for up to a minute.")));
}

TEST_F(CompanionInstall, SaysInJsonThatTheSourceHoldsNoCamera) {
    fs::create_directory(root.path() + "/none");
    auto const answer = jsonOf({"install", "--all", "-s", "none", "-t", "cali"});
    EXPECT_NE(answer.find("\"message\": \"none holds no camera's description.\""),
              std::string::npos)
        << answer;
}

TEST_F(CompanionInstall, SaysThatTheCamerasMayBeWhereTheSourceCannotBeSearched) {
    fs::create_directories(root.path() + "/none/locked");
    support::inPrivateNamespaces([&] {
        fs::permissions(root.path() + "/none/locked", fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(seenOf({"install", "--all", "-s", "none", "-t", "cali"}),
                  exited(3, "", said("Cannot search none/locked: Permission denied")));
    });
}

TEST_F(CompanionInstall, SaysOnceForWhomItWaits) {
    auto const lock = lockAsAnotherProcess();
    // The shell itself would tell that its child was terminated.
    EXPECT_EQ(seenOfShell("\"$0\" install 7 -s usb -t cali > out 2>&1 & exec 2> /dev/null;"
                          " sleep 1; kill $!; wait $!; cat out; exit 0"),
              exited(0,
                     said("Waiting for process 4711, which changes cali.") +
                         said("Interrupted; nothing was changed"),
                     ""));
}

TEST_F(CompanionInstall, OfAllCamerasOfASourceThatIsMissingFails) {
    auto const outcome = ask({"install", "--all", "-s", "nowhere", "-t", "cali"});
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_NE(outcome.standardError.find("Cannot use the source nowhere"), std::string::npos)
        << outcome.standardError;
}

TEST_F(CompanionInstall, SaysWhyItCannotLookForMedia) {
    auto const outcome =
        support::run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-o",
                      "/dev/null", "-P", "/proc/self/mountinfo", "-e", "inject=openat:error=EMFILE",
                      companiontest::program, "install", "7", "-t", "cali"},
                     root.path());
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_NE(
        outcome.standardError.find(said("Cannot read /proc/self/mountinfo: Too many open files")),
        std::string::npos)
        << outcome.standardError;
}
