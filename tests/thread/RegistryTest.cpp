#include "thread/detail/Registry.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

#include "support/JThreadPeer.h"
#include "support/Thread.h"
#include "thread/detail/ScopedLock.h"
#include "thread/Job.h"
#include "thread/JThreadInit.h"
#include "thread/Pthreads.h"

using jay::detail::JThreadPeer;
using jay::detail::ScopedLock;
using support::eventually;
using support::Thread;

namespace {

/** The threads in the registry, in its order. */
std::vector<JThread*> registered() {
    const ScopedLock lock(*JThreadInit::_sync);
    std::vector<JThread*> all;
    for (const JThreadInit::Node* node = JThreadInit::_tag; node != nullptr; node = node->next) {
        all.push_back(node->thread);
    }
    return all;
}

/** Runs foreign threads one after the other until one bears the id; false if none does. */
bool onForeignThreadWithId(unsigned long id, const std::function<void()>& body) {
    enum Role { UNDECIDED, ANOTHER, THE_ONE };
    JEvent go;
    std::vector<std::unique_ptr<Thread>> others;
    bool found = false;
    for (int i = 0; i < 100 && !found; ++i) {
        std::atomic<Role> role{UNDECIDED};
        others.push_back(std::make_unique<Thread>([&] {
            if (pthread_self() == id) {
                body();
                role = THE_ONE;
            } else {
                role = ANOTHER;
                go.wait();  // keeps its own id
            }
        }));
        eventually([&] { return role != UNDECIDED; });
        found = role == THE_ONE;
    }
    for (std::size_t i = 0; i < others.size(); ++i) go.set();
    return found;
}

unsigned long idOfEndedForeignThread(const std::function<void()>& body) {
    unsigned long id = 0;
    Thread thread([&] {
        id = pthread_self();
        body();
    });
    thread.join();
    return id;
}

}  // namespace

// ---- the list ----

TEST(RegistryTest, NewThreadsAreAppended) {
    const std::vector<JThread*> before = registered();
    JThread first;
    JThread second;
    std::vector<JThread*> expected = before;
    expected.push_back(&first);
    expected.push_back(&second);
    EXPECT_EQ(registered(), expected);
}

TEST(RegistryTest, DestroyedThreadsAreUnlinked_InnerAndLast) {
    const std::vector<JThread*> before = registered();
    auto first = std::make_unique<JThread>();
    auto second = std::make_unique<JThread>();
    auto third = std::make_unique<JThread>();
    second.reset();
    std::vector<JThread*> expected = before;
    expected.push_back(first.get());
    expected.push_back(third.get());
    EXPECT_EQ(registered(), expected);
    third.reset();
    first.reset();
    EXPECT_EQ(registered(), before);
}

TEST(RegistryTest, Count_GoesUpWithEveryRegistrationAndEveryRemoval) {
    const int before = JThreadInit::_count;
    auto thread = std::make_unique<JThread>();
    EXPECT_EQ(JThreadInit::_count, before + 1);
    thread.reset();
    EXPECT_EQ(JThreadInit::_count, before + 2);
}

TEST(RegistryTest, SecondObjectOfAThread_IsNotRegistered) {
    const std::vector<JThread*> before = registered();
    const int count = JThreadInit::_count;
    JThread second(pthread_self(), pthread_self());
    EXPECT_EQ(registered(), before);
    EXPECT_EQ(JThreadInit::_count, count);
}

TEST(RegistryTest, TheLockIsRecursive) {
    bool adopted = false;
    Thread foreign([&] {
        const ScopedLock lock(*JThreadInit::_sync);
        adopted = JThread::currentThread() != nullptr;
    });
    foreign.join();
    EXPECT_TRUE(adopted);
}

// ---- currentThread ----

TEST(RegistryTest, CurrentThread_InACreatedThread_IsItsObject) {
    JThread* seen = nullptr;
    const JThreadInit::Node* node = nullptr;
    Running running([&] {
        seen = JThread::currentThread();
        node = JThreadInit::currentThread();
        EXPECT_EQ(node->thread, seen);
    });
    running.thread->join();
    EXPECT_EQ(seen, running.thread);
}

TEST(RegistryTest, CurrentThread_InAForeignThread_IsAlwaysTheSameObject) {
    const int count = JThreadInit::_count;
    Thread foreign([&] {
        JThread* const object = JThread::currentThread();
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(object->getId(), pthread_self());
        EXPECT_EQ(object->getHandle(), pthread_self());
        EXPECT_EQ(JThreadPeer::state(*object), 2);
        EXPECT_TRUE(object->isAlive());
        EXPECT_FALSE(JThreadPeer::autoDelete(*object));
        for (int i = 0; i < 10; ++i) EXPECT_EQ(JThread::currentThread(), object);
        EXPECT_EQ(JThreadInit::currentThread()->thread, object);
        const auto all = registered();
        EXPECT_EQ(std::count(all.begin(), all.end(), object), 1);
    });
    foreign.join();
    EXPECT_LE(JThreadInit::_count, count + 2);  // an object that is used again is removed first
}

TEST(RegistryTest, CurrentThread_InAThreadAdoptedByItsHandle_IsThatObject) {
    JEvent go;
    JThread* seen = nullptr;
    Thread foreign([&] {
        go.wait();
        seen = JThread::currentThread();
    });
    auto adopted = std::make_unique<JThread>(foreign.handle(), foreign.handle());
    go.set();
    foreign.join();
    EXPECT_EQ(seen, adopted.get());
}

TEST(RegistryTest, CurrentThread_WithoutMemoryForTheAdoption_ThrowsAndAdoptsNextTime) {
    if (!thread::SETSPECIFIC_CAN_FAIL) GTEST_SKIP() << "ThreadSanitizer calls pthread_setspecific itself";
    std::thread([] { JThread::currentThread(); }).join();  // leaves an object that could be used again
    const std::size_t before = registered().size();
    Thread foreign([&] {
        thread::failNextSetspecific();
        EXPECT_THROW(JThread::currentThread(), std::bad_alloc);
        EXPECT_EQ(registered().size(), before);
        JThread* const object = JThread::currentThread();
        EXPECT_EQ(object->getId(), pthread_self());
        EXPECT_EQ(JThread::currentThread(), object);
    });
    foreign.join();
}

TEST(RegistryTest, CurrentThread_InAThreadAdoptedByItsHandleWithoutMemory_IsThatObjectAllTheSame) {
    if (!thread::SETSPECIFIC_CAN_FAIL) GTEST_SKIP() << "ThreadSanitizer calls pthread_setspecific itself";
    JEvent go;
    JThread* seen[2] = {};
    Thread foreign([&] {
        go.wait();
        thread::failNextSetspecific();
        for (JThread*& object : seen) object = JThread::currentThread();
    });
    JThread adopted(foreign.handle(), foreign.handle());
    go.set();
    foreign.join();
    for (const JThread* object : seen) EXPECT_EQ(object, &adopted);
}

TEST(RegistryTest, ForeignThreadsThatComeAndGo_DoNotFillTheRegistry) {
    const std::size_t before = registered().size();
    for (int i = 0; i < 300; ++i) std::thread([] { JThread::currentThread(); }).join();
    EXPECT_LE(registered().size(), before + 1);
}

TEST(RegistryTest, ForeignThreadsManyAtOnce_TakeAsManyEntriesAsThereWereAtOnce) {
    constexpr int ATONCE = 8;
    const std::size_t before = registered().size();
    for (int round = 0; round < 30; ++round) {
        std::vector<std::thread> threads;
        for (int i = 0; i < ATONCE; ++i) {
            threads.emplace_back([] { EXPECT_EQ(JThread::currentThread()->getId(), pthread_self()); });
        }
        for (auto& thread : threads) thread.join();
    }
    EXPECT_LE(registered().size(), before + ATONCE);
}

// ---- ids that are used again ----

TEST(RegistryReusedIdTest, ForeignThread_TakesTheObjectOverWithoutTheInterruptedFlag) {
    std::vector<std::thread> others;  // their objects could be used as well
    JEvent all;
    std::atomic<int> ready{0};
    for (int i = 0; i < 3; ++i) {
        others.emplace_back([&] {
            JThread::currentThread();
            ++ready;
            all.wait();
        });
    }
    eventually([&] { return ready == 3; });
    for (int i = 0; i < 3; ++i) all.set();
    for (std::thread& other : others) other.join();

    JThread* first = nullptr;
    const unsigned long id = idOfEndedForeignThread([&] {
        first = JThread::currentThread();
        JThread::interrupt();
    });
    ASSERT_TRUE(onForeignThreadWithId(id, [&] {
        EXPECT_FALSE(JThread::interrupted());
        EXPECT_EQ(JThread::currentThread(), first);
        JThread::interrupt();
        EXPECT_TRUE(JThread::interrupted());
    }));
}

TEST(RegistryReusedIdTest, JoinOfATakenOverObject_WaitsForTheNewThread) {
    JThread* object = nullptr;
    JEvent go;
    const unsigned long id = idOfEndedForeignThread([&] { object = JThread::currentThread(); });
    EXPECT_EQ(object->join(), 0);
    std::unique_ptr<Thread> joiner;
    int result = -1;
    ASSERT_TRUE(onForeignThreadWithId(id, [&] {
        JThread::currentThread();
        joiner = std::make_unique<Thread>([&] { result = object->join(); });
        EXPECT_TRUE(joiner->fallsAsleep());
    }));
    joiner->join();
    EXPECT_EQ(result, 0);
}

TEST(RegistryReusedIdTest, ObjectThatIsTakenOver_MayBeUsedByOtherThreadsMeanwhile) {
    std::atomic<JThread*> object{nullptr};
    std::atomic<bool> stop{false};
    Thread user([&] {
        while (!stop) {
            JThread* const shared = object;
            if (shared == nullptr) continue;
            EXPECT_EQ(shared->join(), 0);
            EXPECT_NE(shared->getHandle(), 0u);
            EXPECT_NE(shared->getId(), 0u);
            EXPECT_TRUE(shared->isAlive());
        }
    });
    for (int i = 0; i < 5000; ++i) std::thread([&] { object = JThread::currentThread(); }).join();
    stop = true;
    user.join();
}

TEST(RegistryReusedIdTest, CreatedThread_IsNotTakenForTheForeignOne) {
    std::vector<unsigned long> ids;
    for (int i = 0; i < 4; ++i) ids.push_back(idOfEndedForeignThread([] { JThread::interrupt(); }));
    std::vector<std::unique_ptr<JThread>> threads;
    std::atomic<int> good{0};
    Job job([&] { good += !JThread::interrupted(); });
    bool reused = false;
    for (int i = 0; i < 20 && !reused; ++i) {
        threads.push_back(std::make_unique<JThread>(&job));
        reused = std::find(ids.begin(), ids.end(), threads.back()->getId()) != ids.end();
    }
    ASSERT_TRUE(reused);
    JThread& thread = *threads.back();
    EXPECT_EQ(registered().back(), &thread);
    thread.start();
    thread.join();
    EXPECT_EQ(good, 1);
}

TEST(RegistryReusedIdTest, ObjectOfAJoinedThread_IsNeitherFoundNorDoesItsDestructionTouchTheNewThread) {
    auto old = std::make_unique<JThread>();
    const unsigned long id = old->getId();
    Thread joiner([&] { old->join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    old->start();
    joiner.join();  // reaped: the id is free now
    ASSERT_TRUE(onForeignThreadWithId(id, [&] {
        JThread* const self = JThread::currentThread();
        EXPECT_NE(self, old.get());
        const thread::Calls before = thread::callsOn(id);
        old.reset();
        EXPECT_EQ(thread::callsOn(id).cancels, before.cancels);
        EXPECT_EQ(thread::callsOn(id).joins, before.joins);
        EXPECT_EQ(JThread::currentThread(), self);
        pthread_testcancel();
    }));
}

TEST(RegistryReusedIdTest, ObjectAdoptedByHandle_IsNotTakenOver) {
    JEvent go;
    auto first = std::make_unique<Thread>([&] {
        go.wait();
        JThread::currentThread();  // so that its end is noticed
    });
    const unsigned long id = first->handle();
    JThread named(id, id);
    go.set();
    first->join();
    ASSERT_TRUE(onForeignThreadWithId(id, [&] { EXPECT_NE(JThread::currentThread(), &named); }));
}

// ---- all at once ----

TEST(RegistryTest, LooksUpCreatesAndDestroysOnManyThreads) {
    std::atomic<bool> stop{false};
    std::vector<std::unique_ptr<Running>> creators;
    for (int i = 0; i < 3; ++i) {
        creators.push_back(std::make_unique<Running>([&stop, i] {
            while (!stop) {
                Job job([] { EXPECT_EQ(JThread::currentThread()->getId(), pthread_self()); });
                JThread thread(&job);
                if (i != 1) thread.start();
                if (i == 2) thread.join();
            }
        }));
    }
    std::atomic<int> lookUps{0};
    std::thread foreign([&] {
        while (!stop) {
            std::thread([&] {
                EXPECT_FALSE(JThread::interrupted());
                ++lookUps;
            }).join();
        }
    });
    EXPECT_TRUE(eventually([&] { return lookUps >= 100; }));
    stop = true;
    foreign.join();
    for (auto& creator : creators) EXPECT_EQ(creator->thread->join(), 0);
}
