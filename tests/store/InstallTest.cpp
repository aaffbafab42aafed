// Bringing sets in.
#include "tests/store/StoreFixture.h"

#include "store/Publication.h"
#include "store/Stop.h"

#include "tests/support/Command.h"
#include "tests/support/Namespace.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;

std::string const wholeInstalled = "changed, complete\n"
                                   "Cali-7-23-M20-100.dat: installed\n"
                                   "Cali-7.xml: installed\n"
                                   "Kennlinie-7-23-M20-100.prn: installed\n";
std::string const wholeUnchanged = "unchanged, complete\n"
                                   "Cali-7-23-M20-100.dat: unchanged\n"
                                   "Cali-7.xml: unchanged\n"
                                   "Kennlinie-7-23-M20-100.prn: unchanged\n";

InstallOptions partial() {
    InstallOptions options;
    options.partial = true;
    return options;
}

InstallOptions prune() {
    InstallOptions options;
    options.prune = true;
    return options;
}

InstallOptions dryRun(InstallOptions options = {}) {
    options.dryRun = true;
    return options;
}

class StoreInstall : public Store {
protected:
    StoreInstall() { putOnStick(camera(7)); }
};

mode_t modeOf(std::string const& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

} // namespace

TEST_F(StoreInstall, BringsAWholeSetIntoADirectoryThatIsMissing) {
    EXPECT_EQ(seen(install(7)), wholeInstalled);
    EXPECT_EQ(installed(data), "1 " + data);
    EXPECT_EQ(installed(curve), "1 " + curve);
    EXPECT_EQ(installed(description), camera(7).description());
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, LeavesTheLockAndTheRecordInTheHiddenFolderAndNothingElse) {
    install(7);
    Tree const tree = treeOf(hidden);
    EXPECT_EQ(tree.size(), 2U);
    EXPECT_EQ(tree.count("lock"), 1U);
    EXPECT_EQ(tree.count("7.sha256"), 1U);
}

TEST_F(StoreInstall, RecordsWhatSha256sumCanCheck) {
    install(7);
    auto const outcome =
        support::run({"sha256sum", "-c", "--strict", ".zentho-cali/7.sha256"}, cali);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.standardError;
    EXPECT_EQ(outcome.standardOutput, data + ": OK\n" + description + ": OK\n" + curve + ": OK\n");
}

TEST_F(StoreInstall, TellsSourceAndSizesInTheRecord) {
    install(7);
    std::string const record = support::readFile(hidden + "/7.sha256");
    EXPECT_EQ(record.rfind("# source " + stick + "\n# date 20", 0), 0U) << record;
    EXPECT_NE(record.find("# size 23 " + data + "\n"), std::string::npos) << record;
}

TEST_F(StoreInstall, WritesNothingWhenThereIsNothingToDo) {
    install(7);
    auto const before =
        support::run({"sh", "-c", "find cali -printf '%p %T@ %C@ %i\\n' | sort"}, root.path());
    EXPECT_EQ(seen(install(7)), wholeUnchanged);
    auto const after =
        support::run({"sh", "-c", "find cali -printf '%p %T@ %C@ %i\\n' | sort"}, root.path());
    EXPECT_EQ(before.standardOutput, after.standardOutput);
}

TEST_F(StoreInstall, ReplacesWhatDiffersAndLeavesTheRest) {
    install(7);
    writeFile(stick + "/" + data, "2 " + data);
    EXPECT_EQ(seen(install(7)), "changed, complete\n"
                                "Cali-7-23-M20-100.dat: replaced\n"
                                "Cali-7.xml: unchanged\n"
                                "Kennlinie-7-23-M20-100.prn: unchanged\n");
    EXPECT_EQ(installed(data), "2 " + data);
    EXPECT_EQ(check(7), "complete\n");
    EXPECT_EQ(seen(store.verify(7, {})), "same, complete\n" + data + ": same\n" + description +
                                             ": same\n" + curve + ": same\n");
}

TEST_F(StoreInstall, RecordsAnewWhatSomebodyElseInstalledMeanwhile) {
    install(7);
    writeFile(stick + "/" + data, "2 " + data);
    writeFile(cali + "/" + data, "2 " + data);
    EXPECT_FALSE(store.verify(7, {}).same);
    EXPECT_EQ(seen(install(7)), "changed, complete\n"
                                "Cali-7-23-M20-100.dat: unchanged\n"
                                "Cali-7.xml: unchanged\n"
                                "Kennlinie-7-23-M20-100.prn: unchanged\n");
    EXPECT_TRUE(store.verify(7, {}).same);
}

TEST_F(StoreInstall, ChangesNothingWhenTheSourceLacksAFile) {
    putOnStick(camera(8));
    fs::remove(stick + "/" + curve);
    EXPECT_EQ(seen(install(7)),
              "unchanged, not complete\n" + curve + ": missing\nholds 7\nholds 8\n");
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, NamesTheDescriptionWhenTheSourceLacksTheCamera) {
    EXPECT_EQ(seen(install(9)), "unchanged, not complete\nCali-9.xml: missing\nholds 7\n");
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, InstallsWhatThereIsWhenAskedTo) {
    fs::remove(stick + "/" + curve);
    std::string const answer = "changed, not complete\n" + data + ": installed\n" + description +
                               ": installed\n" + curve + ": missing\nholds 7\n";
    EXPECT_EQ(seen(install(7, partial())), answer);
    EXPECT_EQ(check(7), "not complete\n" + curve + ": missing\n");
}

TEST_F(StoreInstall, CountsAFileThatIsInstalledWithTheSameDescription) {
    install(7);
    fs::remove(stick + "/" + curve);
    writeFile(stick + "/" + data, "2");
    EXPECT_EQ(seen(install(7)), "changed, complete\n" + data + ": replaced\n" + description +
                                    ": unchanged\n" + curve + ": unchanged\n");
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, DoesNotCountAnInstalledFileThatIsNotWhatWasRecorded) {
    install(7);
    fs::remove(stick + "/" + curve);
    writeFile(cali + "/" + curve, "altered");
    EXPECT_EQ(seen(install(7)), "unchanged, not complete\n" + curve + ": missing\nholds 7\n");
}

TEST_F(StoreInstall, NeverCompletesANewDescriptionWithOldData) {
    install(7);
    auto newer = camera(7).mainSection();
    putOnStick(newer, "2");
    fs::remove(stick + "/" + curve);
    EXPECT_EQ(seen(install(7)), "unchanged, not complete\n" + curve + ": missing\nholds 7\n");
    EXPECT_EQ(installed(data), "1 " + data);
    EXPECT_EQ(seen(install(7, partial())),
              "changed, not complete\n" + data + ": replaced\n" + description + ": replaced\n" +
                  curve + ": missing\nremark: Removed, since it belongs to another description: " +
                  cali + "/" + curve + "\nholds 7\n");
    EXPECT_FALSE(fs::exists(cali + "/" + curve));
    EXPECT_EQ(check(7), "not complete\n" + curve + ": missing\n");
}

TEST_F(StoreInstall, InstallsFilesThatTheDescriptionDoesNotAskFor) {
    writeFile(stick + "/Cali-7-notes.txt", "notes");
    install(7);
    EXPECT_EQ(installed("Cali-7-notes.txt"), "notes");
}

TEST_F(StoreInstall, TouchesNoFileOfACameraWhoseNumberBeginsTheSame) {
    putOnStick(camera(71));
    writeFile(cali + "/Cali-71.xml", "newer");
    install(7, prune());
    EXPECT_EQ(installed("Cali-71.xml"), "newer");
    EXPECT_FALSE(fs::exists(cali + "/Cali-71-23-M20-100.dat"));
}

TEST_F(StoreInstall, FindsNamesInCapitalsAndInstallsThemAsTheyAreSpelt) {
    for (std::string const& name : {description, data, curve}) {
        std::string upper = name;
        for (char& c : upper)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        fs::rename(stick + "/" + name, stick + "/" + upper);
    }
    EXPECT_EQ(seen(install(7)), wholeInstalled + "remark: Installed as " + data + ": " + stick +
                                    "/CALI-7-23-M20-100.DAT\nremark: Installed as " + description +
                                    ": " + stick + "/CALI-7.XML\nremark: Installed as " + curve +
                                    ": " + stick + "/KENNLINIE-7-23-M20-100.PRN\n");
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, TakesEqualFilesOfOneNameForOne) {
    writeFile(stick + "/copy/" + data, "1 " + data);
    EXPECT_EQ(seen(install(7)), wholeInstalled);
}

TEST_F(StoreInstall, RefusesDifferentFilesOfOneName) {
    writeFile(stick + "/copy/" + data, "other");
    EXPECT_EQ(seen(install(7, partial())), "unchanged, not complete\n" + data +
                                               ": ambiguous (These files differ.) [" + stick + "/" +
                                               data + "] [" + stick + "/copy/" + data + "]\n");
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, RefusesAnEmptyFileOfTheSet) {
    writeFile(stick + "/" + data, "");
    EXPECT_EQ(seen(install(7, partial())), "unchanged, not complete\n" + data +
                                               ": damaged (It is empty.) [" + stick + "/" + data +
                                               "]\n");
}

TEST_F(StoreInstall, RefusesWhatASumBesideItContradicts) {
    auto const sums =
        support::run({"sh", "-c", "sha256sum Cali-* Kennlinie-* > SHA256SUMS"}, stick);
    ASSERT_EQ(sums.exitStatus, 0);
    EXPECT_EQ(seen(install(7, dryRun())), wholeInstalled);
    writeFile(stick + "/" + data, "other");
    EXPECT_EQ(seen(install(7)), "unchanged, not complete\n" + data +
                                    ": damaged (SHA256SUMS beside it has another sum.) [" + stick +
                                    "/" + data + "]\n");
}

namespace {

class StoreInstallOfADamagedDescription : public StoreInstall {
protected:
    std::string whatItSays(std::string const& text) {
        writeFile(stick + "/" + description, text);
        return seen(install(7, partial()));
    }
    std::string damaged(std::string const& why) const {
        return "unchanged, not complete\n" + description + ": damaged (" + why + ") [" + stick +
               "/" + description + "]\n";
    }
};

} // namespace

TEST_F(StoreInstallOfADamagedDescription, IsRefusedWhereverItWasCutOff) {
    std::string const whole = camera(7).description();
    for (std::size_t length = 0; length < whole.rfind("</CaliData>"); length += 7)
        EXPECT_NE(whatItSays(whole.substr(0, length)).find(": damaged"), std::string::npos)
            << length;
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstallOfADamagedDescription, IsRefusedWithoutOptics) {
    EXPECT_EQ(whatItSays("<CaliData>\n<Main></Main>\n</CaliData>\n"),
              damaged("It names no optic."));
}

TEST_F(StoreInstallOfADamagedDescription, IsRefusedWithCommentsThatDoNotPairUp) {
    std::string text = camera(7).description();
    text.insert(text.rfind("</CaliData>"), "<!-- \n");
    EXPECT_EQ(whatItSays(text), damaged("Its comments do not pair up."));
}

TEST_F(StoreInstallOfADamagedDescription, IsRefusedWhenItAsksForANameThatNoFileCanHave) {
    for (std::string const& text :
         {std::string("a/b"), std::string("a\x01"), std::string(300, 'x')})
        EXPECT_EQ(whatItSays(support::Camera(7).optic(23).text(text).range(0, 1).description()),
                  damaged("It asks for a file of a name that no file can have."));
}

TEST_F(StoreInstall, SaysInADryRunWhatTheRunThenSays) {
    writeFile(cali + "/Cali-7-old.dat", "old");
    std::vector<InstallOptions> const ways{{}, prune(), partial()};
    for (std::string const version : {"1", "2", "2"}) {
        putOnStick(camera(7), version);
        for (InstallOptions const& way : ways) {
            auto const before = treeOf(cali);
            std::string const said = seen(install(7, dryRun(way)));
            EXPECT_EQ(treeOf(cali), before);
            EXPECT_EQ(seen(install(7, way)), said);
        }
    }
}

TEST_F(StoreInstall, NamesLeftoversAndRemovesThemWhenAskedTo) {
    install(7);
    writeFile(cali + "/Cali-7-old.dat", "old");
    EXPECT_EQ(seen(install(7)), wholeUnchanged +
                                    "remark: Neither the source nor the description "
                                    "names " +
                                    cali + "/Cali-7-old.dat\n");
    EXPECT_EQ(seen(install(7, prune())), "changed, complete\nCali-7-23-M20-100.dat: unchanged\n"
                                         "Cali-7-old.dat: removed\nCali-7.xml: unchanged\n"
                                         "Kennlinie-7-23-M20-100.prn: unchanged\n");
    EXPECT_FALSE(fs::exists(cali + "/Cali-7-old.dat"));
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, RecordsAnEqualSetThatHasNoRecord) {
    install(7);
    fs::remove_all(hidden);
    EXPECT_EQ(seen(install(7)), "changed, complete\n"
                                "Cali-7-23-M20-100.dat: unchanged\n"
                                "Cali-7.xml: unchanged\n"
                                "Kennlinie-7-23-M20-100.prn: unchanged\n");
    EXPECT_TRUE(fs::exists(hidden + "/7.sha256"));
    EXPECT_EQ(seen(install(7)), wholeUnchanged);
}

TEST_F(StoreInstall, GivesFilesTheirRightsWhateverTheUmask) {
    mode_t const mask = umask(0077);
    install(7);
    umask(mask);
    EXPECT_EQ(modeOf(cali), 0755U);
    EXPECT_EQ(modeOf(hidden), 0755U);
    EXPECT_EQ(modeOf(hidden + "/7.sha256"), 0644U);
    EXPECT_EQ(modeOf(hidden + "/lock"), 0600U);
    for (std::string const& name : {description, data, curve})
        EXPECT_EQ(modeOf(cali + "/" + name), 0644U);
}

TEST_F(StoreInstall, KeepsModificationTimes) {
    auto const time = fs::last_write_time(stick + "/" + data) - std::chrono::hours(1000);
    fs::last_write_time(stick + "/" + data, time);
    install(7);
    EXPECT_EQ(fs::last_write_time(cali + "/" + data), time);
}

TEST_F(StoreInstall, ReplacesALinkAndNeverWritesThroughIt) {
    writeFile(root.path() + "/precious", "1 " + data);
    fs::create_directories(cali);
    fs::create_symlink(root.path() + "/precious", cali + "/" + data);
    install(7);
    EXPECT_FALSE(fs::is_symlink(cali + "/" + data));
    writeFile(stick + "/" + data, "2");
    install(7);
    EXPECT_EQ(support::readFile(root.path() + "/precious"), "1 " + data);
}

TEST_F(StoreInstall, RefusesAFolderInAFilesPlace) {
    fs::create_directories(cali + "/" + data);
    auto const before = treeOf(cali);
    EXPECT_EQ(seen(install(7)), "failed: A folder stands in a file's place: " + cali + "/" + data +
                                    "\nunchanged, not complete\n");
    EXPECT_EQ(treeOf(cali), before);
}

TEST_F(StoreInstall, RefusesAHiddenFolderThatIsALink) {
    fs::create_directories(cali);
    fs::create_directories(root.path() + "/elsewhere");
    fs::create_directory_symlink(root.path() + "/elsewhere", hidden);
    auto const outcome = install(7);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::inTheWay);
    EXPECT_TRUE(fs::is_empty(root.path() + "/elsewhere"));
}

TEST_F(StoreInstall, CancelledBeforeTheJournalLeavesEverythingAsItWas) {
    install(7);
    putOnStick(camera(7), "2");
    auto const before = treeOf(cali);
    auto source = zel::store::Source::open(stick, {});
    for (auto const phase : {zel::store::Phase::comparing, zel::store::Phase::copying,
                             zel::store::Phase::readingBack}) {
        auto const outcome = store.install(
            7, *source.source, {}, [&](auto const& progress) { return progress.phase != phase; });
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
        EXPECT_FALSE(outcome.changed);
        Tree now = treeOf(cali);
        now[".zentho-cali/lock"] = before.at(".zentho-cali/lock");
        EXPECT_EQ(now, before);
    }
}

TEST_F(StoreInstall, CancelledOnAFreshDirectoryLeavesNoDirectory) {
    auto source = zel::store::Source::open(stick, {});
    auto const outcome = store.install(7, *source.source, {}, [](auto const& progress) {
        return progress.phase != zel::store::Phase::readingBack;
    });
    ASSERT_TRUE(outcome.failure);
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, CancelledAfterTheJournalIsFinishedAndSaysSo) {
    auto source = zel::store::Source::open(stick, {});
    int calls = 0;
    auto const outcome = store.install(7, *source.source, {}, [&](auto const& progress) {
        bool const isPublishing = progress.phase == zel::store::Phase::publishing;
        return !isPublishing || ++calls < 2;
    });
    EXPECT_FALSE(outcome.failure);
    EXPECT_TRUE(outcome.cancelledTooLate);
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, CountsTheFilesOfTheSetAlone) {
    std::map<zel::store::Phase, std::string> last;
    auto source = zel::store::Source::open(stick, {});
    auto const outcome = store.install(7, *source.source, {}, [&](auto const& progress) {
        last[progress.phase] =
            std::to_string(progress.files) + " of " + std::to_string(progress.allFiles) + ", " +
            std::to_string(progress.bytes) + " of " + std::to_string(progress.allBytes);
        return true;
    });
    std::uintmax_t bytes = 0;
    for (auto const& file : outcome.files)
        bytes += file.bytes;
    std::string const all = "3 of 3, " + std::to_string(bytes) + " of " + std::to_string(bytes);
    EXPECT_EQ(last[zel::store::Phase::copying], all);
    EXPECT_EQ(last[zel::store::Phase::readingBack], all);
}

TEST_F(StoreInstall, FailsWhenOneOfTwoCopiesCannotBeRead) {
    support::inPrivateNamespaces([&] {
        support::giveUpPrivileges();
        writeFile(stick + "/other/" + data, "1 " + data);
        fs::permissions(stick + "/other/" + data, fs::perms::none);
        EXPECT_EQ(seen(install(7)), "failed: Cannot read " + stick + "/other/" + data +
                                        ": Permission denied\nunchanged, not complete\n");
    });
}

TEST_F(StoreInstall, FailsWhenAFileBecameAFolderSinceTheSearch) {
    auto const source = zel::store::Source::open(stick, {});
    fs::remove(stick + "/" + data);
    fs::create_directory(stick + "/" + data);
    auto const outcome = store.install(7, *source.source, {}, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->path, stick + "/" + data);
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, ACallbackThatThrowsCancels) {
    auto source = zel::store::Source::open(stick, {});
    auto const outcome =
        store.install(7, *source.source, {}, [](auto const&) -> bool { throw std::string("no"); });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}

TEST_F(StoreInstall, SaysHowMuchRoomIsMissing) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(cali);
        ASSERT_EQ(mount("none", cali.c_str(), "tmpfs", 0, "size=256k"), 0);
        writeFile(stick + "/" + data, std::string(300000, 'x'));
        auto const outcome = install(7);
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::noRoom);
        EXPECT_GT(outcome.failure->needed, 300000U);
        EXPECT_LE(outcome.failure->available, 262144U);
        EXPECT_TRUE(fs::is_empty(cali));
    });
}

TEST_F(StoreInstall, OfAnEqualSetNeedsNoRightToWrite) {
    install(7);
    support::inPrivateNamespaces([&] {
        ASSERT_EQ(mount(cali.c_str(), cali.c_str(), nullptr, MS_BIND, nullptr), 0);
        ASSERT_EQ(mount(nullptr, cali.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr),
                  0);
        EXPECT_EQ(seen(install(7)), wholeUnchanged);
        putOnStick(camera(7), "2");
        auto const outcome = install(7);
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->error, EROFS);
    });
}

TEST_F(StoreInstall, OfAnEqualSetThatCannotBeRecordedSaysSo) {
    install(7);
    fs::remove_all(hidden);
    support::inPrivateNamespaces([&] {
        ASSERT_EQ(mount(cali.c_str(), cali.c_str(), nullptr, MS_BIND, nullptr), 0);
        ASSERT_EQ(mount(nullptr, cali.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr),
                  0);
        EXPECT_EQ(seen(install(7)), wholeUnchanged + "remark: The set cannot be recorded in " +
                                        cali + ": Read-only file system\n");
    });
}

TEST_F(StoreInstall, TakesPathsOfAnyKind) {
    std::string longName(200, 'l');
    for (std::string const& name :
         {std::string("USB STICK"), std::string("it's \"quoted\" [x]"), std::string("-s"),
          std::string("ü\xFF"), longName + "/" + longName}) {
        std::string const place = root.path() + "/places/" + name;
        fs::create_directories(place);
        fs::copy(stick, place + "/from", fs::copy_options::recursive);
        auto source = zel::store::Source::open(place + "/from", {});
        ASSERT_TRUE(source.source);
        CalibrationStore there(place + "/to");
        EXPECT_EQ(seen(there.install(7, *source.source, {}, {})), wholeInstalled);
        EXPECT_TRUE(there.check(7).complete);
    }
}

TEST_F(StoreInstall, LeavesAFolderAloneThatIsOnlyOnItsWay) {
    fs::create_directories(root.path() + "/shared");
    fs::permissions(root.path() + "/shared", fs::perms::all | fs::perms::sticky_bit);
    CalibrationStore there(root.path() + "/shared/foo/../cali");
    auto source = zel::store::Source::open(stick, {});
    there.install(7, *source.source, {}, {});
    EXPECT_EQ(modeOf(root.path() + "/shared"), 01777U);
}

TEST_F(StoreInstall, NoticesAFileThatChangesWhileItIsCopied) {
    for (std::string const& name : {data, description}) {
        auto source = zel::store::Source::open(stick, {});
        std::string const whole = support::readFile(stick + "/" + name);
        auto const outcome = store.install(7, *source.source, {}, [&](auto const& progress) {
            if (progress.phase == zel::store::Phase::copying && progress.files == 0)
                writeFile(stick + "/" + name,
                          name == data ? "" : camera(7).mainSection().description());
            return true;
        });
        ASSERT_TRUE(outcome.failure) << name;
        EXPECT_FALSE(fs::exists(cali));
        writeFile(stick + "/" + name, whole);
    }
}

TEST_F(StoreInstall, TakesNoRoomFromItselfAfterItWasKilled) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(cali);
        ASSERT_EQ(mount("none", cali.c_str(), "tmpfs", 0, "size=1m"), 0);
        writeFile(stick + "/" + data, std::string(600000, 'x'));
        writeFile(hidden + "/stage/0", std::string(500000, 'x'));
        EXPECT_EQ(seen(install(7)), wholeInstalled);
    });
}

TEST_F(StoreInstall, PrunesNothingWhileAPartOfTheSourceCannotBeSearched) {
    install(7);
    writeFile(cali + "/Cali-7-old.dat", "old");
    support::inPrivateNamespaces([&] {
        support::giveUpPrivileges();
        fs::create_directories(stick + "/locked");
        fs::permissions(stick + "/locked", fs::perms::none);
        EXPECT_EQ(seen(install(7, prune())), "failed: Cannot search " + stick +
                                                 "/locked: Permission denied\nunchanged, not "
                                                 "complete\n");
        EXPECT_EQ(seen(install(7)),
                  wholeUnchanged + "remark: Neither the source nor the description names " + cali +
                      "/Cali-7-old.dat\nremark: Cannot be searched: " + stick +
                      "/locked: Permission denied\n");
        fs::remove(stick + "/" + data);
        putOnStick(camera(7).mainSection(), "2");
        fs::remove(stick + "/" + data);
        EXPECT_TRUE(install(7, partial()).failure);
        fs::permissions(stick + "/locked", fs::perms::owner_all);
    });
}

TEST_F(StoreInstall, RefusesWhatCannotBeMovedBeforeAnythingChanges) {
    install(7);
    putOnStick(camera(7), "2");
    support::inPrivateNamespaces([&] {
        ASSERT_EQ(mount(hidden.c_str(), hidden.c_str(), nullptr, MS_BIND, nullptr), 0);
        auto const before = treeOf(cali);
        auto const outcome = install(7);
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::inTheWay);
        EXPECT_FALSE(outcome.interrupted);
        Tree now = treeOf(cali);
        now[".zentho-cali/lock"] = before.at(".zentho-cali/lock");
        EXPECT_EQ(now, before);
    });
}

TEST_F(StoreInstall, HashesAgainAfterAFileChangedInAnyWay) {
    install(7);
    writeFile(stick + "/" + data, "2 " + data);
    writeFile(cali + "/" + data, "2 " + data);
    ASSERT_EQ(support::run({"chmod", "-R", "go+w", "cali"}, root.path()).exitStatus, 0);
    EXPECT_TRUE(install(7).changed);
    EXPECT_TRUE(store.verify(7, {}).same);
}

TEST_F(StoreInstall, LeavesNoFoldersWhenTheDirectoryCannotBeMade) {
    CalibrationStore there(root.path() + "/a/b/" + std::string(300, 'x') + "/c");
    auto source = zel::store::Source::open(stick, {});
    auto const outcome = there.install(7, *source.source, {}, {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->error, ENAMETOOLONG);
    EXPECT_FALSE(fs::exists(root.path() + "/a"));
}

TEST_F(StoreInstall, MendsTheModeOfAHiddenFolderThatAKilledProcessMade) {
    fs::create_directories(hidden);
    fs::permissions(hidden, fs::perms::owner_all);
    install(7);
    EXPECT_EQ(modeOf(hidden), 0755U);
}

TEST_F(StoreInstall, OfAnEqualSetOnAFullDiskIsCompleteAllTheSame) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(cali);
        ASSERT_EQ(mount("none", cali.c_str(), "tmpfs", 0, "size=1m"), 0);
        install(7);
        fs::copy(stick, cali, fs::copy_options::overwrite_existing);
        ASSERT_EQ(support::run({"sh", "-c", "cat /dev/zero > full"}, cali).exitStatus, 1);
        auto const outcome = install(7);
        EXPECT_TRUE(outcome.complete) << seen(outcome);
        EXPECT_FALSE(outcome.failure) << seen(outcome);
    });
}

TEST_F(StoreInstall, RefusesSerialNumbersThatNoCameraHas) {
    auto source = zel::store::Source::open(stick, {});
    for (unsigned long const serial : {0UL, 2147483648UL, ~0UL}) {
        EXPECT_EQ(store.install(serial, *source.source, {}, {}).failure->error, EINVAL);
        EXPECT_EQ(store.remove(serial, {}, {}).failure->error, EINVAL);
        EXPECT_EQ(store.check(serial).failure->error, EINVAL);
        EXPECT_EQ(store.verify(serial, {}).failure->error, EINVAL);
    }
}

TEST_F(StoreInstall, OfFilesLargerThanAnyDiskSaysHowMuchIsNeeded) {
    for (std::string const& name : {data, curve})
        fs::resize_file(stick + "/" + name, std::uintmax_t{1} << 43U);
    auto const outcome = install(7);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::noRoom);
    EXPECT_GE(outcome.failure->needed, std::uint64_t{1} << 44U);
}

TEST_F(StoreInstall, TakesTheNameInProperCapitalsForTheRightOne) {
    std::string const respelt = "CALI-7-23-M20-100.DAT";
    std::string const remark =
        "remark: Left out, since there is another one with exactly the right "
        "name: ";
    writeFile(stick + "/m/" + data, "1 " + data);
    fs::remove(stick + "/" + data);
    for (std::string const folder : {"/a/", "/z/"}) { // before and after the right one
        fs::remove_all(cali);
        writeFile(stick + folder + respelt, "other");
        EXPECT_EQ(seen(install(7)), wholeInstalled + remark + stick + folder + respelt + "\n");
        EXPECT_EQ(installed(data), "1 " + data);
        fs::remove_all(stick + folder);
    }
}

TEST_F(StoreInstall, OfADescriptionWhoseNamesDifferInCapitalsTakesThemAsTheyAre) {
    support::Camera const twins =
        support::Camera(7).optic(23).text("a").range(-20, 100).optic(23).text("A").range(-20, 100);
    fs::remove_all(stick);
    putOnStick(twins);
    EXPECT_TRUE(install(7).complete);
    EXPECT_EQ(check(7), "complete\n");
    for (std::string const& name : twins.fileNames())
        EXPECT_TRUE(fs::exists(cali + "/" + name)) << name;
    // In other capitals, it could be either of the two.
    for (std::string const& name : twins.fileNames()) {
        if (name != description)
            fs::remove(stick + "/" + name);
    }
    fs::remove_all(cali);
    writeFile(stick + "/CALI-7-23-A-M20-100.DAT", "whose?");
    EXPECT_FALSE(install(7).complete);
}

TEST_F(StoreInstall, OfASourceWithoutADescriptionBringsDataInOnlyBeforeOne) {
    fs::remove(stick + "/" + description);
    EXPECT_EQ(seen(install(7, partial())), "changed, not complete\n" + data + ": installed\n" +
                                               description + ": missing\n" + curve +
                                               ": installed\n");
    putOnStick(camera(7));
    install(7);
    fs::remove(stick + "/" + description);
    EXPECT_EQ(seen(install(7, partial())),
              "unchanged, not complete\n" + description + ": missing\n");
    fs::remove_all(stick);
    fs::create_directory(stick);
    EXPECT_EQ(seen(install(9, partial())), "unchanged, not complete\nCali-9.xml: missing\n");
}

TEST_F(StoreInstall, CountsAFileThatIsInstalledWithoutARecord) {
    install(7);
    fs::remove(hidden + "/7.sha256");
    fs::remove(stick + "/" + curve);
    EXPECT_EQ(seen(install(7)), "changed, complete\n" + data + ": unchanged\n" + description +
                                    ": unchanged\n" + curve + ": unchanged\n");
}

TEST_F(StoreInstall, CountsNoInstalledFileOfOtherBytesOrNone) {
    install(7);
    fs::remove(stick + "/" + curve);
    std::string const lacks = "unchanged, not complete\n" + curve + ": missing\nholds 7\n";
    writeFile(cali + "/" + curve, "2 " + curve);
    EXPECT_EQ(seen(install(7)), lacks);
    writeFile(cali + "/" + curve, "");
    EXPECT_EQ(seen(install(7)), lacks);
    fs::remove(cali + "/" + curve);
    EXPECT_EQ(seen(install(7)), lacks);
}

TEST_F(StoreInstall, RecordsAFileThatTheRecordLacks) {
    install(7);
    writeFile(cali + "/Cali-7-more.dat", "more");
    writeFile(stick + "/Cali-7-more.dat", "more");
    EXPECT_TRUE(install(7).changed);
    EXPECT_TRUE(store.verify(7, {}).same);
    // One that is recorded, but neither in the source nor installed any more, is recorded no
    // longer.
    fs::remove(cali + "/Cali-7-more.dat");
    fs::remove(stick + "/Cali-7-more.dat");
    EXPECT_TRUE(install(7).changed);
    EXPECT_TRUE(store.verify(7, {}).same);
}

TEST_F(StoreInstall, NoticesOneOfSeveralCopiesThatChangesWhileItIsCopied) {
    writeFile(stick + "/more/" + data, "1 " + data);
    auto source = zel::store::Source::open(stick, {});
    auto const outcome = store.install(7, *source.source, {}, [&](auto const& progress) {
        if (progress.phase == zel::store::Phase::copying && progress.files == 0)
            writeFile(stick + "/" + data, "2 " + data);
        return true;
    });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->error, EIO);
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, NoticesAMediumThatGivesBackOtherBytes) {
    auto source = zel::store::Source::open(stick, {});
    auto const outcome = store.install(7, *source.source, {}, [&](auto const& progress) {
        if (progress.phase == zel::store::Phase::readingBack && progress.files == 0)
            writeFile(hidden + "/stage/0", "2 " + data);
        return true;
    });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->message, "The medium does not give back what was written to");
    EXPECT_FALSE(fs::exists(cali));
}

TEST_F(StoreInstall, RefusesASumsFileThatIsTooLarge) {
    writeFile(stick + "/SHA256SUMS", "");
    fs::resize_file(stick + "/SHA256SUMS", (std::uintmax_t{1} << 26U) + 1);
    auto const outcome = install(7);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->error, EFBIG);
}

TEST_F(StoreInstall, PassesOverLinesOfASumsFileThatAreNotOurs) {
    writeFile(stick + "/SHA256SUMS", "rubbish\n" + std::string(64, '0') + "  Cali-8.xml\n" +
                                         std::string(64, '0') + "  notes.txt\n");
    EXPECT_EQ(seen(install(7)), wholeInstalled);
}

TEST_F(StoreInstall, MakesADirectoryWhosePathEndsInSlashes) {
    CalibrationStore there(root.path() + "/deep/er//");
    auto source = zel::store::Source::open(stick, {});
    EXPECT_TRUE(there.install(7, *source.source, {}, {}).complete);
    EXPECT_TRUE(fs::exists(root.path() + "/deep/er/" + description));
}

TEST_F(StoreInstall, RefusesFoldersInThePlacesOfRecordAndJournal) {
    for (std::string const name : {"7.sha256", "7.journal.new"}) {
        fs::remove_all(cali);
        fs::create_directories(hidden + "/" + name + "/x");
        auto const outcome = install(7);
        ASSERT_TRUE(outcome.failure) << name;
        EXPECT_NE(outcome.failure->path.find(name), std::string::npos) << outcome.failure->path;
        EXPECT_FALSE(fs::exists(cali + "/" + description));
    }
}

TEST_F(StoreInstall, RefusesAJournalThatIsAFolder) {
    fs::create_directories(hidden + "/7.journal");
    auto const outcome = install(7);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::inTheWay);
    EXPECT_EQ(outcome.failure->path, hidden + "/7.journal");
}

TEST_F(StoreInstall, RefusesAnotherDiskInPlaceOfTheHiddenFolder) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(hidden);
        support::mountTmpfs(hidden);
        auto const outcome = install(7);
        ASSERT_TRUE(outcome.failure);
        EXPECT_EQ(outcome.failure->kind, FailureKind::inTheWay);
        EXPECT_EQ(outcome.failure->path, hidden);
    });
}

TEST_F(StoreInstall, RefusesWhatTheStickyBitKeepsBeforeAnythingChanges) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can install what an ordinary user then cannot replace";
    install(7);
    putOnStick(camera(7), "2");
    ASSERT_EQ(support::run({"chmod", "755", root.path()}, "/").exitStatus, 0);
    ASSERT_EQ(support::run({"chmod", "1777", cali}, "/").exitStatus, 0);
    ASSERT_EQ(support::run({"chmod", "-R", "a+rwX", hidden}, "/").exitStatus, 0);
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(seteuid(nobody), 0);
    auto const outcome = install(7);
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->message, "Cannot replace");
    EXPECT_EQ(outcome.failure->error, EPERM);
    EXPECT_FALSE(outcome.changed);
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, WritesNoJournalThatNobodyCouldRead) {
    install(7);
    zel::store::Journal journal;
    journal.serial = 7;
    journal.removedAfter.assign(zel::store::largestJournal / 250,
                                "Cali-7-" + std::string(248, 'x'));
    zel::store::Target const target(cali);
    try {
        zel::store::publish(target, journal, [] { ADD_FAILURE() << "was committed"; });
        ADD_FAILURE() << "was written";
    } catch (zel::store::Stop const& stopped) {
        EXPECT_EQ(stopped.failure.error, EFBIG);
    }
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreInstall, CanBeCancelledWhileItReadsWhatIsInstalled) {
    writeFile(stick + "/" + curve, std::string(3000000, 'x'));
    install(7);
    fs::remove(stick + "/" + curve);
    auto const source = zel::store::Source::open(stick, {});
    auto const outcome = store.install(
        7, *source.source, {}, [](auto const& progress) { return progress.bytes < 1000000; });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}
