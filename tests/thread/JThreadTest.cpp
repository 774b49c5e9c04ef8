#include "thread/JThread.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <signal.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "support/allocation/FailingAllocator.h"
#include "support/JEventPeer.h"
#include "support/JThreadPeer.h"
#include "support/Thread.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/Job.h"
#include "thread/JThreadInit.h"
#include "thread/Pthreads.h"
#include "thread/Scenario.h"
#include "thread/Slots.h"

using jay::detail::CancelOff;
using jay::detail::JEventPeer;
using jay::detail::JThreadPeer;
using support::eventually;
using support::Thread;
using testing::UnorderedElementsAre;
using thread::callsOn;

namespace {

constexpr int FOR_EVER_MS = 3600000;

void sleepForEver() {
    for (;;) JThread::sleep(FOR_EVER_MS);
}

void spinUntil(const std::atomic<bool>& condition) {
    while (!condition) sched_yield();
}

bool isRegistered(const JThread* thread) {
    const std::lock_guard<JLock> held(*JThreadInit::_sync);
    for (const JThreadInit::Node* node = JThreadInit::_tag; node != nullptr; node = node->next) {
        if (node->thread == thread) return true;
    }
    return false;
}

/** A class of an application: its own run(), and a destructor that can be noticed. */
class OwnRun : public JThread {
public:
    ~OwnRun() override {
        finish();
        if (deletions != nullptr) ++*deletions;
    }
    void run() override { ++runs; }
    const JClass* getClass() const override { return &classOwnRun; }
    using JThread::finish;

    static const JClass classOwnRun;
    std::atomic<int> runs{0};
    std::atomic<int>* deletions = nullptr;
};

const JClass OwnRun::classOwnRun = {"OwnRun", sizeof(OwnRun), &JThread::classJThread};

/** A thread on a target, waiting for start(). */
class Created {
public:
    explicit Created(std::function<void()> body = [] {})
        : job(std::move(body)), thread(std::make_unique<JThread>(&job)) {}

    Job job;
    std::unique_ptr<JThread> thread;
};

/** A foreign thread that has adopted itself and then waits for the end of the scope. */
class Foreign {
public:
    Foreign()
        : thread([this] {
              object = JThread::currentThread();
              ready = true;
              go.wait();
          }) {
        eventually([this] { return ready.load(); });
    }
    ~Foreign() { end(); }
    void end() {
        go.set();
        thread.join();
    }

    JEvent go;
    std::atomic<bool> ready{false};
    JThread* object = nullptr;
    Thread thread;
};

}  // namespace

// ---- class and layout ----

TEST(JThreadTest, InheritsTheRootsOperations) {
    JThread thread;
    JThread other;
    EXPECT_EQ(thread.hashCode(), 0);
    EXPECT_EQ(thread.clone(), nullptr);
    EXPECT_TRUE(thread.equals(other));
    EXPECT_TRUE(thread.equals(static_cast<JObject*>(&other)));
}

TEST(JThreadTest, IsARunnableFirstAndAnObjectSecond) {
    JThread thread;
    EXPECT_EQ(static_cast<JObject&>(thread).getClass(), &JThread::classJThread);
    EXPECT_EQ(static_cast<void*>(static_cast<JRunnable*>(&thread)), static_cast<void*>(&thread));
    EXPECT_EQ(reinterpret_cast<char*>(static_cast<JObject*>(&thread)) - reinterpret_cast<char*>(&thread),
              static_cast<std::ptrdiff_t>(sizeof(JRunnable)));
}

TEST(JThreadTest, KeepsTheOrderOfTheRootsOperations) {
    OwnRun thread;
    JObject* const object = &thread;
    void** const slots = slotsOf(object);
    EXPECT_EQ(callSlot<int>(slots[4], object), 0);
    EXPECT_EQ(callSlot<JObject*>(slots[5], object), nullptr);
    EXPECT_EQ(callSlot<const JClass*>(slots[6], object), &OwnRun::classOwnRun);
}

TEST(JThreadTest, DestructorsComeFirst_CompleteThenDeleting) {
    std::atomic<int> deletions{0};
    alignas(OwnRun) char place[sizeof(OwnRun)];
    auto* const local = new (place) OwnRun;
    local->deletions = &deletions;
    callSlot<void>(slotsOf(local)[0], local);
    EXPECT_EQ(deletions, 1);

    auto* const allocated = new OwnRun;
    allocated->deletions = &deletions;
    callSlot<void>(slotsOf(allocated)[1], allocated);
    EXPECT_EQ(deletions, 2);
}

// ---- construction ----

TEST(JThreadTest, IsNew_WaitingToBeStarted) {
    JThread thread;
    EXPECT_EQ(JThreadPeer::state(thread), 1);
    EXPECT_TRUE(thread.isAlive());
    EXPECT_NE(thread.getHandle(), 0u);
    EXPECT_EQ(thread.getId(), thread.getHandle());
    EXPECT_EQ(JThreadPeer::runnable(thread), nullptr);
    EXPECT_FALSE(JThreadPeer::autoDelete(thread));
    EXPECT_FALSE(JThreadPeer::interrupted(thread));
    EXPECT_TRUE(isRegistered(&thread));
}

TEST(JThreadTest, IsNew_WithTheTargetItWasGiven) {
    Created created;
    EXPECT_EQ(JThreadPeer::runnable(*created.thread), &created.job);
    EXPECT_EQ(JThreadPeer::state(*created.thread), 1);
    EXPECT_EQ(created.job.runs, 0);
}

TEST(JThreadTest, AdoptedThread_IsRunningFromTheStart) {
    Thread foreign([] { sleepForEver(); });
    foreign.fallsAsleep();
    JThread adopted(foreign.handle(), foreign.handle());
    EXPECT_EQ(JThreadPeer::state(adopted), 2);
    EXPECT_TRUE(adopted.isAlive());
    EXPECT_EQ(adopted.getHandle(), foreign.handle());
    EXPECT_EQ(adopted.getId(), foreign.handle());
    EXPECT_EQ(JThreadPeer::runnable(adopted), nullptr);
    EXPECT_FALSE(JThreadPeer::autoDelete(adopted));
    EXPECT_FALSE(JThreadPeer::interrupted(adopted));
    EXPECT_TRUE(isRegistered(&adopted));
}

TEST(JThreadTest, AdoptedThread_BearsTheIdItIsGiven) {
    int checks = 0;
    Thread foreign([&] {
        JThread adopted(pthread_self(), 12345);  // the end of the scope cancels this thread
        EXPECT_EQ(adopted.getHandle(), pthread_self());
        EXPECT_EQ(adopted.getId(), 12345u);
        EXPECT_TRUE(isRegistered(&adopted));
        EXPECT_NE(JThread::currentThread(), &adopted);
        ++checks;
    });
    foreign.join();
    EXPECT_EQ(checks, 1);
}

TEST(JThreadTest, Initialize_StartsOverWithAnotherTarget) {
    Job job;
    JThread adopted(pthread_self(), pthread_self());
    adopted.setAutoDelete(true);
    JThreadPeer::setInterrupted(adopted);
    adopted.initialize(&job);
    EXPECT_FALSE(JThreadPeer::autoDelete(adopted));
    EXPECT_FALSE(JThreadPeer::interrupted(adopted));
    EXPECT_EQ(JThreadPeer::runnable(adopted), &job);
    EXPECT_EQ(JThreadPeer::state(adopted), 2);
}

TEST(JThreadTest, CreationFails_LeavesAnObjectWithoutAThread) {
    const int count = JThreadInit::_count;
    thread::failNextCreate(EAGAIN);
    Job job;
    JThread thread(&job);
    EXPECT_EQ(thread.getHandle(), 0u);
    EXPECT_EQ(thread.getId(), 0u);
    EXPECT_FALSE(thread.isAlive());
    EXPECT_EQ(JThreadPeer::state(thread), 1);
    EXPECT_EQ(JThreadPeer::runnable(thread), &job);
    EXPECT_FALSE(isRegistered(&thread));
    EXPECT_EQ(JThreadInit::_count, count);
}

TEST(JThreadTest, CreationFails_StartOnlySetsTheEventAndJoinReturnsAtOnce) {
    thread::failNextCreate(EAGAIN);
    Job job;
    JThread thread(&job);
    thread.start();
    EXPECT_EQ(JThreadPeer::startSignals(thread), 1);
    EXPECT_EQ(JThreadPeer::state(thread), 1);
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(job.runs, 0);
}

TEST(JThreadTest, CreationFails_DestructionStillDeletesAnOwnedTarget) {
    std::atomic<int> deletions{0};
    Job* const job = new Job;
    job->deletions = &deletions;
    thread::failNextCreate(EAGAIN);
    auto* const thread = new JThread(job);
    thread->setAutoDelete(true);
    delete thread;
    EXPECT_EQ(deletions, 1);
}

TEST(JThreadTest, CreatedWithoutMemory_LeavesNeitherAThreadNorMemory) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer starts a thread of its own together with the first one, and it is counted";
#endif
    const auto threads = [] {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return std::distance(begin(all), end(all));
    };
    const auto before = threads();
    const int failures = support::failEachAllocation(
        [] { delete new JThread; }, [&] { EXPECT_TRUE(eventually([&] { return threads() == before; })); });
    EXPECT_GE(failures, 4);
}

// ---- start and run ----

TEST(JThreadTest, Start_RunsTheTargetOnAnotherThread) {
    pthread_t runner = pthread_self();
    Created created([&] { runner = pthread_self(); });
    created.thread->start();
    EXPECT_EQ(created.thread->join(), 0);
    EXPECT_EQ(created.job.returns, 1);
    EXPECT_EQ(runner, created.thread->getHandle());
}

TEST(JThreadTest, Start_WithoutTargetRunsTheObjectsOwnRun) {
    OwnRun thread;
    thread.start();
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(thread.runs, 1);
}

TEST(JThreadTest, Start_WithNeitherDoesNothing) {
    JThread thread;
    thread.start();
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(JThreadPeer::state(thread), 4);
}

TEST(JThreadTest, StartTwice_RunsTheBodyOnce) {
    Created created;
    created.thread->start();
    created.thread->start();
    EXPECT_EQ(created.thread->join(), 0);
    EXPECT_EQ(created.job.runs, 1);
}

TEST(JThreadTest, Start_OnARunningThread_DoesNothing) {
    JEvent go;
    Running running([&] { go.wait(); });
    ASSERT_TRUE(running.job.fallsAsleep());
    running.thread->start();
    EXPECT_EQ(JThreadPeer::startSignals(*running.thread), 0);
    go.set();
    EXPECT_EQ(running.thread->join(), 0);
    EXPECT_EQ(running.job.runs, 1);
}

TEST(JThreadTest, Start_OnAFinishedThread_DoesNothing) {
    Running running([] {});
    running.thread->join();
    running.thread->start();
    EXPECT_EQ(JThreadPeer::startSignals(*running.thread), 0);
    EXPECT_EQ(running.job.runs, 1);
    EXPECT_EQ(JThreadPeer::state(*running.thread), 4);
}

TEST(JThreadTest, Start_OnAnAdoptedThread_DoesNothing) {
    JThread adopted(pthread_self(), pthread_self());
    adopted.start();
    EXPECT_EQ(JThreadPeer::startSignals(adopted), 0);
    EXPECT_EQ(JThreadPeer::state(adopted), 2);
}

TEST(JThreadTest, State_Is2InTheBodyAnd4AfterIt) {
    int stateInBody = 0;
    bool aliveInBody = false;
    Created created([&] {
        stateInBody = JThreadPeer::state(*JThread::currentThread());
        aliveInBody = JThread::currentThread()->isAlive();
    });
    created.thread->start();
    created.thread->join();
    EXPECT_EQ(stateInBody, 2);
    EXPECT_TRUE(aliveInBody);
    EXPECT_EQ(JThreadPeer::state(*created.thread), 4);
    EXPECT_FALSE(created.thread->isAlive());
}

TEST(JThreadTest, IsAlive_OnceFalse_AllThatTheBodyDidIsSeen) {
    int result = 0;
    Created created([&] { result = 42; });
    created.thread->start();
    while (created.thread->isAlive()) sched_yield();
    EXPECT_EQ(result, 42);
}

// ---- join ----

TEST(JThreadTest, Join_BlocksUntilSomeOtherThreadStartsTheThread) {
    Created created;
    int result = -1;
    Thread joiner([&] { result = created.thread->join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    EXPECT_EQ(created.job.runs, 0);
    created.thread->start();
    joiner.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(created.job.returns, 1);
}

TEST(JThreadTest, Join_IgnoresItsTimeOut) {
    for (const int timeout : {0, 1, -1, -2, 60000}) {
        Created created;
        int result = -1;
        Thread joiner([&] { result = created.thread->join(timeout); });
        ASSERT_TRUE(joiner.fallsAsleep());
        const long sleeps = joiner.sleeps();
        const timespec longer = {
            0,
            20000000};  // longer than the time-outs of 0 and 1 ms: that nothing happens cannot be waited for
        nanosleep(&longer, nullptr);
        EXPECT_FALSE(joiner.isFinished()) << timeout;
        EXPECT_EQ(joiner.sleeps(), sleeps) << timeout;
        created.thread->start();
        joiner.join();
        EXPECT_EQ(result, 0) << timeout;
    }
}

TEST(JThreadTest, Join_ReapsTheThread_AndTheDestructorDoesNotAgain) {
    JEvent go;
    Running running([&] { go.wait(); });
    const pthread_t handle = running.thread->getHandle();
    Thread joiner([&] { running.thread->join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    go.set();
    joiner.join();
    EXPECT_EQ(callsOn(handle).joins, 1);
    running.destroy();
    EXPECT_EQ(callsOn(handle).joins, 1);
    EXPECT_EQ(callsOn(handle).cancels, 0);
}

TEST(JThreadTest, Join_AfterTheEnd_ReturnsAtOnceAndLeavesTheReapingToTheDestructor) {
    Running running([] {});
    const pthread_t handle = running.thread->getHandle();
    ASSERT_TRUE(eventually([&] { return !running.thread->isAlive(); }));
    EXPECT_EQ(running.thread->join(), 0);
    EXPECT_EQ(callsOn(handle).joins, 0);
    running.destroy();
    EXPECT_EQ(callsOn(handle).joins, 1);
    EXPECT_EQ(callsOn(handle).cancels, 0);
}

TEST(JThreadTest, Join_ByManyThreads_ReturnsZeroToAll) {
    Created created;
    std::vector<int> results(6, -1);
    std::vector<std::unique_ptr<Thread>> joiners;
    for (int& result : results) {
        joiners.push_back(std::make_unique<Thread>([&] { result = created.thread->join(); }));
        ASSERT_TRUE(joiners.back()->fallsAsleep());
    }
    created.thread->start();
    for (auto& joiner : joiners) joiner->join();
    for (const int result : results) EXPECT_EQ(result, 0);
    EXPECT_EQ(callsOn(created.thread->getHandle()).joins, 1);
}

TEST(JThreadTest, Join_OfTheCallingThread_IsRefused) {
    int result = 0;
    Running running([&] { result = JThread::currentThread()->join(); });
    running.thread->join();
    EXPECT_EQ(result, EDEADLK);
    EXPECT_EQ(JThread::currentThread()->join(), EDEADLK);
}

TEST(JThreadTest, Join_HoldsNoLockWhileItWaits) {
    Created created;
    Thread joiner([&] { created.thread->join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    ASSERT_TRUE(JThreadInit::_sync->tryLock());
    JThreadInit::_sync->unlock();
    Running other([] {});
    EXPECT_EQ(other.thread->join(), 0);
    EXPECT_TRUE(created.thread->isAlive());
    created.thread->start();
}

TEST(JThreadTest, Join_OfAnAdoptedThread_WaitsAndLeavesTheReapingToItsMaker) {
    Foreign foreign;
    int result = -1;
    Thread joiner([&] { result = foreign.object->join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    foreign.go.set();
    joiner.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(callsOn(foreign.thread.handle()).joins, 0);
    EXPECT_EQ(foreign.object->join(), 0);
}

TEST(JThreadTest, Join_OfAThreadAdoptedByItsHandleThatIsKnown_WaitsAndLeavesTheReapingToItsMaker) {
    JEvent go;
    Job job([&] {
        JThread::currentThread();
        go.wait();
    });
    JEvent adoptedNow;
    Thread foreign([&] {
        adoptedNow.wait();
        job.run();
    });
    JThread adopted(foreign.handle(), foreign.handle());
    adoptedNow.set();
    ASSERT_TRUE(job.fallsAsleep());
    int result = -1;
    Thread joiner([&] { result = adopted.join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    EXPECT_FALSE(joiner.isFinished());
    go.set();
    joiner.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(callsOn(foreign.handle()).joins, 0);
}

TEST(JThreadTest, Join_OfAThreadAdoptedByItsHandleThatIsNotKnown_JoinsIt) {
    JEvent go;
    Job job([&] { go.wait(); });
    pthread_t foreign{};
    pthread_create(
        &foreign, nullptr,
        [](void* target) -> void* {
            static_cast<Job*>(target)->run();
            return nullptr;
        },
        &job);
    ASSERT_TRUE(job.fallsAsleep());
    JThread adopted(foreign, foreign);
    int result = -1;
    Thread joiner([&] { result = adopted.join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    go.set();
    joiner.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(callsOn(foreign).joins, 1);
    EXPECT_EQ(adopted.join(), 0);
    EXPECT_EQ(callsOn(foreign).joins, 1);
}

TEST(JThreadTest, Join_OfAnAdoptedThreadThatItsMakerHasJoined_ReturnsZero) {
    Foreign foreign;
    foreign.end();
    EXPECT_EQ(foreign.object->join(), 0);
    EXPECT_TRUE(foreign.object->isAlive());  // kept: of an adopted thread it always is
}

// ---- automatic deletion ----

TEST(JThreadTest, AutoDelete_DestroysTheObjectAndItsTargetAndReapsTheThread) {
    std::atomic<int> deletions{0};
    Job* const job = new Job;
    job->deletions = &deletions;
    auto* const thread = new JThread(job);
    const pthread_t handle = thread->getHandle();
    thread->setAutoDelete(true);
    thread->start();
    ASSERT_TRUE(eventually([&] { return callsOn(handle).detaches == 1; }));
    EXPECT_TRUE(eventually([&] { return deletions == 1; }));
    EXPECT_TRUE(eventually([&] { return !isRegistered(thread); }));
    EXPECT_EQ(callsOn(handle).joins, 0);
    EXPECT_EQ(callsOn(handle).cancels, 0);
}

TEST(JThreadTest, AutoDelete_WithoutTarget_DestroysTheObject) {
    std::atomic<int> deletions{0};
    auto* const thread = new OwnRun;
    thread->deletions = &deletions;
    const pthread_t handle = thread->getHandle();
    thread->setAutoDelete(true);
    thread->start();
    ASSERT_TRUE(eventually([&] { return callsOn(handle).detaches == 1; }));
    EXPECT_TRUE(eventually([&] { return deletions == 1; }));
    EXPECT_TRUE(eventually([&] { return !isRegistered(thread); }));
}

TEST(JThreadTest, AutoDelete_MayBeSwitchedOnByTheBody) {
    std::atomic<int> deletions{0};
    Job* const job = new Job([] { JThread::currentThread()->setAutoDelete(true); });
    job->deletions = &deletions;
    (new JThread(job))->start();
    EXPECT_TRUE(eventually([&] { return deletions == 1; }));
}

TEST(JThreadTest, AutoDelete_SwitchedOffAgain_LeavesTheObjectAlone) {
    Created created;
    created.thread->setAutoDelete(true);
    created.thread->setAutoDelete(false);
    created.thread->start();
    EXPECT_EQ(created.thread->join(), 0);
    EXPECT_TRUE(isRegistered(created.thread.get()));
}

TEST(JThreadTest, AutoDelete_Off_LeavesTheTargetAlone) {
    std::atomic<int> deletions{0};
    Job job;
    job.deletions = &deletions;
    delete new JThread(&job);
    EXPECT_EQ(deletions, 0);
    job.deletions = nullptr;
}

TEST(JThreadTest, AutoDelete_WhoeverJoinsIsLetGo) {
    Job* const job = new Job;
    auto* const thread = new JThread(job);
    thread->setAutoDelete(true);
    std::vector<int> results(3, -1);
    std::vector<std::unique_ptr<Thread>> joiners;
    for (int& result : results) {
        joiners.push_back(std::make_unique<Thread>([&, thread] { result = thread->join(); }));
        ASSERT_TRUE(joiners.back()->fallsAsleep());
    }
    thread->start();
    for (auto& joiner : joiners) joiner->join();
    for (const int result : results) EXPECT_EQ(result, 0);
}

TEST(JThreadTest, AutoDelete_OfManyThreads_LeavesNoneBehind) {
    std::atomic<int> deletions{0};
    for (int i = 0; i < 300; ++i) {
        Job* const job = new Job;
        job->deletions = &deletions;
        auto* const thread = new JThread(job);
        thread->setAutoDelete(true);
        thread->start();
    }
    EXPECT_TRUE(eventually([&] { return deletions == 300; }));
}

// ---- destruction ----

TEST(JThreadTest, Destroyed_NeverStarted_RunsNothing) {
    Created created;
    const pthread_t handle = created.thread->getHandle();
    created.thread.reset();
    EXPECT_EQ(created.job.runs, 0);
    EXPECT_EQ(callsOn(handle).joins, 1);
}

TEST(JThreadTest, Destroyed_NeverStarted_DeletesAnOwnedTarget) {
    std::atomic<int> deletions{0};
    Job* const job = new Job;
    job->deletions = &deletions;
    auto* const thread = new JThread(job);
    thread->setAutoDelete(true);
    delete thread;
    EXPECT_EQ(deletions, 1);
}

TEST(JThreadTest, Destroyed_RightAfterStart_EitherRunsOrDoesNot) {
    for (int i = 0; i < 200; ++i) {
        Created created;
        created.thread->start();
        created.thread.reset();
        EXPECT_LE(created.job.runs, 1);
        EXPECT_EQ(created.job.runs, created.job.ends);
    }
}

TEST(JThreadTest, Destroyed_WhileItRuns_IsCancelledAndWaitedFor) {
    Running running(sleepForEver);
    const pthread_t handle = running.thread->getHandle();
    ASSERT_TRUE(running.job.fallsAsleep());
    running.destroy();
    EXPECT_EQ(running.job.ends, 1);
    EXPECT_EQ(running.job.returns, 0);
    EXPECT_EQ(callsOn(handle).cancels, 1);
    EXPECT_EQ(callsOn(handle).joins, 1);
}

TEST(JThreadTest, Destroyed_WhileItCannotBeCancelled_IsWaitedFor) {
    std::atomic<bool> stop{false};
    std::atomic<bool> uncancellable{false};
    Running running([&] {
        const CancelOff off;
        uncancellable = true;
        spinUntil(stop);
    });
    spinUntil(uncancellable);
    Thread destroyer([&] { running.destroy(); });
    ASSERT_TRUE(destroyer.fallsAsleep());
    EXPECT_FALSE(destroyer.isFinished());
    stop = true;
    destroyer.join();
    EXPECT_EQ(running.job.returns, 1);
}

TEST(JThreadTest, Destroyed_WhenFinished_IsOnlyReaped) {
    Running running([] {});
    const pthread_t handle = running.thread->getHandle();
    ASSERT_TRUE(eventually([&] { return JThreadPeer::state(*running.thread) == 4; }));
    running.destroy();
    EXPECT_EQ(callsOn(handle).cancels, 0);
    EXPECT_EQ(callsOn(handle).joins, 1);
}

TEST(JThreadTest, Destroyed_WithoutAThread_TouchesNone) {
    thread::failNextCreate(EAGAIN);
    auto* const thread = new JThread;
    delete thread;
    EXPECT_EQ(callsOn(0).joins, 0);
    EXPECT_EQ(callsOn(0).cancels, 0);
}

TEST(JThreadTest, Destroyed_LeavesTheRegistry) {
    auto thread = std::make_unique<JThread>();
    const JThread* const address = thread.get();
    ASSERT_TRUE(isRegistered(address));
    const int count = JThreadInit::_count;
    thread.reset();
    EXPECT_FALSE(isRegistered(address));
    EXPECT_EQ(JThreadInit::_count, count + 1);
}

TEST(JThreadTest, Destroyed_AdoptedByItsHandleAndRunning_IsCancelledButNotJoined) {
    Job job(sleepForEver);
    Thread foreign([&] { job.run(); });
    ASSERT_TRUE(job.fallsAsleep());
    delete new JThread(foreign.handle(), foreign.handle());
    EXPECT_EQ(callsOn(foreign.handle()).cancels, 1);
    EXPECT_EQ(callsOn(foreign.handle()).joins, 0);
    EXPECT_TRUE(foreign.join());
}

TEST(JThreadTest, Destroyed_AdoptedByItselfAndRunning_IsCancelledAndWaitedForButNotJoined) {
    std::atomic<JThread*> object{nullptr};
    Job job([&] {
        object = JThread::currentThread();
        sleepForEver();
    });
    Thread foreign([&] { job.run(); });
    ASSERT_TRUE(job.fallsAsleep());
    delete object.load();
    EXPECT_EQ(job.ends, 1);
    EXPECT_EQ(callsOn(foreign.handle()).joins, 0);
    EXPECT_TRUE(foreign.join());
}

TEST(JThreadTest, Destroyed_AdoptedAndEnded_TouchesNoThread) {
    auto foreign = std::make_unique<Foreign>();
    const pthread_t handle = foreign->thread.handle();
    auto named = std::make_unique<JThread>(handle, handle + 1);
    JThread* const object = foreign->object;
    foreign->end();
    EXPECT_EQ(callsOn(handle).joins, 1);  // its maker's
    delete object;
    named.reset();
    EXPECT_EQ(callsOn(handle).joins, 1);
    EXPECT_EQ(callsOn(handle).cancels, 0);
}

TEST(JThreadTest, Destroyed_SecondObjectOfTheMainThread_DoesNothing) {
    const int count = JThreadInit::_count;
    JThread* const self = JThread::currentThread();
    { JThread second(pthread_self(), pthread_self()); }
    pthread_testcancel();
    EXPECT_EQ(JThread::currentThread(), self);
    EXPECT_EQ(JThreadInit::_count, count);
}

TEST(JThreadTest, Destroyed_SecondObjectOfACreatedThread_LeavesTheFirstInOrder) {
    Running running([&] {
        const CancelOff off;
        JThread second(pthread_self(), pthread_self());  // cancels the thread as it goes
    });
    const pthread_t handle = running.thread->getHandle();
    EXPECT_EQ(running.thread->join(), 0);
    EXPECT_FALSE(running.thread->isAlive());
    EXPECT_TRUE(isRegistered(running.thread));
    running.destroy();
    EXPECT_EQ(callsOn(handle).joins, 1);
    EXPECT_EQ(callsOn(handle).detaches, 0);
}

TEST(JThreadTest, Destroyed_ByItsOwnBody_IsCancelledAtTheNextChanceAndReaped) {
    std::atomic<int> deletions{0};
    Job job([] {
        delete JThread::currentThread();
        pthread_testcancel();
        ADD_FAILURE() << "not cancelled";
    });
    auto* const thread = new JThread(&job);
    const pthread_t handle = thread->getHandle();
    thread->start();
    ASSERT_TRUE(eventually([&] { return job.ends == 1; }));
    EXPECT_TRUE(eventually([&] { return callsOn(handle).detaches == 1; }));
    EXPECT_EQ(callsOn(handle).joins, 0);
}

TEST(JThreadTest, Destroyed_ByItsOwnBodyWhichReturns_IsReaped) {
    Job job([] { delete JThread::currentThread(); });
    auto* const thread = new JThread(&job);
    const pthread_t handle = thread->getHandle();
    thread->start();
    ASSERT_TRUE(eventually([&] { return job.ends == 1; }));
    EXPECT_TRUE(eventually([&] { return callsOn(handle).detaches == 1; }));
    EXPECT_EQ(job.returns, 1);
}

TEST(JThreadTest, Cancelled_FromOutside_IsNoLongerAliveAndCanBeJoined) {
    Running running(sleepForEver);
    ASSERT_TRUE(running.job.fallsAsleep());
    pthread_cancel(running.thread->getHandle());
    EXPECT_EQ(running.thread->join(), 0);
    EXPECT_FALSE(running.thread->isAlive());
    EXPECT_EQ(JThreadPeer::state(*running.thread), 2);  // it did not finish
    EXPECT_EQ(running.thread->join(), 0);
}

TEST(JThreadTest, Cancelled_InTheEndOfASelfDeletingBody_StillDeletes) {
    static std::atomic<int> deletions{0};
    class Sleepy : public JThread {
    public:
        void run() override { pthread_cancel(pthread_self()); }
        ~Sleepy() override {
            JThread::sleep(1);  // a cancellation point in a destructor
            ++deletions;
        }
    };
    deletions = 0;
    auto* const thread = new Sleepy;
    const pthread_t handle = thread->getHandle();
    thread->setAutoDelete(true);
    thread->start();
    ASSERT_TRUE(eventually([&] { return callsOn(handle).detaches == 1; }));
    EXPECT_EQ(deletions, 1);
}

TEST(JThreadTest, Finish_WaitsForTheBody) {
    class Patient : public JThread {
    public:
        explicit Patient(std::atomic<bool>& done) : done_(done) {}
        ~Patient() override {
            stop_ = true;
            finish();
            EXPECT_TRUE(done_);
        }
        void run() override {
            spinUntil(stop_);
            done_ = true;
        }
        std::atomic<bool> stop_{false};
        std::atomic<bool>& done_;
    };
    std::atomic<bool> done{false};
    Patient* const started = new Patient(done);
    started->start();
    ASSERT_TRUE(eventually([&] { return JThreadPeer::state(*started) == 2; }));
    delete started;
}

TEST(JThreadTest, Finish_RightAfterTheStart_LetsTheBodyRun) {
    for (int i = 0; i < 50; i++) {  // whether the new thread or this one is first is up to the system
        OwnRun thread;
        thread.start();
        thread.finish();
        ASSERT_EQ(thread.runs, 1);
    }
}

TEST(JThreadTest, Finish_OnANeverStartedThread_RunsNothing) {
    std::atomic<int> deletions{0};
    OwnRun thread;
    thread.finish();
    EXPECT_EQ(thread.runs, 0);
    EXPECT_EQ(JThreadPeer::state(thread), 3);
    thread.start();
    EXPECT_EQ(JThreadPeer::startSignals(thread), 0);
}

// ---- cancellation in the waiting calls ----

TEST(JThreadCancelledInTest, EventWait_LeavesTheEventUsable) {
    for (const int ms : {-1, FOR_EVER_MS}) {
        JEvent event;
        Running running([&] { event.wait(ms); });
        ASSERT_TRUE(running.job.fallsAsleep());
        running.destroy();
        EXPECT_EQ(running.job.ends, 1);
        EXPECT_EQ(running.job.returns, 0);
        ASSERT_TRUE(JEventPeer::isFree(event));
        event.set();
        EXPECT_EQ(event.wait(0), 1);
    }
}

TEST(JThreadCancelledInTest, Sleep) {
    Running running([] { JThread::sleep(FOR_EVER_MS); });
    ASSERT_TRUE(running.job.fallsAsleep());
    running.destroy();
    EXPECT_EQ(running.job.returns, 0);
}

TEST(JThreadCancelledInTest, Join_LeavesTheOtherThreadJoinable) {
    Created created;
    const pthread_t handle = created.thread->getHandle();
    Running joiner([&] { created.thread->join(); });
    ASSERT_TRUE(joiner.job.fallsAsleep());
    joiner.destroy();
    EXPECT_EQ(joiner.job.returns, 0);
    created.thread->start();
    EXPECT_EQ(created.thread->join(), 0);
    EXPECT_EQ(created.job.returns, 1);
    created.thread.reset();
    EXPECT_EQ(callsOn(handle).joins, 1);
}

TEST(JThreadCancelledInTest, JoinOfAnAdoptedThread_LeavesItWaitable) {
    Foreign foreign;
    Running joiner([&] { foreign.object->join(); });
    ASSERT_TRUE(joiner.job.fallsAsleep());
    joiner.destroy();
    EXPECT_EQ(joiner.job.returns, 0);
    foreign.end();
    EXPECT_EQ(foreign.object->join(), 0);
}

TEST(JThreadCancelledInTest, OneOfManyJoins_DoesNotHoldUpTheOthers) {
    Created created;
    Running cancelled([&] { created.thread->join(); });
    int result = -1;
    Thread other([&] { result = created.thread->join(); });
    ASSERT_TRUE(cancelled.job.fallsAsleep());
    ASSERT_TRUE(other.fallsAsleep());
    cancelled.destroy();
    created.thread->start();
    other.join();
    EXPECT_EQ(result, 0);
}

TEST(JThreadCancelledInTest, WaitingForACommand_LeavesTheNextOneToWork) {
    std::string directory = testing::TempDir() + "jay.XXXXXX";
    ASSERT_NE(mkdtemp(&directory[0]), nullptr);
    const std::string fifo = directory + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string command = "read line <" + fifo;  // blocks until the fifo is opened for writing
    Running running([&] { JSystem::exec(command.c_str(), JSystem::EXEC_WAIT); });
    ASSERT_TRUE(running.job.fallsAsleep());
    running.destroy();
    EXPECT_EQ(running.job.ends, 1);
    EXPECT_EQ(running.job.returns, 0);
    EXPECT_EQ(JSystem::exec("exit 0", JSystem::EXEC_WAIT), 0);

    int writer = -1;
    EXPECT_TRUE(
        eventually([&] { return (writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; }));
    close(writer);
    unlink(fifo.c_str());
    rmdir(directory.c_str());
}

TEST(JThreadCancelledInTest, ANewThreadBeforeItsStart) {
    Created created;
    pthread_cancel(created.thread->getHandle());
    EXPECT_EQ(created.thread->join(), 0);
    created.thread->start();
    EXPECT_EQ(created.thread->join(), 0);
    created.thread.reset();
    EXPECT_EQ(created.job.runs, 0);
}

// ---- sleep ----

TEST(JThreadTest, Sleep_TakesTheTimeInMilliseconds) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(JThread::sleep(30), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST(JThreadTest, Sleep_GivesTheResultOfTheSystemsSleep) {
    errno = 0;
    EXPECT_EQ(JThread::sleep(-1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(JThreadTest, Sleep_IsCutShortByTheSignal) {
    int result = 0;
    int error = 0;
    Running running([&] {
        result = JThread::sleep(FOR_EVER_MS);
        error = errno;
    });
    ASSERT_TRUE(running.job.fallsAsleep());
    pthread_kill(running.thread->getHandle(), SIGHUP);
    EXPECT_EQ(running.thread->join(), 0);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
}

// ---- interrupt ----

TEST(JThreadTest, Interrupt_MarksTheCallingThreadForEver) {
    int result = -1;
    bool before = true;
    bool after[3] = {};
    Created created([&] {
        before = JThread::interrupted();
        result = JThread::interrupt();
        for (bool& interrupted : after) interrupted = JThread::interrupted();
    });
    created.thread->start();
    created.thread->join();
    EXPECT_FALSE(before);
    EXPECT_EQ(result, 0);
    for (const bool interrupted : after) EXPECT_TRUE(interrupted);
    EXPECT_TRUE(JThreadPeer::interrupted(*created.thread));
}

TEST(JThreadTest, Interrupt_ActsOnTheCallingThreadOnly) {
    Created other([] { EXPECT_FALSE(JThread::interrupted()); });
    Created caller(
        [&] { other.thread->interrupt(); });  // NOLINT: what applications write, and what it does not do
    caller.thread->start();
    caller.thread->join();
    EXPECT_TRUE(JThreadPeer::interrupted(*caller.thread));
    EXPECT_FALSE(JThreadPeer::interrupted(*other.thread));
    other.thread->start();
    other.thread->join();
    EXPECT_FALSE(JThread::interrupted());
}

TEST(JThreadTest, Interrupt_SendsTheSignalToTheCallingThread) {
    bool pending = false;
    Running running([&] {
        sigset_t hangUp;
        sigemptyset(&hangUp);
        sigaddset(&hangUp, SIGHUP);
        pthread_sigmask(SIG_BLOCK, &hangUp, nullptr);
        JThread::interrupt();
        timespec none = {0, 0};
        pending = sigtimedwait(&hangUp, nullptr, &none) == SIGHUP;
    });
    running.thread->join();
    EXPECT_TRUE(pending);
}

TEST(JThreadTest, Interrupt_WorksInForeignThreads) {
    bool interrupted = false;
    Thread foreign([&] {
        JThread::interrupt();
        interrupted = JThread::interrupted();
    });
    foreign.join();
    EXPECT_TRUE(interrupted);
}

// ---- storage ----

TEST(JThreadTest, IsMadeByEveryFormOfNew) {
    struct alignas(64) Aligned : JThread {};
    delete new JThread;
    delete new (std::nothrow) JThread;
    delete[] new JThread[2];
    auto* const aligned = new Aligned;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 64, 0u);
    delete aligned;
    alignas(JThread) char place[sizeof(JThread)];
    (new (place) JThread)->~JThread();
    std::make_shared<JThread>().reset();
}

TEST(JThreadTest, ConstructorThatThrows_GivesTheMemoryBack) {
    struct Throws : JThread {
        Throws() { throw 1; }
    };
    EXPECT_THROW(new Throws, int);
    EXPECT_THROW(new (std::nothrow) Throws, int);
    Running afterwards([] {});
    EXPECT_EQ(afterwards.thread->join(), 0);
}

// ---- self-check ----

TEST(JThreadSlowTest, Test_StartsThreeThreadsThatPrintAndCountDown) {
    const thread::Ending check = thread::run("selfCheck");
    EXPECT_EQ(check.status, 7) << check.text;
    // Three threads that do the same at the same time: their order is not told.
    EXPECT_THAT(check.lines, UnorderedElementsAre("JTestRunnable(2)", "JTestRunnable(2)", "JTestRunnable(2)",
                                                  "JTestRunnable(1)", "JTestRunnable(1)", "JTestRunnable(1)",
                                                  "JTestRunnable(0)", "JTestRunnable(0)", "JTestRunnable(0)",
                                                  "six seconds", "exit"));
}
