#include "thread/JRunnable.h"

#include <atomic>
#include <gtest/gtest.h>

#include "thread/Job.h"
#include "thread/JThread.h"
#include "thread/Slots.h"

TEST(JRunnableTest, KeepsTheOrderOfItsOperations) {
    std::atomic<int> deletions{0};
    Job* const job = new Job;
    job->deletions = &deletions;
    JRunnable* const runnable = job;
    callSlot<void>(slotsOf(runnable)[2], runnable);
    EXPECT_EQ(job->runs, 1);
    callSlot<void>(slotsOf(runnable)[1], runnable);
    EXPECT_EQ(deletions, 1);
}

TEST(JRunnableTest, HoldsNoData) {
    EXPECT_EQ(sizeof(JRunnable), sizeof(void*));
}

TEST(JRunnableTest, OneTargetMayServeManyThreads) {
    Job job;
    JThread first(&job);
    JThread second(&job);
    first.start();
    second.start();
    first.join();
    second.join();
    EXPECT_EQ(job.returns, 2);
}
