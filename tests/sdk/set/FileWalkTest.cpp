#include "sdk/set/FileWalk.h"

#include "tests/support/Camera.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using support::camera;
using support::Camera;
using support::TemporaryDirectory;
using support::writeFile;

constexpr int serial = 12;

Description described(Camera const& camera) {
    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/" + camera.descriptionName();
    writeFile(path, camera.description());
    auto outcome = readDescription(zel::FileDescriptor::openForReading(path.c_str()), 1 << 20);
    EXPECT_TRUE(outcome.description.has_value());
    return std::move(*outcome.description);
}

using Names = std::vector<std::string>;

Names filesOf(Camera const& camera) {
    Names names;
    zel::set::forEachFile(described(camera), serial,
                          [&](zel::set::FileKind, zel::set::FileName const& name) {
                              names.emplace_back(name.view());
                          });
    return names;
}

} // namespace

TEST(TheFilesOfASet, BeginWithTheDescription) {
    EXPECT_EQ(filesOf(camera(serial)), Names{"Cali-12.xml"});
}

TEST(TheFilesOfASet, HaveDataAndCurveForEachRange) {
    EXPECT_EQ(filesOf(camera(serial).optic(23).range(-20, 100).range(0, 250)),
              (Names{"Cali-12.xml", "Cali-12-23-M20-100.dat", "Kennlinie-12-23-M20-100.prn",
                     "Cali-12-23-0-250.dat", "Kennlinie-12-23-0-250.prn"}));
}

TEST(TheFilesOfASet, HaveNoCurvesForOpticsCalibratedBySamplePoints) {
    EXPECT_EQ(filesOf(camera(serial).optic(23).samplePointCalibrated("True").range(-20, 100)),
              (Names{"Cali-12.xml", "Cali-12-23-M20-100.dat"}));
}

TEST(TheFilesOfASet, AreThereForEachFrameRate) {
    EXPECT_EQ(
        filesOf(
            camera(serial).optic(23).samplePointCalibrated().range(0, 250).frameRate(27).frameRate(
                80)),
        (Names{"Cali-12.xml", "Cali-12-23-0-250-27.dat", "Cali-12-23-0-250-80.dat"}));
}

TEST(TheFilesOfASet, DoNotDependOnAnEmptyListOfFrameRates) {
    EXPECT_EQ(
        filesOf(camera(serial).optic(23).samplePointCalibrated().range(0, 250).withoutFrameRates()),
        (Names{"Cali-12.xml", "Cali-12-23-0-250.dat"}));
}

TEST(TheFilesOfASet, OfAnOpticListedTwiceAreThoseOfItsFirstRangesWithTheFlagOfEach) {
    EXPECT_EQ(
        filesOf(camera(serial).optic(23).range(0, 250).optic(23).samplePointCalibrated().range(
            150, 900)),
        (Names{"Cali-12.xml", "Cali-12-23-0-250.dat", "Kennlinie-12-23-0-250.prn",
               "Cali-12-23-0-250.dat"}));
}

TEST(TheFilesOfASet, OfARangeListedTwiceHaveTheFirstFrameRates) {
    EXPECT_EQ(
        filesOf(camera(serial).optic(23).samplePointCalibrated().range(0, 250).frameRate(27).range(
            0, 250)),
        (Names{"Cali-12.xml", "Cali-12-23-0-250-27.dat", "Cali-12-23-0-250-27.dat"}));
}

TEST(TheFilesOfASet, AreFoundAmongManyRangesToo) {
    auto many = camera(serial).optic(23).samplePointCalibrated();
    Names expected{"Cali-12.xml"};
    for (int i = 0; i < 40; ++i) {
        many.range(i, 100 + i).frameRate(27);
        expected.push_back("Cali-12-23-" + std::to_string(i) + "-" + std::to_string(100 + i) +
                           "-27.dat");
    }
    EXPECT_EQ(filesOf(many), expected);
}
