// Taking sets out.
#include "tests/store/StoreFixture.h"

#include "tests/support/Command.h"
#include "tests/support/Namespace.h"

#include <filesystem>

#include <sys/mount.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;

class StoreRemove : public Store {
protected:
    StoreRemove() {
        putOnStick(camera(7));
        putOnStick(camera(71));
    }

    std::string remove(unsigned long serial, InstallOptions const& options = {}) {
        return seen(store.remove(serial, options, {}));
    }

    std::string const all = "changed, not complete\n"
                            "Cali-7-23-M20-100.dat: removed\n"
                            "Cali-7.xml: removed\n"
                            "Kennlinie-7-23-M20-100.prn: removed\n";
};

} // namespace

TEST_F(StoreRemove, TakesExactlyThisCamerasFilesOut) {
    install(71);
    Tree before = treeOf(cali);
    install(7);
    EXPECT_EQ(remove(7), all);
    Tree now = treeOf(cali);
    now[".zentho-cali/lock"] = before[".zentho-cali/lock"];
    EXPECT_EQ(now, before);
}

TEST_F(StoreRemove, LeavesNoHiddenFolderWhenNothingIsInstalledAnyMore) {
    install(7);
    remove(7);
    EXPECT_TRUE(fs::is_empty(cali));
}

TEST_F(StoreRemove, ChangesNothingWhenNothingIsThere) {
    install(71);
    auto const before = treeOf(cali);
    EXPECT_EQ(remove(7), "unchanged, not complete\n");
    EXPECT_EQ(treeOf(cali), before);
}

TEST_F(StoreRemove, SaysInADryRunWhatTheRunThenSays) {
    install(7);
    InstallOptions options;
    options.dryRun = true;
    auto const before = treeOf(cali);
    EXPECT_EQ(remove(7, options), all);
    EXPECT_EQ(treeOf(cali), before);
    EXPECT_EQ(remove(7), all);
    EXPECT_EQ(remove(7, options), "unchanged, not complete\n");
}

TEST_F(StoreRemove, TakesOutARecordWithoutFiles) {
    install(7);
    for (auto const& entry : fs::directory_iterator(cali)) {
        if (entry.is_regular_file())
            fs::remove(entry);
    }
    EXPECT_EQ(remove(7), "changed, not complete\n");
    EXPECT_TRUE(fs::is_empty(cali));
}

TEST_F(StoreRemove, RefusesAFolderInAFilesPlace) {
    install(7);
    fs::create_directories(cali + "/Cali-7-folder");
    auto const before = treeOf(cali);
    EXPECT_EQ(remove(7), "failed: A folder stands in a file's place: " + cali +
                             "/Cali-7-folder\nunchanged, not complete\n");
    EXPECT_EQ(treeOf(cali), before);
}

TEST_F(StoreRemove, FailsWithoutADirectory) {
    EXPECT_EQ(remove(7), "failed: Cannot use the calibration directory " + cali +
                             ": No such file or directory\nunchanged, not complete\n");
}

TEST_F(StoreRemove, MakesRoomOnADiskThatIsCompletelyFull) {
    support::inPrivateNamespaces([&] {
        fs::create_directories(cali);
        ASSERT_EQ(mount("none", cali.c_str(), "tmpfs", 0, "size=256k"), 0);
        install(7);
        ASSERT_EQ(support::run({"sh", "-c", "cat /dev/zero > full"}, cali).exitStatus, 1);
        EXPECT_EQ(remove(7), all);
        EXPECT_FALSE(fs::exists(cali + "/Cali-7.xml"));
    });
}
