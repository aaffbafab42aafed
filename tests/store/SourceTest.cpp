// Searching sources, hostile ones included.
#include "tests/store/StoreFixture.h"

#include "store/SourceTree.h"

#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;
using support::writeFile;

class StoreSource : public Store {
protected:
    /// Cameras, files and remarks of a camera, a line each.
    std::string found(unsigned long serial = 7, std::string const& target = "") const {
        auto const outcome = zel::store::Source::open(stick, {}, target);
        std::ostringstream out;
        if (outcome.failure)
            return "failed: " + outcome.failure->message + " " + outcome.failure->path + "\n";
        for (unsigned long const camera : outcome.source->cameras())
            out << "camera " << camera << '\n';
        for (auto const& file : outcome.source->tree().filesOf(serial))
            out << file.path() << '\n';
        for (auto const& remark : outcome.source->tree().remarksOn(serial))
            out << remark.message << ' ' << remark.path << '\n';
        if (outcome.source->tree().gap())
            out << "gap " << outcome.source->tree().gap()->path << '\n';
        return out.str();
    }
};

} // namespace

TEST_F(StoreSource, IsSearchedWithAllBelow) {
    writeFile(stick + "/Cali-7.xml", "x");
    writeFile(stick + "/a/b/c/Kennlinie-7-x.prn", "x");
    writeFile(stick + "/a/Cali-71.xml", "x");
    writeFile(stick + "/a/Cali-007.xml", "x");
    writeFile(stick + "/a/Cali-2147483648.xml", "x");
    writeFile(stick + "/a/Cali-x.xml", "x");
    EXPECT_EQ(found(), "camera 7\ncamera 71\nCali-7.xml\na/b/c/Kennlinie-7-x.prn\n");
}

TEST_F(StoreSource, CountsItsFoldersWhileItIsSearched) {
    writeFile(stick + "/Cali-7.xml", "x");
    writeFile(stick + "/a/b/Kennlinie-7-x.prn", "x");
    writeFile(stick + "/c/notes", "x");
    std::string counts;
    auto const outcome = zel::store::Source::open(stick, [&](auto const& progress) {
        EXPECT_EQ(progress.phase, zel::store::Phase::searching);
        counts += std::to_string(progress.files) + " ";
        return true;
    });
    ASSERT_FALSE(outcome.failure);
    EXPECT_EQ(counts, "0 1 2 3 4 ");
}

TEST_F(StoreSource, HasNoHiddenFolderOfItsOwn) {
    writeFile(stick + "/.zentho-cali/Cali-7.xml", "x");
    writeFile(stick + "/a/.zentho-cali/Cali-7.xml", "x");
    fs::create_directory_symlink(".zentho-cali", stick + "/link");
    EXPECT_EQ(found(), "");
    fs::create_symlink(".zentho-cali/Cali-7.xml", stick + "/Cali-7.xml");
    EXPECT_EQ(found(),
              "Left out, since it is a link out of the source: " + stick + "/Cali-7.xml\n");
}

TEST_F(StoreSource, HasNothingThatAKilledProcessLeftBesideAMirror) {
    writeFile(stick + "/www/Cali-7.xml", "x");
    writeFile(stick + "/.www.zentho-cali/stage/Cali-7.xml", "y");
    fs::create_symlink("../.www.zentho-cali/stage/Cali-7.xml", stick + "/www/Cali-7-x.dat");
    writeFile(stick + "/backup.zentho-cali/Kennlinie-7-x.prn", "not ours");
    EXPECT_EQ(found(), "camera 7\nbackup.zentho-cali/Kennlinie-7-x.prn\nwww/Cali-7.xml\n"
                       "Left out, since it is a link out of the source: " +
                           stick + "/www/Cali-7-x.dat\n");
}

TEST_F(StoreSource, FollowsLinksInsideOnly) {
    writeFile(stick + "/real/file", "x");
    writeFile(root.path() + "/outside/Cali-7-out.dat", "x");
    fs::create_symlink("real/file", stick + "/Cali-7.xml");
    fs::create_symlink(stick + "/real/file", stick + "/Cali-7-absolute.dat");
    fs::create_symlink("../outside/Cali-7-out.dat", stick + "/Cali-7-out.dat");
    fs::create_symlink("nowhere", stick + "/Cali-7-broken.dat");
    fs::create_symlink("/dev/null", stick + "/Cali-7-device.dat");
    fs::create_directory_symlink("../outside", stick + "/way-out");
    EXPECT_EQ(
        found(), "camera 7\nCali-7-absolute.dat\nCali-7.xml\n"
                 "Not followed, since it is a link out of the source: " +
                     stick + "/way-out\n" + [&] {
                         auto const outcome = zel::store::Source::open(stick, {});
                         std::string text;
                         for (auto const& remark : outcome.source->tree().remarksOn(7)) {
                             if (remark.path != stick + "/way-out")
                                 text += remark.message + " " + remark.path + "\n";
                         }
                         return text;
                     }());
    EXPECT_NE(found().find("Left out, since it is a link out of the source: " + stick +
                           "/Cali-7-out.dat\n"),
              std::string::npos);
    EXPECT_NE(found().find("Left out, since it is a link that leads nowhere: " + stick +
                           "/Cali-7-broken.dat\n"),
              std::string::npos);
    EXPECT_NE(found().find("Left out, since it is no file: " + stick + "/Cali-7-device.dat\n"),
              std::string::npos);
}

TEST_F(StoreSource, DoesNotReachTheCalibrationDirectoryBelowIt) {
    writeFile(stick + "/Cali-7.xml", "x");
    writeFile(stick + "/cali/Cali-7.xml", "y");
    fs::create_directory_symlink("cali", stick + "/another way");
    fs::create_directory_symlink(stick, root.path() + "/link");
    std::string const once = "camera 7\nCali-7.xml\nNot searched, since it is the calibration "
                             "directory: " +
                             stick + "/cali\n";
    EXPECT_EQ(found(7, stick + "/cali"), once);
    EXPECT_EQ(found(7, root.path() + "/link/../stick/cali/"), once);
    EXPECT_EQ(found(7, stick + "/none"), "camera 7\nCali-7.xml\ncali/Cali-7.xml\n");
}

TEST_F(StoreSource, MayBeTheCalibrationDirectoryItself) {
    writeFile(stick + "/Cali-7.xml", "x");
    fs::create_directory_symlink(".", stick + "/here");
    EXPECT_EQ(found(7, stick), "camera 7\nCali-7.xml\n");
}

TEST_F(StoreSource, WithLoopsIsSearchedOnce) {
    writeFile(stick + "/a/Cali-7.xml", "x");
    fs::create_directory_symlink("..", stick + "/a/up");
    fs::create_directory_symlink(".", stick + "/here");
    fs::create_directory_symlink("a", stick + "/again");
    fs::create_symlink("loop", stick + "/loop");
    EXPECT_EQ(found(), "camera 7\na/Cali-7.xml\n");
}

TEST_F(StoreSource, LeavesOutWhatIsNoFile) {
    writeFile(stick + "/Cali-7.xml", "x");
    ASSERT_EQ(mkfifo((stick + "/Cali-7-pipe.dat").c_str(), 0600), 0);
    EXPECT_EQ(found(), "camera 7\nCali-7.xml\nLeft out, since it is no file: " + stick +
                           "/Cali-7-pipe.dat\n");
}

TEST_F(StoreSource, MayBeNestedDeeperThanTheSystemTakesPaths) {
    fs::create_directory(stick);
    int folder = open(stick.c_str(), O_RDONLY | O_DIRECTORY);
    std::string const name(200, 'd');
    for (int depth = 0; depth < 60; ++depth) {
        ASSERT_EQ(mkdirat(folder, name.c_str(), 0700), 0);
        int const next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(folder);
        folder = next;
    }
    for (std::string const& file : camera(7).fileNames()) {
        int const made = openat(folder, file.c_str(), O_WRONLY | O_CREAT, 0600);
        std::string const content =
            file == camera(7).descriptionName() ? camera(7).description() : file;
        ASSERT_EQ(write(made, content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        close(made);
    }
    close(folder);
    EXPECT_TRUE(install(7).complete);
    EXPECT_EQ(check(7), "complete\n");
}

TEST_F(StoreSource, WithTenThousandFoldersAndLinksIsSearchedInAMoment) {
    // A disk takes seconds to make them.
    setenv("TMPDIR", "/dev/shm", 1);
    support::TemporaryDirectory const memory;
    unsetenv("TMPDIR");
    for (int i = 0; i < 5000; ++i) {
        fs::create_directory(memory.path() + "/" + std::to_string(i));
        fs::create_symlink("nowhere", memory.path() + "/Cali-7-" + std::to_string(i) + ".dat");
    }
    auto const outcome = zel::store::Source::open(memory.path(), {});
    ASSERT_TRUE(outcome.source);
    EXPECT_EQ(outcome.source->tree().remarksOn(7).size(), 100U);
}

TEST_F(StoreSource, NamesOfLineBreaksAreInstalledAndRecorded) {
    putOnStick(camera(7));
    writeFile(stick + "/Cali-7-line\nbreak\\.dat", "odd");
    EXPECT_TRUE(install(7).complete);
    EXPECT_EQ(installed("Cali-7-line\nbreak\\.dat"), "odd");
    EXPECT_TRUE(store.verify(7, {}).same);
    EXPECT_FALSE(install(7).changed);
}

TEST_F(StoreSource, ThatIsMissingOrNoDirectoryFails) {
    EXPECT_EQ(found(), "failed: Cannot use the source " + stick + "\n");
    ASSERT_EQ(mkfifo(stick.c_str(), 0600), 0);
    EXPECT_EQ(found(), "failed: Cannot use the source " + stick + "\n");
}

TEST_F(StoreSource, CanBeCancelled) {
    fs::create_directory(stick);
    auto const outcome = zel::store::Source::open(stick, [](auto const&) { return false; });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}

TEST_F(StoreSource, CanBeReplacedByAnother) {
    putOnStick(camera(7));
    auto source = zel::store::Source::open(stick, {});
    auto other = zel::store::Source::open(root.path(), {});
    *source.source = std::move(*other.source);
    EXPECT_EQ(source.source->path(), root.path());
}

TEST_F(StoreSource, NamesNoMoreThanAHundredLinksOutOfIt) {
    fs::create_directories(root.path() + "/outside");
    fs::create_directory(stick);
    for (int i = 0; i < 150; ++i)
        fs::create_directory_symlink("../outside", stick + "/" + std::to_string(i));
    auto const outcome = zel::store::Source::open(stick, {});
    ASSERT_TRUE(outcome.source);
    EXPECT_EQ(outcome.source->tree().remarks().size(), 100U);
}

TEST_F(StoreSource, ThatIsNestedWithoutAnEndIsSearchedUpToALimit) {
    fs::create_directory(stick);
    int folder = open(stick.c_str(), O_RDONLY | O_DIRECTORY);
    std::string const name(200, 'd');
    for (int depth = 0; depth < 330; ++depth) {
        ASSERT_EQ(mkdirat(folder, name.c_str(), 0700), 0);
        int const next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(folder);
        folder = next;
    }
    close(folder);
    auto const outcome = zel::store::Source::open(stick, {});
    ASSERT_TRUE(outcome.source);
    ASSERT_TRUE(outcome.source->tree().gap());
    EXPECT_EQ(outcome.source->tree().gap()->error, ENAMETOOLONG);
}
