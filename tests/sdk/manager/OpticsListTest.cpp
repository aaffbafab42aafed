#include "sdk/IRCalibrationManager.h"

#include "imgproc/Cali.h"
#include "tests/support/Camera.h"
#include "tests/support/Log.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

using support::Camera;
using support::camera;
using Manager = zel::IRCalibrationManager;
using Ranges = std::vector<std::pair<int, int>>;

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

} // namespace

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
