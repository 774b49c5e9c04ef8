#include "system/JSystem.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Stderr.h"
#include "support/Thread.h"
#include "thread/JLock.h"

using support::Thread;

namespace {

// Taken by this program's static constructors, after the library's.
const bool debugAtLoad = JSystem::_debug;
JLock* const syncAtLoad = JSystem::_sync;

bool isFreeForOthers(JLock& lock) {
    bool taken = false;
    Thread other([&] {
        taken = lock.tryLock();
        if (taken) lock.unlock();
    });
    other.join();
    return taken;
}

/** Gives the library's output lock back at the end of a test that has put something else in its place. */
class KeptSync {
public:
    KeptSync() : sync_(JSystem::_sync) {}
    ~KeptSync() { JSystem::_sync = sync_; }
    KeptSync(const KeptSync&) = delete;
    KeptSync& operator=(const KeptSync&) = delete;

private:
    JLock* const sync_;
};

}  // namespace

TEST(JSystemTest, Constants) {
    EXPECT_EQ(JSystem::MAX_DUMP, 16);
    EXPECT_STREQ(JSystem::SHELL_PATH, "/bin/sh");
    EXPECT_EQ(JSystem::EXEC_NOWAIT, 0);
    EXPECT_EQ(JSystem::EXEC_WAIT, 1);
}

TEST(JSystemTest, WhenTheLibraryIsLoaded_DebugIsOnAndTheOutputLockExists) {
    EXPECT_TRUE(debugAtLoad);
    EXPECT_NE(syncAtLoad, nullptr);
}

// ---- the output lock ----

TEST(JSystemTest, LockAndUnlock_HoldTheOutputLock) {
    JSystem::lock();
    EXPECT_FALSE(isFreeForOthers(*JSystem::_sync));
    JSystem::unlock();
    EXPECT_TRUE(isFreeForOthers(*JSystem::_sync));
}

TEST(JSystemTest, LockedTwice_TheOutputLockIsFreeAfterTwoUnlocks) {
    JSystem::lock();
    JSystem::lock();
    JSystem::unlock();
    EXPECT_FALSE(isFreeForOthers(*JSystem::_sync));
    JSystem::unlock();
    EXPECT_TRUE(isFreeForOthers(*JSystem::_sync));
}

TEST(JSystemTest, UnlockWithoutLock_DoesNothing) {
    JSystem::unlock();
    JSystem::lock();
    EXPECT_FALSE(isFreeForOthers(*JSystem::_sync));
    JSystem::unlock();
    EXPECT_TRUE(isFreeForOthers(*JSystem::_sync));
}

TEST(JSystemTest, WhileThereIsNoOutputLock_LockAndUnlockDoNothing) {
    const KeptSync kept;
    JSystem::_sync = nullptr;
    JSystem::lock();
    JSystem::lock();
    JSystem::unlock();
    JSystem::unlock();
}

TEST(JSystemTest, WhileThereIsNoOutputLock_OutputStillAppears) {
    const KeptSync kept;
    JSystem::_sync = nullptr;
    support::StderrPipe pipe;
    JSystem::debug("text\n");
    JSystem::dump("A", 0);
    EXPECT_EQ(pipe.text(), "text\n\n");
}

TEST(JSystemTest, OutputLockThatGoesWhileItIsHeld_IsUnlockedAllTheSame) {
    const KeptSync kept;
    JLock* const taken = JSystem::_sync;
    JSystem::lock();
    JSystem::_sync = nullptr;
    JSystem::lock();
    JSystem::unlock();
    EXPECT_FALSE(isFreeForOthers(*taken));
    JSystem::unlock();
    EXPECT_TRUE(isFreeForOthers(*taken));
}

TEST(JSystemTest, OutputLockThatComesWhileNoneIsHeld_IsNotUnlockedWithoutHavingBeenLocked) {
    const KeptSync kept;
    JLock* const existing = JSystem::_sync;
    JSystem::_sync = nullptr;
    JSystem::lock();
    JSystem::_sync = existing;
    existing->lock();
    JSystem::unlock();
    EXPECT_FALSE(isFreeForOthers(*existing));
    existing->unlock();
    JSystem::lock();
    EXPECT_FALSE(isFreeForOthers(*existing));
    JSystem::unlock();
}

// ---- exit ----

TEST(JSystemDeathTest, ProcessThatExitsWhileAThreadLogs_EndsNormally) {
    const auto exitWhileLogging = [] {
        std::atomic<int> lines{0};
        Thread logger([&] {
            for (;;) {
                JSystem::debug("line\n");
                ++lines;
            }
        });
        support::eventually([&] { return lines > 100; });
        std::exit(3);
    };
    EXPECT_EXIT(exitWhileLogging(), ::testing::ExitedWithCode(3), "line");
}

TEST(JSystemDeathTest, ProcessThatExitsWhileAThreadHoldsTheOutputLock_EndsNormally) {
    const auto exitWhileLocked = [] {
        std::atomic<bool> held{false};
        Thread holder([&] {
            JSystem::lock();
            held = true;
            for (;;) pause();
        });
        support::eventually([&] { return held.load(); });
        std::exit(4);
    };
    EXPECT_EXIT(exitWhileLocked(), ::testing::ExitedWithCode(4), "");
}
