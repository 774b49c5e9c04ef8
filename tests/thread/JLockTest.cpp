#include "thread/JLock.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/select.h>

#include "support/Thread.h"
#include "thread/detail/ScopedLock.h"

using support::Thread;

namespace {

bool isFreeForOthers(JLock& lock) {
    bool taken = false;
    Thread other([&] {
        taken = lock.tryLock();
        if (taken) lock.unlock();
    });
    other.join();
    return taken;
}

}  // namespace

TEST(JLockTest, InheritsTheRootsOperations) {
    JLock lock;
    JLock other;
    EXPECT_EQ(lock.hashCode(), 0);
    EXPECT_EQ(lock.clone(), nullptr);
    EXPECT_TRUE(lock.equals(other));
    EXPECT_TRUE(lock.equals(static_cast<const JObject*>(&other)));
}

TEST(JLockTest, LockAndUnlock_ReturnZero) {
    JLock lock;
    EXPECT_EQ(lock.lock(), 0);
    EXPECT_EQ(lock.unlock(), 0);
}

TEST(JLockTest, Lock_ExcludesOtherThreads) {
    JLock lock;
    ASSERT_TRUE(isFreeForOthers(lock));
    lock.lock();
    EXPECT_FALSE(isFreeForOthers(lock));
    lock.unlock();
    EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(JLockTest, TryLock_TakesAFreeLock_AndOnesOwnAgain) {
    JLock lock;
    EXPECT_TRUE(lock.tryLock());
    EXPECT_TRUE(lock.tryLock());
    lock.unlock();
    EXPECT_FALSE(isFreeForOthers(lock));
    lock.unlock();
    EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(JLockTest, TryLock_DoesNotWaitForAnotherThread) {
    JLock lock;
    lock.lock();
    bool taken = true;
    Thread([&] { taken = lock.tryLock(); }).join();
    EXPECT_FALSE(taken);
    lock.unlock();
}

TEST(JLockTest, ScopedTryLock_GivesBackWhatItHasTaken_AndOnlyThat) {
    JLock lock;
    {
        const jay::detail::ScopedTryLock guard(lock);
        EXPECT_TRUE(guard.held());
        bool held = true;
        Thread([&] { held = jay::detail::ScopedTryLock(lock).held(); }).join();
        EXPECT_FALSE(held);
        EXPECT_FALSE(isFreeForOthers(lock));
    }
    EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(JLockTest, LockedTwice_IsFreeOnlyAfterTwoUnlocks) {
    JLock lock;
    EXPECT_EQ(lock.lock(), 0);
    EXPECT_EQ(lock.lock(), 0);
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_FALSE(isFreeForOthers(lock));
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(JLockTest, Unlock_ByAThreadThatDoesNotHoldIt_FailsAndLeavesItLocked) {
    JLock lock;
    lock.lock();
    int result = 0;
    Thread other([&] { result = lock.unlock(); });
    other.join();
    EXPECT_EQ(result, EPERM);
    EXPECT_FALSE(isFreeForOthers(lock));
    lock.unlock();
}

TEST(JLockTest, Lock_BlocksUntilTheHolderUnlocks) {
    JLock lock;
    lock.lock();
    Thread other([&] {
        lock.lock();
        lock.unlock();
    });
    ASSERT_TRUE(other.fallsAsleep());
    EXPECT_FALSE(other.isFinished());
    lock.unlock();
    EXPECT_TRUE(support::eventually([&] { return other.isFinished(); }));
}

TEST(JLockTest, ThreadCancelledUnderAScopedLock_LeavesItFree) {
    JLock lock;
    Thread holder([&] {
        const jay::detail::ScopedLock held(lock);
        select(0, nullptr, nullptr, nullptr, nullptr);
    });
    ASSERT_TRUE(holder.fallsAsleep());
    EXPECT_FALSE(isFreeForOthers(lock));
    holder.cancel();
    EXPECT_TRUE(holder.join());
    EXPECT_TRUE(isFreeForOthers(lock));
}
