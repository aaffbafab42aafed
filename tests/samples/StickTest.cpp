#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path const stick = fs::path(ZENTHO_SOURCE_DIR) / "samples" / "stick";

std::vector<fs::path> filesOf(std::string const& camera) {
    std::vector<fs::path> files;
    for (auto const& entry : fs::recursive_directory_iterator(stick / camera)) {
        if (entry.is_regular_file() && entry.path().filename() != "Contents.txt") {
            files.push_back(entry.path());
        }
    }
    return files;
}

// What a check says of one camera's files when they all lie in one directory.
std::string missingOf(std::string const& camera) {
    support::TemporaryDirectory const directory;
    for (auto const& file : filesOf(camera)) {
        fs::copy_file(file, directory.path() / file.filename());
    }
    auto* const manager = zel::IRCalibrationManager::getInstance();
    manager->setCalibrationDir(directory.path().c_str());
    std::unique_ptr<char[]> const missing(manager->checkCalibration(std::stoul(camera)));
    return missing ? missing.get() : "";
}

std::vector<std::string> contentsOf(std::string const& camera) {
    std::ifstream list(stick / camera / "Contents.txt");
    std::vector<std::string> names;
    for (std::string line; std::getline(list, line);) {
        names.push_back(line);
    }
    return names;
}

std::vector<std::string> sortedNamesOf(std::string const& camera) {
    std::vector<std::string> names;
    for (auto const& file : filesOf(camera)) {
        names.push_back(file.filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Stick, HoldsTheCompleteSetOfTheFirstCamera) {
    EXPECT_EQ(missingOf("14080045"), "");
}

TEST(Stick, HoldsTheCompleteSetOfTheCameraWhoseNumberBeginsLikeTheFirstOnes) {
    EXPECT_EQ(missingOf("140800451"), "");
}

TEST(Stick, LacksADataFileAndACurveOfTheThirdCamera) {
    EXPECT_EQ(missingOf("15110023"),
              "Cali-15110023-30-0-250.dat;Kennlinie-15110023-30-150-900.prn;");
}

TEST(Stick, HoldsNoFileThatTheContentsOfACompleteSetDoNotList) {
    EXPECT_EQ(sortedNamesOf("14080045"), contentsOf("14080045"));
}

TEST(Stick, ListsTheMissingFilesOfTheIncompleteSetInItsContents) {
    auto const contents = contentsOf("15110023");
    auto const present = sortedNamesOf("15110023");
    std::vector<std::string> missing;
    std::set_difference(contents.begin(), contents.end(), present.begin(), present.end(),
                        std::back_inserter(missing));
    EXPECT_EQ(missing, (std::vector<std::string>{"Cali-15110023-30-0-250.dat",
                                                 "Kennlinie-15110023-30-150-900.prn"}));
}

// Each file of the first set is needed: without any one of them it is no longer complete.
TEST(Stick, HoldsNoFileOfTheFirstCameraThatItsSetCouldDoWithout) {
    support::TemporaryDirectory const directory;
    auto const files = filesOf("14080045");
    ASSERT_EQ(files.size(), 11U);
    auto* const manager = zel::IRCalibrationManager::getInstance();
    manager->setCalibrationDir(directory.path().c_str());
    for (auto const& file : files) {
        fs::copy_file(file, directory.path() / file.filename());
    }
    ASSERT_EQ(ConfigCali::getInstance()->load(directory.path().c_str(), 14080045), 0);
    for (auto const& file : files) {
        if (file.extension() == ".xml") {
            continue; // already read
        }
        fs::rename(directory.path() / file.filename(), directory.path() + "/away");
        std::unique_ptr<char[]> const missing(manager->checkCalibration(14080045));
        EXPECT_STREQ(missing.get(), (file.filename().string() + ";").c_str());
        fs::rename(directory.path() + "/away", directory.path() / file.filename());
    }
}

} // namespace
