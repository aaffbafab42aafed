#include "imgproc/Description.h"

#include "imgproc/Cali.h"
#include "tests/support/Camera.h"
#include "tests/support/CommaLocale.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/Logger.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>

namespace {

using support::camera;
using support::TemporaryDirectory;
using support::writeFile;
using zel::FileDescriptor;

constexpr std::size_t enough = 1 << 20;

support::Camera smallCamera() {
    return camera(12).optic(23).text("wide").range(-20, 100.5).frameRate(27).frameRate(80);
}

/// A file of its own with a description.
class File {
public:
    explicit File(std::string const& content) { writeFile(path(), content); }
    std::string path() const { return m_directory.path() + "/description"; }
    FileDescriptor open() const { return FileDescriptor::openForReading(path().c_str()); }

private:
    TemporaryDirectory m_directory;
};

DescriptionOutcome readFrom(std::string const& content, std::size_t limit = enough) {
    File const file(content);
    return readDescription(file.open(), limit);
}

} // namespace

TEST(ADescription, HoldsWhatTheFileSays) {
    auto const outcome = readFrom(smallCamera().description());
    ASSERT_TRUE(outcome.description.has_value());
    EXPECT_FALSE(outcome.failure.has_value());
    ASSERT_EQ(outcome.description->optics.size(), 1U);
    auto const& optic = outcome.description->optics[0];
    EXPECT_EQ(optic.FOV, 23);
    EXPECT_STREQ(optic.Text.get(), "wide");
    ASSERT_EQ(optic.tempRanges.size(), 1U);
    EXPECT_EQ(optic.tempRanges[0].range.hi, 100.5F);
    EXPECT_EQ(optic.tempRanges[0].framerates, (std::vector<std::uint16_t>{27, 80}));
}

TEST(ADescription, OfAnEmptyFileHasNoOptics) {
    auto const outcome = readFrom("");
    ASSERT_TRUE(outcome.description.has_value());
    EXPECT_EQ(outcome.description->optics.size(), 0U);
    EXPECT_EQ(outcome.description->main.TecA, 3400);
}

TEST(ADescription, LargerThanTheLimitIsNotRead) {
    std::string const content = smallCamera().description();
    EXPECT_TRUE(readFrom(content, content.size()).description.has_value());
    auto const outcome = readFrom(content, content.size() - 1);
    EXPECT_FALSE(outcome.description.has_value());
    EXPECT_EQ(outcome.failure, DescriptionFailure::unreadable);
    EXPECT_EQ(outcome.error, EFBIG);
}

TEST(ADescription, WithCommentsThatDoNotPairUpIsMalformed) {
    auto const outcome = readFrom("<CaliData>\n<!-- open\n</CaliData>\n");
    EXPECT_FALSE(outcome.description.has_value());
    EXPECT_EQ(outcome.failure, DescriptionFailure::malformed);
    EXPECT_EQ(outcome.error, 0);
}

TEST(ADescription, FromADescriptorThatIsNotOpenIsUnreadableWithTheReason) {
    auto const outcome = readDescription(FileDescriptor(), enough);
    EXPECT_EQ(outcome.failure, DescriptionFailure::unreadable);
    EXPECT_EQ(outcome.error, EBADF);
}

TEST(ReadingADescription, KeepsTheNumericLocaleAndReadsPointsAllTheSame) {
    support::CommaLocale const commas;
    File const file("<CaliData>\n<Main><TempTECGain>1.5</TempTECGain><AlphaLowTemp>+2.5"
                    "</AlphaLowTemp><PifInGain>.5</PifInGain><PifOutGain> 3.5</PifOutGain>"
                    "</Main>\n</CaliData>\n");
    auto const outcome = readDescription(file.open(), enough);
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    ASSERT_TRUE(outcome.description.has_value());
    EXPECT_EQ(outcome.description->main.TempTECGain, 1.5F);
    EXPECT_EQ(outcome.description->main.AlphaLowTemp, 2.5F);
    EXPECT_EQ(outcome.description->main.PifInGain, 0.5F);
    EXPECT_EQ(outcome.description->main.PifOutGain, 3.5F);
}

TEST(ReadingADescription, LeavesTheDescriptionOfTheProcessAsItIs) {
    ConfigCali& loaded = *ConfigCali::getInstance();
    int const before = loaded.getOpticsCount();
    readFrom(smallCamera().optic(30).description());
    EXPECT_EQ(loaded.getOpticsCount(), before);
    EXPECT_FALSE(loaded.loaded);
}

TEST(ReadingADescription, LogsNothing) {
    ::testing::internal::CaptureStderr();
    readFrom("<CaliData>\n<!-- open\n</CaliData>\n");
    readFrom(smallCamera().description());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(ReadingADescription, WorksInSeveralThreadsAtOnce) {
    File const file(smallCamera().description());
    std::array<int, 4> good{};
    std::vector<std::thread> threads;
    for (int& count : good) {
        threads.emplace_back([&file, &count] {
            for (int i = 0; i < 200; ++i) {
                auto const outcome = readDescription(file.open(), enough);
                if (outcome.description &&
                    outcome.description->optics.find({23, "wide"}) != nullptr)
                    ++count;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(good, (std::array<int, 4>{200, 200, 200, 200}));
}

TEST(TheDescriptionOfTheProcess, IsReadAnewAfterItWasForgotten) {
    TemporaryDirectory const directory;
    smallCamera().writeInto(directory.path());
    ConfigCali description;
    ASSERT_EQ(description.load(directory.path().c_str(), 12), 0);
    smallCamera().optic(54).range(0, 250).writeInto(directory.path());
    ASSERT_EQ(description.load(directory.path().c_str(), 12), 0);
    EXPECT_EQ(description.getOpticsCount(), 1);
    description.forget();
    EXPECT_FALSE(description.isLoaded(12));
    EXPECT_EQ(description.getOpticsIndex(30, nullptr), 0); // the initial content
    ASSERT_EQ(description.load(directory.path().c_str(), 12), 0);
    EXPECT_EQ(description.getOpticsCount(), 2);
}

TEST(TheDescriptionOfTheProcess, IsMadeAnewAfterItWasDeleted) {
    TemporaryDirectory const directory;
    smallCamera().writeInto(directory.path());
    ASSERT_EQ(ConfigCali::getInstance()->load(directory.path().c_str(), 12), 0);
    delete ConfigCali::getInstance();
    EXPECT_FALSE(ConfigCali::getInstance()->isLoaded(12));
    EXPECT_EQ(ConfigCali::getInstance()->getOpticsIndex(30, nullptr), 0);
}
