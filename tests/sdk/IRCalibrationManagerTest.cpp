#include "sdk/IRCalibrationManager.h"

#include "imgproc/Cali.h"
#include "tests/support/Camera.h"
#include "tests/support/Log.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using support::Camera;
using support::camera;
using Manager = zel::IRCalibrationManager;
using Ranges = std::vector<std::pair<int, int>>;

/// Makes the process work in a directory until the end of the test.
class WorkingDirectory {
public:
    explicit WorkingDirectory(std::string const& path) { fs::current_path(path); }
    ~WorkingDirectory() { fs::current_path(m_previous); }
    WorkingDirectory(WorkingDirectory const&) = delete;
    WorkingDirectory& operator=(WorkingDirectory const&) = delete;

private:
    fs::path m_previous = fs::current_path();
};

struct Formed {
    bool result;
    std::string path;
};

Formed form(std::string const& dir, char const* name, char const* suffix, short capacity = 260) {
    Manager manager;
    zel::PathBuffer path{};
    bool const result =
        manager.createConfigFilepath(path.data(), dir.c_str(), capacity, name, suffix);
    return {result, path.data()};
}

/// A manager with a calibration directory of its own, which holds descriptions.
class World {
public:
    World() {
        ConfigCali::getInstance()->load("/proc", -2); // forget what an earlier test has loaded
        manager.setCalibrationDir(m_directory.path().c_str());
    }
    explicit World(Camera const& maker) : World() { describe(maker); }

    void describe(Camera const& maker) const {
        support::writeFile(pathOf(maker), maker.description());
    }
    void forget(Camera const& maker) const { fs::remove(pathOf(maker)); }

    Manager manager;

private:
    std::string pathOf(Camera const& maker) const {
        return m_directory.path() + "/" + maker.descriptionName();
    }

    support::TemporaryDirectory m_directory;
};

constexpr unsigned long serialNumber = 14080045;

std::vector<int> fovs(std::vector<zel::IROptics> const& optics) {
    std::vector<int> values;
    for (auto const& optic : optics) {
        values.push_back(optic.fov);
    }
    return values;
}

Ranges rangesOf(zel::IROptics const& optic) {
    Ranges ranges;
    for (auto const& range : optic.tempRanges) {
        ranges.emplace_back(range.tMin, range.tMax);
    }
    return ranges;
}

/// The ranges that are listed for the first optic of this camera.
Ranges listedRanges(Camera const& maker) {
    World world(maker);
    return rangesOf(world.manager.getAvailableOptics(serialNumber)->at(0));
}

/// Makes a directory below another one whose path has exactly this length.
std::string directoryOfLength(std::string path, std::size_t length) {
    while (path.size() < length) {
        std::size_t const rest = length - path.size();
        path += "/" + std::string(rest > 202 ? 200 : rest - 1, 'd');
    }
    fs::create_directories(path);
    return path;
}

} // namespace

TEST(Manager, IsTheSameObjectOnEveryCall) {
    Manager* const first = Manager::getInstance();
    std::unique_ptr<Manager> const owner(Manager::getInstance());
    EXPECT_EQ(first, owner.get());
}

TEST(Manager, IsMadeOnTheFirstCall) {
    std::unique_ptr<Manager> const owner(Manager::getInstance());
    EXPECT_NE(owner, nullptr);
}

TEST(Manager, StartsAfreshAfterItsDestruction) {
    Manager::getInstance()->setCalibrationDir("/elsewhere");
    delete Manager::getInstance();
    std::unique_ptr<Manager> const fresh(Manager::getInstance());
    EXPECT_STREQ(fresh->getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, IsForgottenWhenAnyManagerIsDestroyed) {
    std::unique_ptr<Manager> const first(Manager::getInstance());
    { Manager const other; }
    std::unique_ptr<Manager> const second(Manager::getInstance());
    EXPECT_NE(first, second);
}

TEST(Manager, StartsWithTheSystemsCalibrationDirectory) {
    Manager manager;
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, StartsWithTheSystemsFormatsDirectory) {
    Manager manager;
    EXPECT_STREQ(manager.getFormatsDir(), "/usr/share/libzentho");
}

TEST(Manager, StartsWithoutOptics) {
    Manager manager;
    EXPECT_TRUE(manager.getAvailableOptics(0)->empty());
}

TEST(Manager, TakesAnotherCalibrationDirectoryWhetherOrNotItExists) {
    Manager manager;
    manager.setCalibrationDir("/nowhere/cali");
    EXPECT_STREQ(manager.getCalibrationDir(), "/nowhere/cali");
}

TEST(Manager, TakesAnotherFormatsDirectoryWhetherOrNotItExists) {
    Manager manager;
    manager.setFormatsDir("/nowhere/formats");
    EXPECT_STREQ(manager.getFormatsDir(), "/nowhere/formats");
}

TEST(Manager, KeepsTheFormatsDirectoryWhenTheCalibrationDirectoryChanges) {
    Manager manager;
    manager.setCalibrationDir("/nowhere");
    EXPECT_STREQ(manager.getFormatsDir(), "/usr/share/libzentho");
}

TEST(Manager, KeepsTheCalibrationDirectoryWhenTheFormatsDirectoryChanges) {
    Manager manager;
    manager.setFormatsDir("/nowhere");
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, IgnoresANullCalibrationDirectory) {
    Manager manager;
    manager.setCalibrationDir(nullptr);
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr/share/libzentho/cali");
}

TEST(Manager, IgnoresANullFormatsDirectory) {
    Manager manager;
    manager.setFormatsDir(nullptr);
    EXPECT_STREQ(manager.getFormatsDir(), "/usr/share/libzentho");
}

TEST(Manager, TakesAnEmptyCalibrationDirectory) {
    Manager manager;
    manager.setCalibrationDir("");
    EXPECT_STREQ(manager.getCalibrationDir(), "");
}

TEST(Manager, KeepsATrailingSlash) {
    Manager manager;
    manager.setCalibrationDir("/nowhere/");
    EXPECT_STREQ(manager.getCalibrationDir(), "/nowhere/");
}

TEST(Manager, KeepsACalibrationDirectoryOfTheFullCapacity) {
    Manager manager;
    std::string const text(260, 'd');
    manager.setCalibrationDir(text.c_str());
    EXPECT_EQ(manager.getCalibrationDir(), text);
}

TEST(Manager, CutsALongerCalibrationDirectory) {
    Manager manager;
    manager.setCalibrationDir(std::string(261, 'd').c_str());
    EXPECT_EQ(manager.getCalibrationDir(), std::string(260, 'd'));
}

TEST(Manager, KeepsAFormatsDirectoryOfTheFullCapacity) {
    Manager manager;
    std::string const text(260, 'd');
    manager.setFormatsDir(text.c_str());
    EXPECT_EQ(manager.getFormatsDir(), text);
}

TEST(Manager, CutsALongerFormatsDirectory) {
    Manager manager;
    manager.setFormatsDir(std::string(261, 'd').c_str());
    EXPECT_EQ(manager.getFormatsDir(), std::string(260, 'd'));
}

TEST(Manager, LeavesNothingOfALongerDirectoryBehindAShorterOne) {
    Manager manager;
    manager.setCalibrationDir("/a/long/directory/name");
    manager.setCalibrationDir("/b");
    EXPECT_STREQ(manager.getCalibrationDir(), "/b");
}

TEST(Manager, HandsOutTheCalibrationDirectoryItselfAndNoCopy) {
    Manager manager;
    char const* const buffer = manager.getCalibrationDir();
    manager.setCalibrationDir("/nowhere");
    EXPECT_STREQ(buffer, "/nowhere");
}

TEST(Manager, HandsOutTheFormatsDirectoryItselfAndNoCopy) {
    Manager manager;
    char const* const buffer = manager.getFormatsDir();
    manager.setFormatsDir("/nowhere");
    EXPECT_STREQ(buffer, "/nowhere");
}

TEST(Manager, SeesWhatACallerWritesIntoTheCalibrationDirectory) {
    Manager manager;
    manager.getCalibrationDir()[4] = '\0';
    EXPECT_STREQ(manager.getCalibrationDir(), "/usr");
}

TEST(CreateConfigFilepath, JoinsDirectoryNameAndSuffix) {
    support::TemporaryDirectory const directory;
    auto const formed = form(directory.path(), "Cali-1", ".xml");
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, directory.path() + "/Cali-1.xml");
}

TEST(CreateConfigFilepath, AddsNothingForAnEmptySuffix) {
    support::TemporaryDirectory const directory;
    EXPECT_EQ(form(directory.path(), "Cali-1.dat", "").path, directory.path() + "/Cali-1.dat");
}

TEST(CreateConfigFilepath, CreatesTheDirectory) {
    support::TemporaryDirectory const directory;
    form(directory.path() + "/x", "Cali-1", ".xml");
    EXPECT_TRUE(fs::is_directory(directory.path() + "/x"));
}

TEST(CreateConfigFilepath, CreatesTheDirectoryWithTheModeThatTheUmaskLeaves) {
    support::TemporaryDirectory const directory;
    mode_t const previous = umask(027);
    form(directory.path() + "/x", "Cali-1", ".xml");
    umask(previous);
    EXPECT_EQ(fs::status(directory.path() + "/x").permissions(),
              fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec);
}

TEST(CreateConfigFilepath, CreatesNoParents) {
    support::TemporaryDirectory const directory;
    auto const formed = form(directory.path() + "/x/y", "a", ".xml");
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, directory.path() + "/x/y/a.xml");
    EXPECT_FALSE(fs::exists(directory.path() + "/x"));
}

TEST(CreateConfigFilepath, CreatesNoFile) {
    support::TemporaryDirectory const directory;
    form(directory.path(), "Cali-1", ".xml");
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(CreateConfigFilepath, DoesNotMindADirectoryThatCannotBeCreated) {
    support::TemporaryDirectory const directory;
    support::writeFile(directory.path() + "/x", "a file");
    auto const formed = form(directory.path() + "/x", "a", ".xml");
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, directory.path() + "/x/a.xml");
}

TEST(CreateConfigFilepath, DoublesTheSlashOfADirectoryThatEndsInOne) {
    support::TemporaryDirectory const directory;
    EXPECT_EQ(form(directory.path() + "/", "a", ".xml").path, directory.path() + "//a.xml");
}

TEST(CreateConfigFilepath, TakesImagerInTheCurrentDirectoryForAnEmptyOne) {
    support::TemporaryDirectory const directory;
    WorkingDirectory const current(directory.path());
    auto const formed = form("", "a", ".xml");
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, directory.path() + "/Imager/a.xml");
}

TEST(CreateConfigFilepath, CreatesImagerInTheCurrentDirectory) {
    support::TemporaryDirectory const directory;
    WorkingDirectory const current(directory.path());
    form("", "a", ".xml");
    EXPECT_TRUE(fs::is_directory(directory.path() + "/Imager"));
}

TEST(CreateConfigFilepath, KeepsARelativeDirectoryRelative) {
    support::TemporaryDirectory const directory;
    WorkingDirectory const current(directory.path());
    EXPECT_EQ(form("x", "a", ".xml").path, "x/a.xml");
}

TEST(CreateConfigFilepath, FailsWhenTheCurrentDirectoryIsGone) {
    support::TemporaryDirectory const directory;
    WorkingDirectory const current(directory.path());
    fs::remove(directory.path());
    EXPECT_FALSE(form("", "a", ".xml").result);
}

TEST(CreateConfigFilepath, TakesACurrentDirectoryOfTwiceTheCapacity) {
    support::TemporaryDirectory const directory;
    auto const path = directoryOfLength(directory.path(), 520);
    WorkingDirectory const current(path);
    auto const formed = form("", "a", ".xml");
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, path + "/Imager/a.xml");
}

TEST(CreateConfigFilepath, FailsForALongerCurrentDirectory) {
    support::TemporaryDirectory const directory;
    WorkingDirectory const current(directoryOfLength(directory.path(), 521));
    EXPECT_FALSE(form("", "a", ".xml").result);
}

TEST(CreateConfigFilepath, CutsEachPieceToTheCapacity) {
    support::TemporaryDirectory const directory;
    WorkingDirectory const current(directory.path());
    auto const formed = form("abcdefgh", "named", ".xmls", 4);
    EXPECT_TRUE(formed.result);
    EXPECT_EQ(formed.path, "abcd/name.xml");
}

TEST(CreateConfigFilepath, TakesADirectoryOfTheFullCapacity) {
    std::string const dir = "/proc/nowhere/" + std::string(246, 'd');
    EXPECT_EQ(form(dir, "a", ".xml").path, dir + "/a.xml");
}

TEST(CreateConfigFilepath, UsesNothingOfTheManager) {
    support::TemporaryDirectory const directory;
    Manager manager;
    manager.setCalibrationDir("/nowhere");
    zel::PathBuffer path{};
    manager.createConfigFilepath(path.data(), directory.path().c_str(), 260, "a", "");
    EXPECT_EQ(path.data(), directory.path() + "/a");
}

TEST(GetAvailableOptics, ListsTheOpticsInTheOrderOfTheDescription) {
    World world(camera(14080045).optic(53).range(0, 250).optic(23).range(0, 250));
    EXPECT_EQ(fovs(*world.manager.getAvailableOptics(serialNumber)), (std::vector<int>{53, 23}));
}

TEST(GetAvailableOptics, ListsTheRangesInTheOrderOfTheDescription) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23).range(150, 900).range(-20, 100)),
              (Ranges{{150, 900}, {-20, 100}}));
}

TEST(GetAvailableOptics, ListsTheRangesOfEachOptic) {
    World world(camera(14080045).optic(53).range(150, 900).optic(23).range(-20, 100));
    auto const& optics = *world.manager.getAvailableOptics(serialNumber);
    EXPECT_EQ(rangesOf(optics.at(0)), (Ranges{{150, 900}}));
    EXPECT_EQ(rangesOf(optics.at(1)), (Ranges{{-20, 100}}));
}

TEST(GetAvailableOptics, CutsFractionsOffTowardZero) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23).range(-20.5, 1500.9).range(-0.5, 149.99)),
              (Ranges{{-20, 1500}, {0, 149}}));
}

TEST(GetAvailableOptics, SaturatesLimitsThatFitNoInteger) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23).range(-1e20, 1e20)),
              (Ranges{{-2147483647 - 1, 2147483647}}));
}

TEST(GetAvailableOptics, SaturatesTheFirstLimitThatFitsNoInteger) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23).range(-2147483648.0, 2147483648.0)),
              (Ranges{{-2147483647 - 1, 2147483647}}));
}

TEST(GetAvailableOptics, TakesALimitThatIsNoNumberForZero) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23).range(std::nan(""), 250)),
              (Ranges{{0, 250}}));
}

TEST(GetAvailableOptics, TakesTheTextOfAnOptic) {
    World world(camera(14080045).optic(23).text("wide").range(0, 250));
    EXPECT_EQ(world.manager.getAvailableOptics(serialNumber)->at(0).text, "wide");
}

TEST(GetAvailableOptics, GivesAnOpticWithoutTextAnEmptyOne) {
    World world(camera(14080045).optic(23).range(0, 250));
    EXPECT_EQ(world.manager.getAvailableOptics(serialNumber)->at(0).text, "");
}

TEST(GetAvailableOptics, GivesAnOpticWithoutRangesAnEmptyList) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23).withoutRanges()), Ranges{});
}

TEST(GetAvailableOptics, GivesAnOpticWithoutATableOfRangesTheDefaultOnes) {
    EXPECT_EQ(listedRanges(camera(14080045).optic(23)), (Ranges{{-20, 100}, {0, 250}, {150, 900}}));
}

TEST(GetAvailableOptics, GivesOpticsThatAreAlikeTheRangesOfTheFirst) {
    World world(camera(14080045)
                    .optic(23)
                    .text("wide")
                    .range(0, 250)
                    .optic(23)
                    .text("wide")
                    .range(150, 900)
                    .range(-20, 100));
    auto const& optics = *world.manager.getAvailableOptics(serialNumber);
    EXPECT_EQ(rangesOf(optics.at(0)), (Ranges{{0, 250}}));
    EXPECT_EQ(rangesOf(optics.at(1)), (Ranges{{0, 250}}));
}

TEST(GetAvailableOptics, TellsOpticsOfOneFieldOfViewApartByTheirText) {
    World world(camera(14080045).optic(23).range(0, 250).optic(23).text("wide").range(150, 900));
    auto const& optics = *world.manager.getAvailableOptics(serialNumber);
    EXPECT_EQ(rangesOf(optics.at(1)), (Ranges{{150, 900}}));
}

TEST(GetAvailableOptics, ListsNothingForADescriptionWithoutOptics) {
    World world(camera(14080045));
    EXPECT_TRUE(world.manager.getAvailableOptics(serialNumber)->empty());
}

TEST(GetAvailableOptics, ListsTheDefaultOpticWhenTheDescriptionCannotBeLoaded) {
    World world;
    auto const& optics = *world.manager.getAvailableOptics(serialNumber);
    ASSERT_EQ(fovs(optics), std::vector<int>{30});
    EXPECT_EQ(optics.at(0).text, "");
    EXPECT_EQ(rangesOf(optics.at(0)), (Ranges{{-20, 100}, {0, 250}, {150, 900}}));
}

TEST(GetAvailableOptics, ListsTheDefaultOpticWhenAnotherDescriptionCannotBeLoaded) {
    World world(camera(14080045).optic(53).range(0, 250));
    world.manager.getAvailableOptics(serialNumber);
    EXPECT_EQ(fovs(*world.manager.getAvailableOptics(7)), std::vector<int>{30});
}

TEST(GetAvailableOptics, KeepsTheListForSerialNumberZero) {
    World world(camera(14080045).optic(53).range(0, 250));
    world.manager.getAvailableOptics(serialNumber);
    auto const& optics = *world.manager.getAvailableOptics(0);
    ASSERT_EQ(fovs(optics), std::vector<int>{53});
    EXPECT_EQ(rangesOf(optics.at(0)), (Ranges{{0, 250}}));
}

TEST(GetAvailableOptics, LoadsNothingForSerialNumberZero) {
    World world(camera(0).optic(53));
    world.manager.getAvailableOptics(0);
    EXPECT_FALSE(ConfigCali::getInstance()->isLoaded(0));
}

TEST(GetAvailableOptics, HandsOutTheSameListEveryTime) {
    World world(camera(14080045).optic(53));
    auto const* const first = world.manager.getAvailableOptics(serialNumber);
    EXPECT_EQ(world.manager.getAvailableOptics(0), first);
}

TEST(GetAvailableOptics, ListsTheSameOnASecondCall) {
    World world(camera(14080045).optic(53).text("a").range(0, 250).optic(23));
    world.manager.getAvailableOptics(serialNumber);
    auto const& optics = *world.manager.getAvailableOptics(serialNumber);
    ASSERT_EQ(fovs(optics), (std::vector<int>{53, 23}));
    EXPECT_EQ(optics.at(0).text, "a");
    EXPECT_EQ(rangesOf(optics.at(0)), (Ranges{{0, 250}}));
}

TEST(GetAvailableOptics, ReadsTheDescriptionOfACameraOnlyOnce) {
    auto const maker = camera(14080045).optic(53);
    World world(maker);
    world.manager.getAvailableOptics(serialNumber);
    world.forget(maker);
    EXPECT_EQ(fovs(*world.manager.getAvailableOptics(serialNumber)), std::vector<int>{53});
}

TEST(GetAvailableOptics, DoesNotAskToLoadADescriptionThatIsLoaded) {
    World world(camera(14080045).optic(53));
    world.manager.getAvailableOptics(serialNumber);
    EXPECT_TRUE(
        support::debugLogOf([&] { world.manager.getAvailableOptics(serialNumber); }).empty());
}

TEST(GetAvailableOptics, ReplacesTheListByThatOfAnotherCamera) {
    World world(camera(14080045).optic(53).optic(23));
    world.describe(camera(7).optic(80));
    world.manager.getAvailableOptics(serialNumber);
    EXPECT_EQ(fovs(*world.manager.getAvailableOptics(7)), std::vector<int>{80});
}

TEST(GetAvailableOptics, LeavesTheDescriptionLoaded) {
    World world(camera(14080045).optic(53));
    world.manager.getAvailableOptics(serialNumber);
    EXPECT_TRUE(ConfigCali::getInstance()->isLoaded(14080045));
}

TEST(GetAvailableOptics, ReadsTheDescriptionOfABigSerialNumberUnderItsSignedName) {
    World world(camera(-1).optic(53));
    EXPECT_EQ(fovs(*world.manager.getAvailableOptics(4294967295UL)), std::vector<int>{53});
}

TEST(GetAvailableOptics, IsQuietAboutADescriptionThatCannotBeLoaded) {
    World world;
    EXPECT_TRUE(support::logOf([&] { world.manager.getAvailableOptics(serialNumber); }).empty());
}
