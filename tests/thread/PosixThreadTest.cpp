#include "thread/detail/PosixThread.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/Thread.h"
#include "thread/JEvent.h"
#include "thread/Pthreads.h"

using jay::detail::PosixThread;
using support::Thread;
using thread::callsOn;

namespace {

class PosixThreadTest : public ::testing::Test {
protected:
    // The source is compiled into the test program: this is not the library's copy.
    static void SetUpTestSuite() { PosixThread::initialize(); }
};

/** A thread that attaches itself to a record and waits for the end of the scope. */
class Attached {
public:
    explicit Attached(PosixThread::Maker maker = PosixThread::APPLICATION)
        : thread([this, maker] {
              record = std::make_shared<PosixThread>(maker, pthread_self());
              attached = PosixThread::attach(record);
              ready.set();
              go.wait();
          }) {
        ready.wait();
    }
    ~Attached() { end(); }
    void end() {
        go.set();
        thread.join();
    }

    JEvent ready;
    JEvent go;
    std::shared_ptr<PosixThread> record;
    bool attached = false;
    Thread thread;
};

}  // namespace

TEST_F(PosixThreadTest, Current_IsTheAttachedRecordOfTheCallingThread) {
    EXPECT_EQ(PosixThread::current(), nullptr);
    Attached other;
    EXPECT_TRUE(other.attached);
    EXPECT_EQ(PosixThread::current(), nullptr);
    Thread own([] {
        const auto record = std::make_shared<PosixThread>(PosixThread::APPLICATION, pthread_self());
        PosixThread::attach(record);
        EXPECT_EQ(PosixThread::current(), record.get());
        EXPECT_TRUE(record->isCallingThread());
    });
    own.join();
    EXPECT_FALSE(other.record->isCallingThread());
}

TEST_F(PosixThreadTest, Attach_WithoutMemory_DoesNothing) {
    if (!thread::SETSPECIFIC_CAN_FAIL) GTEST_SKIP() << "ThreadSanitizer calls pthread_setspecific itself";
    Thread own([] {
        const auto record = std::make_shared<PosixThread>(PosixThread::APPLICATION, pthread_self());
        thread::failNextSetspecific();
        EXPECT_FALSE(PosixThread::attach(record));
        EXPECT_EQ(PosixThread::current(), nullptr);
        EXPECT_EQ(record->waitForEnd(-1), 0);  // nobody will notice the end, so nobody waits for it
    });
    own.join();
}

TEST_F(PosixThreadTest, AttachedThread_MarksItsEndAndLetsTheRecordGo) {
    Attached other;
    EXPECT_FALSE(other.record->hasEnded());
    other.end();
    EXPECT_TRUE(other.record->hasEnded());
    EXPECT_EQ(other.record.use_count(), 1);
}

TEST_F(PosixThreadTest, Cancel_AfterTheEnd_TouchesNoThread) {
    Attached other;
    other.end();
    other.record->cancel();
    EXPECT_EQ(callsOn(other.thread.handle()).cancels, 0);
}

TEST_F(PosixThreadTest, WaitForEnd_WithALimit_TimesOut) {
    Attached other;
    EXPECT_EQ(other.record->waitForEnd(20), ETIMEDOUT);
    other.end();
    EXPECT_EQ(other.record->waitForEnd(20), 0);
}

TEST_F(PosixThreadTest, WaitForEnd_LeavesAThreadOfTheApplicationToItsMaker) {
    Attached other;
    other.go.set();
    EXPECT_EQ(other.record->waitForEnd(-1), 0);
    EXPECT_EQ(callsOn(other.thread.handle()).joins, 0);
}

TEST_F(PosixThreadTest, Join_OfTheCallingThread_IsRefused) {
    Thread own([] {
        const auto record = std::make_shared<PosixThread>(PosixThread::APPLICATION, pthread_self());
        PosixThread::attach(record);
        EXPECT_EQ(record->join(-1), EDEADLK);
    });
    own.join();
}

TEST_F(PosixThreadTest, HandleOfZero_HasEnded) {
    PosixThread record(PosixThread::APPLICATION, 0);
    EXPECT_TRUE(record.hasEnded());
    EXPECT_EQ(record.join(-1), 0);
    record.cancel();
    EXPECT_EQ(callsOn(0).cancels, 0);
}

TEST_F(PosixThreadTest, ForkedChild_TakesTheThreadsOfItsParentForEnded) {
    Attached other;
    const pid_t child = fork();
    if (child == 0) {
        const bool good = other.record->hasEnded() && other.record->join(-1) == 0;
        other.record->cancel();
        _exit(good && callsOn(other.thread.handle()).cancels == 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(other.record->hasEnded());
}
