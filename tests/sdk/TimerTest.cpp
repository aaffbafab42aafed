#include "sdk/Timer.h"

#include "tests/support/FakeClock.h"

#include <gtest/gtest.h>

using support::setClock;

namespace {

/// @return Where a timer made deeper in the stack stores the clock's reading, so that a local
///         variable could not have the address it has elsewhere.
[[gnu::noinline]] void const* targetOfATimerMadeDeeper() {
    char volatile padding[4096];
    padding[0] = 0;
    zel::Timer const timer;
    void const* const target = support::lastClockCall().target;
    padding[sizeof padding - 1] = padding[0];
    return target;
}

class TimerTest : public ::testing::Test {
protected:
    ~TimerTest() override { support::useRealClockAndDate(); }
};

} // namespace

TEST_F(TimerTest, GivesMillisecondsSinceTheEpoch) {
    zel::Timer const timer;
    setClock(1000000000, 500000);
    EXPECT_EQ(timer.getTimeNow(), 1000000000500.0L);
}

TEST_F(TimerTest, KeepsSingleMicrosecondsOfTheEpochTime) {
    zel::Timer const timer;
    setClock(1000000000, 1);
    EXPECT_EQ(timer.getTimeNow(), 1000000000000.0L + 1.0L / 1000.0L);
}

TEST_F(TimerTest, GivesZeroRightAfterItWasMade) {
    setClock(1000000000, 123456);
    zel::Timer const timer;
    EXPECT_EQ(timer.getTime(), 0.0L);
}

TEST_F(TimerTest, GivesTheMillisecondsSinceItWasMade) {
    setClock(1000000000, 250000);
    zel::Timer const timer;
    setClock(1000000001, 750000);
    EXPECT_EQ(timer.getTime(), 1500.0L);
}

TEST_F(TimerTest, KeepsItsStartWhenItIsRead) {
    setClock(1000000000, 0);
    zel::Timer const timer;
    setClock(1000000001, 0);
    timer.getTime();
    setClock(1000000002, 0);
    EXPECT_EQ(timer.getTime(), 2000.0L);
}

TEST_F(TimerTest, KeepsItsStartWhenItIsAskedForTheTimeOfDay) {
    setClock(1000000000, 0);
    zel::Timer const timer;
    setClock(1000000001, 0);
    timer.getTimeNow();
    EXPECT_EQ(timer.getTime(), 1000.0L);
}

TEST_F(TimerTest, ReturnsTheLapThatEndsWithAReset) {
    setClock(1000000000, 0);
    zel::Timer timer;
    setClock(1000000003, 0);
    EXPECT_EQ(timer.reset(), 3000.0L);
}

TEST_F(TimerTest, ReturnsOnlyTheTimeBetweenTwoResetsFromTheSecond) {
    setClock(1000000000, 0);
    zel::Timer timer;
    setClock(1000000003, 0);
    timer.reset();
    setClock(1000000003, 500000);
    EXPECT_EQ(timer.reset(), 500.0L);
}

TEST_F(TimerTest, CountsFromTheLastReset) {
    setClock(1000000000, 0);
    zel::Timer timer;
    setClock(1000000003, 0);
    timer.reset();
    setClock(1000000007, 0);
    EXPECT_EQ(timer.getTime(), 4000.0L);
}

TEST_F(TimerTest, GoesNegativeWhenTheWallClockIsSetBack) {
    setClock(1000000010, 0);
    zel::Timer const timer;
    setClock(1000000000, 0);
    EXPECT_EQ(timer.getTime(), -10000.0L);
}

TEST_F(TimerTest, KeepsStartsOfTwoTimersApart) {
    setClock(1000000000, 0);
    zel::Timer const first;
    setClock(1000000001, 0);
    zel::Timer const second;
    setClock(1000000003, 0);
    EXPECT_EQ(first.getTime() - second.getTime(), 1000.0L);
}

TEST_F(TimerTest, ReadsTheClockOfAllTimersIntoOneValue) {
    zel::Timer const first;
    void const* const target = support::lastClockCall().target;
    EXPECT_EQ(targetOfATimerMadeDeeper(), target);
}

TEST_F(TimerTest, AsksForNoTimeZone) {
    setClock(1000000000, 0);
    zel::Timer const timer;
    EXPECT_EQ(support::lastClockCall().zone, nullptr);
}

TEST_F(TimerTest, NeverRunsBackOnAClockThatDoesNot) {
    zel::Timer const timer;
    EXPECT_GE(timer.getTime(), 0.0L);
}
