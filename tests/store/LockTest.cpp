// The lock of a calibration directory.
#include "tests/store/StoreFixture.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace storetest;

class StoreLock : public Store {
protected:
    StoreLock() {
        putOnStick(camera(7));
        putOnStick(camera(8));
        install(7);
    }
};

std::chrono::seconds clockIsAhead(0);

} // namespace

// The store's clock, which can jump ahead.
using SteadyTime = std::chrono::steady_clock::time_point;
SteadyTime realNow() __asm__("__real__ZNSt6chrono3_V212steady_clock3nowEv");
SteadyTime shownNow() __asm__("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
SteadyTime shownNow() {
    return realNow() + clockIsAhead;
}

TEST_F(StoreLock, KeepsOthersOutAndNamesItsHolder) {
    auto const lock = store.lockForOthers(true, {});
    ASSERT_FALSE(lock.failure);
    InstallOptions options;
    options.wait = false;
    auto const outcome = install(8, options);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::locked);
    EXPECT_EQ(outcome.failure->holder, getpid());
    EXPECT_EQ(outcome.failure->path, cali);
}

TEST_F(StoreLock, IsWaitedFor) {
    auto lock = store.lockForOthers(true, {});
    auto const source = zel::store::Source::open(stick, {});
    long holder = 0;
    auto const outcome = store.install(8, *source.source, {}, [&](auto const& progress) {
        if (progress.phase == zel::store::Phase::waiting) {
            holder = progress.holder;
            lock.lock = zel::store::DirectoryLock();
        }
        return true;
    });
    EXPECT_EQ(holder, getpid());
    EXPECT_TRUE(outcome.complete);
}

TEST_F(StoreLock, CanBeCancelledWhileWaiting) {
    auto const lock = store.lockForOthers(true, {});
    auto const outcome = store.remove(
        7, {}, [](auto const& progress) { return progress.phase != zel::store::Phase::waiting; });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}

TEST_F(StoreLock, IsNotTakenByQuestionsAndWhenThereIsNothingToDo) {
    auto const lock = store.lockForOthers(true, {});
    InstallOptions options;
    options.wait = false;
    EXPECT_TRUE(install(7, options).complete);
    EXPECT_EQ(check(7), "complete\n");
    EXPECT_TRUE(store.verify(7, {}).same);
    options.dryRun = true;
    EXPECT_TRUE(install(8, options).complete);
    EXPECT_FALSE(store.remove(9, {}, {}).failure);
}

TEST_F(StoreLock, DropsARecord) {
    auto lock = store.lockForOthers(true, {});
    EXPECT_FALSE(lock.lock.dropRecord(7));
    EXPECT_FALSE(fs::exists(hidden + "/7.sha256"));
    EXPECT_FALSE(lock.lock.dropRecord(7));
    EXPECT_FALSE(zel::store::DirectoryLock().dropRecord(7));
}

TEST_F(StoreLock, LeavesNoHiddenFolderInADirectoryWithoutSets) {
    fs::create_directory(root.path() + "/empty");
    CalibrationStore empty(root.path() + "/empty");
    {
        auto const lock = empty.lockForOthers(true, {});
        EXPECT_FALSE(lock.failure);
        EXPECT_FALSE(fs::is_empty(root.path() + "/empty"));
    }
    EXPECT_TRUE(fs::is_empty(root.path() + "/empty"));
}

TEST_F(StoreLock, KeepsManyInstallersApart) {
    // Each removal of the last set also removes the lock's file, which others wait for.
    fs::remove_all(cali);
    std::vector<std::thread> threads;
    for (unsigned long const serial : {7UL, 8UL, 7UL, 8UL}) {
        threads.emplace_back([this, serial] {
            for (int i = 0; i < 10; ++i) {
                EXPECT_FALSE(install(serial).failure);
                EXPECT_FALSE(CalibrationStore(cali).remove(serial, {}, {}).failure);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(!fs::exists(cali) || fs::is_empty(cali));
}

TEST_F(StoreLock, MovesWithItsHolderAndHoldsNothingAfterwards) {
    auto locked = store.lockForOthers(true, {});
    zel::store::DirectoryLock moved(std::move(locked.lock));
    EXPECT_FALSE(locked.lock.dropRecord(7));
    EXPECT_TRUE(fs::exists(hidden + "/7.sha256"));
    EXPECT_FALSE(moved.dropRecord(7));
    EXPECT_FALSE(fs::exists(hidden + "/7.sha256"));
}

TEST_F(StoreLock, CanBeCancelledWhileWaitingForTheRecordOnly) {
    fs::remove(hidden + "/7.sha256");
    auto const lock = store.lockForOthers(true, {});
    auto const source = zel::store::Source::open(stick, {});
    auto const outcome = store.install(7, *source.source, {}, [](auto const& progress) {
        return progress.phase != zel::store::Phase::waiting;
    });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::cancelled);
}

TEST_F(StoreLock, IsWaitedForNoLongerThanAMinute) {
    auto const lock = store.lockForOthers(true, {});
    auto const outcome = store.remove(7, {}, [](auto const&) {
        clockIsAhead = std::chrono::seconds(61);
        return true;
    });
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, FailureKind::locked);
    EXPECT_EQ(outcome.failure->holder, getpid());
}
