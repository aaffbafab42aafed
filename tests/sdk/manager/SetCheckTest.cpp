#include "sdk/IRCalibrationManager.h"

#include "imgproc/Cali.h"
#include "tests/support/Camera.h"
#include "tests/support/Log.h"
#include "tests/support/Namespace.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// What happens before a file is opened by the library.
std::function<void(std::string const&)> beforeOpening;

} // namespace

// Takes the place of the C library's.
extern "C" int open(char const* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (beforeOpening)
        beforeOpening(path);
    return openat(AT_FDCWD, path, flags, mode);
}

namespace {

namespace fs = std::filesystem;

using support::Camera;
using support::camera;
using Manager = zel::IRCalibrationManager;

constexpr int serialNumber = 14080045;
constexpr char const* xmlFormat = "Cali-%i.xml";
constexpr char const* datFormat = "Cali-%s.dat";
constexpr char const* prnFormat = "Kennlinie-%s.prn";

/// Forgets the description that an earlier test has loaded.
void forgetDescription() {
    ConfigCali::getInstance()->load("/proc", -2);
}

/// A calibration directory with the description of the camera 14080045.
class Directory {
public:
    Directory() { forgetDescription(); }
    explicit Directory(Camera const& maker) : Directory() {
        add("Cali-14080045.xml", maker.description());
    }

    std::string const& path() const { return m_directory.path(); }
    void add(std::string const& name, std::string const& content = "") const {
        support::writeFile(path() + "/" + name, content);
    }
    void remove(std::string const& name) const { fs::remove(path() + "/" + name); }

private:
    support::TemporaryDirectory m_directory;
};

Camera oneRange() {
    return camera(14080045).optic(23).range(-20, 100);
}

void addFilesOfOneRange(Directory const& directory) {
    directory.add("Cali-14080045-23-M20-100.dat");
    directory.add("Kennlinie-14080045-23-M20-100.prn");
}

struct Sized {
    bool complete;
    int size;
};

Sized sizeOf(std::string const& dir, int serial = serialNumber, char const* separator = ";") {
    Manager manager;
    Sized sized{false, 4711};
    sized.complete = manager.checkCaliFiles(dir.c_str(), serial, nullptr, &sized.size, xmlFormat,
                                            datFormat, prnFormat, separator);
    return sized;
}

struct Filled {
    bool complete;
    std::string list;
};

Filled fill(std::string const& dir, int size = 2000, char const* separator = ";") {
    Manager manager;
    std::array<char, 4000> list{};
    list[0] = '#';
    bool const complete = manager.checkCaliFiles(dir.c_str(), serialNumber, list.data(), &size,
                                                 xmlFormat, datFormat, prnFormat, separator);
    return {complete, list.data()};
}

/// What checkCalibration() lists; nothing when the set is complete.
std::optional<std::string> missing(std::string const& dir, unsigned long serial = serialNumber) {
    Manager manager;
    manager.setCalibrationDir(dir.c_str());
    std::unique_ptr<char[]> const list(manager.checkCalibration(serial));
    if (list == nullptr)
        return std::nullopt;
    return list.get();
}

/// What checkCalibration() lists for this description alone.
std::optional<std::string> neededBy(Camera const& maker) {
    return missing(Directory(maker).path());
}

/// What the one-file helper makes of a size, in sizing mode.
int sizeAfterTest(std::string const& dir, std::string const& baseName, int size,
                  char const* format = datFormat) {
    zel::_checkCaliFilesHelper(dir.c_str(), baseName.c_str(), format, nullptr, &size);
    return size;
}

/// What the one-file helper makes of a list, in filling mode.
std::string listAfterTest(std::string const& dir, std::string const& baseName,
                          std::string const& list, int size = 2000) {
    std::array<char, 4000> out{};
    list.copy(out.data(), out.size() - 1);
    zel::_checkCaliFilesHelper(dir.c_str(), baseName.c_str(), datFormat, out.data(), &size);
    return out.data();
}

} // namespace

TEST(CheckCaliFilesHelper, AddsRoomForTheNameOfAMissingFileAndASeparator) {
    Directory const directory;
    EXPECT_EQ(sizeAfterTest(directory.path(), "1-23-0-250", 5), 5 + 20);
}

TEST(CheckCaliFilesHelper, LeavesRoomForTheTerminatorInTheLargestSize) {
    Directory const directory;
    EXPECT_EQ(sizeAfterTest(directory.path(), "1", 2147483647 - 3), 2147483647 - 1);
}

TEST(CheckCaliFilesHelper, LeavesTheSizeForAFileThatExists) {
    Directory const directory;
    directory.add("Cali-1-23-0-250.dat");
    EXPECT_EQ(sizeAfterTest(directory.path(), "1-23-0-250", 5), 5);
}

TEST(CheckCaliFilesHelper, AppendsTheNameOfAMissingFileToTheList) {
    Directory const directory;
    EXPECT_EQ(listAfterTest(directory.path(), "1-23-0-250", "A;"), "A;Cali-1-23-0-250.dat;");
}

TEST(CheckCaliFilesHelper, LeavesTheListForAFileThatExists) {
    Directory const directory;
    directory.add("Cali-1-23-0-250.dat");
    EXPECT_EQ(listAfterTest(directory.path(), "1-23-0-250", "A;"), "A;");
}

TEST(CheckCaliFilesHelper, LimitsTheNameButNotTheListToTheSize) {
    Directory const directory;
    EXPECT_EQ(listAfterTest(directory.path(), "1-23-0-250", "ABCDEFGH;", 4), "ABCDEFGH;Cali;");
}

TEST(CheckCaliFilesHelper, LeavesTheSizeAloneWhenItFillsAList) {
    Directory const directory;
    std::array<char, 100> out{};
    int size = 100;
    zel::_checkCaliFilesHelper(directory.path().c_str(), "1", datFormat, out.data(), &size);
    EXPECT_EQ(size, 100);
}

TEST(CheckCaliFilesHelper, TakesAnEmptyFileForOneThatExists) {
    Directory const directory;
    directory.add("Cali-1.dat", "");
    EXPECT_EQ(sizeAfterTest(directory.path(), "1", 0), 0);
}

TEST(CheckCaliFilesHelper, TakesADirectoryForAFileThatExists) {
    Directory const directory;
    fs::create_directory(directory.path() + "/Cali-1.dat");
    EXPECT_EQ(sizeAfterTest(directory.path(), "1", 0), 0);
}

TEST(CheckCaliFilesHelper, TakesAFileForOneThatExistsAlsoWithoutAStandardInput) {
    Directory const directory;
    directory.add("Cali-1.dat");
    int const kept = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    close(STDIN_FILENO);
    EXPECT_EQ(sizeAfterTest(directory.path(), "1", 0), 0);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "left open";
    dup2(kept, STDIN_FILENO);
    close(kept);
}

TEST(CheckCaliFilesHelper, TakesALinkToNowhereForAMissingFile) {
    Directory const directory;
    fs::create_symlink("/proc/nowhere/file", directory.path() + "/Cali-1.dat");
    EXPECT_EQ(sizeAfterTest(directory.path(), "1", 0), 11);
}

TEST(CheckCaliFilesHelper, TakesAFileThatMayNotBeReadForAMissingOne) {
    support::inPrivateNamespaces([] {
        Directory const directory;
        directory.add("Cali-1.dat", "data");
        fs::permissions(directory.path() + "/Cali-1.dat", fs::perms::none);
        support::giveUpPrivileges();
        EXPECT_EQ(sizeAfterTest(directory.path(), "1", 0), 11);
    });
}

TEST(CheckCaliFilesHelper, CreatesTheDirectory) {
    Directory const directory;
    sizeAfterTest(directory.path() + "/cali", "1", 0);
    EXPECT_TRUE(fs::is_directory(directory.path() + "/cali"));
}

TEST(CheckCaliFilesHelper, CreatesNoFile) {
    Directory const directory;
    sizeAfterTest(directory.path(), "1", 0);
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(CheckCaliFilesHelper, LooksInImagerForAnEmptyDirectory) {
    Directory const directory;
    directory.add("Imager/Cali-1.dat");
    auto const previous = fs::current_path();
    fs::current_path(directory.path());
    int const size = sizeAfterTest("", "1", 0);
    fs::current_path(previous);
    EXPECT_EQ(size, 0);
}

TEST(CheckCaliFilesHelper, TakesAFileForMissingWhenItsPathCannotBeFormed) {
    auto const previous = fs::current_path();
    auto const directory = std::make_unique<support::TemporaryDirectory>();
    fs::current_path(directory->path());
    fs::remove(directory->path());
    int const size = sizeAfterTest("", "1", 0);
    fs::current_path(previous);
    EXPECT_EQ(size, 11);
}

TEST(CheckCaliFilesHelper, CutsANameThatFillsItsBuffer) {
    Directory const directory;
    EXPECT_EQ(listAfterTest(directory.path(), std::string(300, 'n'), ""),
              "Cali-" + std::string(254, 'n') + ";");
}

TEST(CheckCaliFilesHelper, FillsTheFormatThatItIsGiven) {
    Directory const directory;
    directory.add("Kennlinie-1.prn");
    EXPECT_EQ(sizeAfterTest(directory.path(), "1", 0, prnFormat), 0);
}

TEST(CheckCaliFiles, SizesNothingForACompleteSet) {
    Directory const directory(oneRange());
    addFilesOfOneRange(directory);
    auto const sized = sizeOf(directory.path());
    EXPECT_TRUE(sized.complete);
    EXPECT_EQ(sized.size, 0);
}

TEST(CheckCaliFiles, FillsAnEmptyListForACompleteSet) {
    Directory const directory(oneRange());
    addFilesOfOneRange(directory);
    auto const filled = fill(directory.path());
    EXPECT_TRUE(filled.complete);
    EXPECT_EQ(filled.list, "");
}

TEST(CheckCaliFiles, SizesTheListOfMissingFilesWithItsTerminator) {
    Directory const directory(oneRange());
    auto const sized = sizeOf(directory.path());
    EXPECT_FALSE(sized.complete);
    EXPECT_EQ(sized.size, 29 + 34 + 1);
}

TEST(CheckCaliFiles, FillsTheListOfMissingFiles) {
    Directory const directory(oneRange());
    auto const filled = fill(directory.path());
    EXPECT_FALSE(filled.complete);
    EXPECT_EQ(filled.list, "Cali-14080045-23-M20-100.dat;Kennlinie-14080045-23-M20-100.prn;");
}

TEST(CheckCaliFiles, SizesTheDescriptionsNameAndTwoWhenItIsMissing) {
    Directory const directory;
    auto const sized = sizeOf(directory.path());
    EXPECT_FALSE(sized.complete);
    EXPECT_EQ(sized.size, 17 + 2);
}

TEST(CheckCaliFiles, SizesTwoForTheDescriptionWhateverTheSeparator) {
    Directory const directory;
    EXPECT_EQ(sizeOf(directory.path(), serialNumber, " and ").size, 17 + 2);
}

TEST(CheckCaliFiles, FillsTheDescriptionsNameWhenItIsMissing) {
    Directory const directory;
    auto const filled = fill(directory.path());
    EXPECT_FALSE(filled.complete);
    EXPECT_EQ(filled.list, "Cali-14080045.xml;");
}

TEST(CheckCaliFiles, PutsTheSeparatorAfterTheDescriptionsName) {
    Directory const directory;
    EXPECT_EQ(fill(directory.path(), 2000, " and ").list, "Cali-14080045.xml and ");
}

TEST(CheckCaliFiles, PutsASemicolonAfterOtherNamesWhateverTheSeparator) {
    Directory const directory(oneRange());
    directory.add("Kennlinie-14080045-23-M20-100.prn");
    EXPECT_EQ(fill(directory.path(), 2000, " and ").list, "Cali-14080045-23-M20-100.dat;");
}

TEST(CheckCaliFiles, LimitsEachNameButNotTheListToTheSize) {
    Directory const directory(oneRange());
    EXPECT_EQ(fill(directory.path(), 6).list, "Cali-1;Kennli;");
}

TEST(CheckCaliFiles, LimitsTheDescriptionsNameToTheSize) {
    Directory const directory;
    EXPECT_EQ(fill(directory.path(), 6).list, "Cali-1;");
}

TEST(CheckCaliFiles, LimitsTheSeparatorToTheSize) {
    Directory const directory;
    EXPECT_EQ(fill(directory.path(), 3, "[...]").list, "Cal[..");
}

TEST(CheckCaliFiles, KeepsTheCapacityWhenItFillsAList) {
    Directory const directory(oneRange());
    Manager manager;
    std::array<char, 100> out{};
    int size = 100;
    manager.checkCaliFiles(directory.path().c_str(), serialNumber, out.data(), &size, xmlFormat,
                           datFormat, prnFormat, ";");
    EXPECT_EQ(size, 100);
}

TEST(CheckCaliFiles, FillsTheFormatsThatItIsGiven) {
    Directory const directory(oneRange());
    Manager manager;
    std::array<char, 200> out{};
    int size = 200;
    manager.checkCaliFiles(directory.path().c_str(), serialNumber, out.data(), &size, "%i", "d_%s",
                           "p_%s", ";");
    EXPECT_STREQ(out.data(), "d_14080045-23-M20-100;p_14080045-23-M20-100;");
}

TEST(CheckCaliFiles, FillsTheDescriptionsFormatThatItIsGiven) {
    Directory const directory;
    Manager manager;
    std::array<char, 200> out{};
    int size = 200;
    manager.checkCaliFiles(directory.path().c_str(), serialNumber, out.data(), &size, "x_%i",
                           datFormat, prnFormat, ";");
    EXPECT_STREQ(out.data(), "x_14080045;");
}

TEST(CheckCaliFiles, CutsTheDescriptionsNameToNineteenCharacters) {
    Directory const directory;
    Manager manager;
    std::array<char, 200> out{};
    int size = 200;
    manager.checkCaliFiles(directory.path().c_str(), serialNumber, out.data(), &size,
                           "Description-%i.xml", datFormat, prnFormat, ";");
    EXPECT_STREQ(out.data(), "Description-1408004;");
}

TEST(CheckCaliFiles, LooksInTheDirectoryThatItIsGiven) {
    Directory const directory(oneRange());
    Directory const other;
    addFilesOfOneRange(other);
    Manager manager;
    manager.setCalibrationDir(other.path().c_str());
    int size = 0;
    EXPECT_FALSE(manager.checkCaliFiles(directory.path().c_str(), serialNumber, nullptr, &size,
                                        xmlFormat, datFormat, prnFormat, ";"));
}

TEST(CheckCaliFiles, CreatesTheDirectory) {
    Directory const directory;
    sizeOf(directory.path() + "/cali");
    EXPECT_TRUE(fs::is_directory(directory.path() + "/cali"));
}

TEST(CheckCaliFiles, ReadsTheDescriptionOfACameraOnlyOnce) {
    Directory const directory(oneRange());
    sizeOf(directory.path());
    directory.remove("Cali-14080045.xml");
    EXPECT_EQ(fill(directory.path()).list,
              "Cali-14080045-23-M20-100.dat;Kennlinie-14080045-23-M20-100.prn;");
}

TEST(CheckCaliFiles, AsksTheDescriptionFirstWhetherItIsLoaded) {
    Directory const directory(oneRange());
    sizeOf(directory.path());
    EXPECT_TRUE(support::debugLogOf([&] { sizeOf(directory.path()); }).empty());
}

TEST(CheckCaliFiles, ReadsTheDescriptionOfAnotherCamera) {
    Directory const directory(oneRange());
    directory.add("Cali-7.xml", camera(7).optic(50).withoutRanges().description());
    sizeOf(directory.path());
    EXPECT_TRUE(sizeOf(directory.path(), 7).complete);
}

TEST(CheckCaliFiles, TriesAgainToReadADescriptionThatWasMissing) {
    Directory const directory;
    sizeOf(directory.path());
    directory.add("Cali-14080045.xml", camera(14080045).optic(23).withoutRanges().description());
    EXPECT_TRUE(sizeOf(directory.path()).complete);
}

TEST(CheckCaliFiles, TakesAMalformedDescriptionForAMissingOne) {
    Directory const directory;
    directory.add("Cali-14080045.xml", "<CaliData>\n<!-- never closed\n</CaliData>\n");
    EXPECT_EQ(fill(directory.path()).list, "Cali-14080045.xml;");
}

TEST(CheckCaliFiles, WritesNoLogLineOfItsOwn) {
    Directory const directory;
    EXPECT_TRUE(support::logOf([&] { fill(directory.path()); }).empty());
}

TEST(CheckCalibration, GivesNothingForACompleteSet) {
    Directory const directory(oneRange());
    addFilesOfOneRange(directory);
    EXPECT_EQ(missing(directory.path()), std::nullopt);
}

TEST(CheckCalibration, ListsTheMissingFilesInTheManagersDirectory) {
    EXPECT_EQ(neededBy(oneRange()),
              "Cali-14080045-23-M20-100.dat;Kennlinie-14080045-23-M20-100.prn;");
}

TEST(CheckCalibration, ListsOnlyWhatIsMissing) {
    Directory const directory(oneRange());
    directory.add("Cali-14080045-23-M20-100.dat");
    EXPECT_EQ(missing(directory.path()), "Kennlinie-14080045-23-M20-100.prn;");
}

TEST(CheckCalibration, ListsOnlyTheDescriptionWhenItIsMissing) {
    Directory const directory;
    EXPECT_EQ(missing(directory.path()), "Cali-14080045.xml;");
}

TEST(CheckCalibration, ReadsADescriptionThatCannotBeReadOnceForEachOfItsTwoPasses) {
    Directory const directory;
    directory.add("Cali-14080045.xml", "<CaliData>\n<!-- never closed\n</CaliData>\n");
    auto const log = support::logOf([&] { missing(directory.path()); });
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](std::string const& line) {
                                return line.find(" is wrong. Verify") != std::string::npos;
                            }),
              2);
}

TEST(CheckCalibration, KeepsAListThatGrowsBetweenItsTwoPassesInItsRoom) {
    Directory const directory(oneRange());
    directory.add("Kennlinie-14080045-23-M20-100.prn");
    int searched = 0;
    beforeOpening = [&](std::string const& path) {
        if (path == directory.path() + "/Kennlinie-14080045-23-M20-100.prn" && ++searched == 2)
            directory.remove("Kennlinie-14080045-23-M20-100.prn");
    };
    EXPECT_EQ(missing(directory.path()), "Cali-14080045-23-M20-100.dat;");
    beforeOpening = nullptr;
}

TEST(CheckCalibration, NeedsOneDataSetForARangeWithoutFrameRates) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).range(0, 250)),
              "Cali-14080045-23-0-250.dat;Kennlinie-14080045-23-0-250.prn;");
}

TEST(CheckCalibration, NeedsOneDataSetForARangeWithAnEmptyListOfFrameRates) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).range(0, 250).withoutFrameRates()),
              "Cali-14080045-23-0-250.dat;Kennlinie-14080045-23-0-250.prn;");
}

TEST(CheckCalibration, NeedsADataSetForEachFrameRate) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).range(0, 250).frameRate(80).frameRate(27)),
              "Cali-14080045-23-0-250-80.dat;Kennlinie-14080045-23-0-250-80.prn;"
              "Cali-14080045-23-0-250-27.dat;Kennlinie-14080045-23-0-250-27.prn;");
}

TEST(CheckCalibration, NamesNoFrameRateForAListedZero) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).range(0, 250).frameRate(0)),
              "Cali-14080045-23-0-250.dat;Kennlinie-14080045-23-0-250.prn;");
}

TEST(CheckCalibration, NamesTheBiggestFrameRateWithoutASign) {
    EXPECT_EQ(
        neededBy(camera(14080045).optic(23).samplePointCalibrated().range(0, 250).frameRate(65535)),
        "Cali-14080045-23-0-250-65535.dat;");
}

TEST(CheckCalibration, NeedsNoCurveForASamplePointCalibratedOptic) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).samplePointCalibrated().range(0, 250)),
              "Cali-14080045-23-0-250.dat;");
}

TEST(CheckCalibration, NeedsNoCurveForASamplePointCalibratedOpticAtAnyFrameRate) {
    EXPECT_EQ(neededBy(camera(14080045)
                           .optic(23)
                           .samplePointCalibrated()
                           .range(0, 250)
                           .frameRate(27)
                           .frameRate(80)),
              "Cali-14080045-23-0-250-27.dat;Cali-14080045-23-0-250-80.dat;");
}

TEST(CheckCalibration, PutsTheTextOfTheOpticIntoTheNames) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).text("wide").range(-20, 100)),
              "Cali-14080045-23-wide-M20-100.dat;Kennlinie-14080045-23-wide-M20-100.prn;");
}

TEST(CheckCalibration, ListsOpticByOpticRangeByRangeAndRateByRate) {
    EXPECT_EQ(neededBy(camera(14080045)
                           .optic(53)
                           .range(150, 900)
                           .frameRate(32)
                           .frameRate(27)
                           .range(-20, 100)
                           .optic(23)
                           .samplePointCalibrated()
                           .range(0, 250)),
              "Cali-14080045-53-150-900-32.dat;Kennlinie-14080045-53-150-900-32.prn;"
              "Cali-14080045-53-150-900-27.dat;Kennlinie-14080045-53-150-900-27.prn;"
              "Cali-14080045-53-M20-100.dat;Kennlinie-14080045-53-M20-100.prn;"
              "Cali-14080045-23-0-250.dat;");
}

TEST(CheckCalibration, ListsNamesAgainWhenRangesDifferInFractionsOnly) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).range(0, 100).range(0.5, 100.9)),
              "Cali-14080045-23-0-100.dat;Kennlinie-14080045-23-0-100.prn;"
              "Cali-14080045-23-0-100.dat;Kennlinie-14080045-23-0-100.prn;");
}

TEST(CheckCalibration, ListsTheRangesOfTheFirstOfTwoOpticsThatAreAlikeTwice) {
    EXPECT_EQ(neededBy(camera(14080045)
                           .optic(23)
                           .samplePointCalibrated()
                           .range(0, 250)
                           .optic(23)
                           .samplePointCalibrated()
                           .range(150, 900)),
              "Cali-14080045-23-0-250.dat;Cali-14080045-23-0-250.dat;");
}

TEST(CheckCalibration, AsksEachOfTwoOpticsThatAreAlikeWhetherItIsSamplePointCalibrated) {
    EXPECT_EQ(
        neededBy(camera(14080045).optic(23).range(0, 250).optic(23).samplePointCalibrated().range(
            0, 250)),
        "Cali-14080045-23-0-250.dat;Kennlinie-14080045-23-0-250.prn;"
        "Cali-14080045-23-0-250.dat;");
}

TEST(CheckCalibration, TellsOpticsOfOneFieldOfViewApartByTheirText) {
    EXPECT_EQ(neededBy(camera(14080045)
                           .optic(23)
                           .samplePointCalibrated()
                           .range(0, 250)
                           .optic(23)
                           .text("wide")
                           .samplePointCalibrated()
                           .range(150, 900)),
              "Cali-14080045-23-0-250.dat;Cali-14080045-23-wide-150-900.dat;");
}

TEST(CheckCalibration, TakesTheFrameRatesOfTheFirstOfTwoRangesThatAreAlike) {
    EXPECT_EQ(neededBy(camera(14080045)
                           .optic(23)
                           .samplePointCalibrated()
                           .range(0, 250)
                           .frameRate(27)
                           .range(0, 250)
                           .frameRate(80)),
              "Cali-14080045-23-0-250-27.dat;Cali-14080045-23-0-250-27.dat;");
}

TEST(CheckCalibration, NeedsTheDefaultRangesOfAnOpticWithoutATableOfRanges) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).samplePointCalibrated()),
              "Cali-14080045-23-M20-100.dat;Cali-14080045-23-0-250.dat;"
              "Cali-14080045-23-150-900.dat;");
}

TEST(CheckCalibration, NeedsNothingForAnOpticWithoutRanges) {
    EXPECT_EQ(neededBy(camera(14080045).optic(23).withoutRanges()), std::nullopt);
}

TEST(CheckCalibration, NeedsNothingForADescriptionWithoutOptics) {
    EXPECT_EQ(neededBy(camera(14080045)), std::nullopt);
}

TEST(CheckCalibration, CutsANameStemThatFillsItsBuffer) {
    EXPECT_EQ(neededBy(camera(14080045)
                           .optic(23)
                           .samplePointCalibrated()
                           .text(std::string(300, 't'))
                           .range(0, 250)),
              "Cali-14080045-23-" + std::string(242, 't') + ";");
}

TEST(CheckCalibration, MakesRoomForALongList) {
    Camera maker(14080045);
    std::string expected;
    for (int fov = 1; fov <= 300; ++fov) {
        maker.optic(fov).samplePointCalibrated().range(0, 250);
        expected += "Cali-14080045-" + std::to_string(fov) + "-0-250.dat;";
    }
    EXPECT_EQ(neededBy(maker), expected);
}

TEST(CheckCalibration, FormatsABigSerialNumberAsASignedOne) {
    Directory const directory;
    EXPECT_EQ(missing(directory.path(), 4294967295UL), "Cali--1.xml;");
}

TEST(CheckCalibration, CutsTheDescriptionsNameWhenItsNumberIsTooLong) {
    Directory const directory;
    EXPECT_EQ(missing(directory.path(), 2147483648UL), "Cali--2147483648.xm;");
}

TEST(CheckCalibration, KeepsTheDescriptionsNameOfTheBiggestSignedNumber) {
    Directory const directory;
    EXPECT_EQ(missing(directory.path(), 2147483647UL), "Cali-2147483647.xml;");
}

TEST(CheckCalibration, FindsTheDescriptionOfABigSerialNumberUnderItsWholeSignedName) {
    Directory const directory;
    directory.add("Cali--2147483648.xml", camera(14080045).optic(23).withoutRanges().description());
    EXPECT_EQ(missing(directory.path(), 2147483648UL), std::nullopt);
}

TEST(CheckCalibration, PutsABigSerialNumberAsASignedOneIntoTheDataNames) {
    Directory const directory;
    directory.add("Cali--1.xml",
                  camera(-1).optic(23).samplePointCalibrated().range(0, 250).description());
    EXPECT_EQ(missing(directory.path(), 4294967295UL), "Cali--1-23-0-250.dat;");
}
