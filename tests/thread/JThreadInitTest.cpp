#include "thread/JThreadInit.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

#include "support/JThreadPeer.h"
#include "support/Thread.h"
#include "thread/detail/ScopedLock.h"
#include "thread/Job.h"
#include "thread/Pthreads.h"

using jay::detail::JThreadPeer;
using jay::detail::ScopedLock;
using support::eventually;
using support::Thread;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::UnorderedElementsAre;

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

// ---- load ----

TEST(JThreadInit, Load_InstallsAnEmptyHandlerThatInterruptsCalls) {
    struct sigaction action {};
    ASSERT_EQ(sigaction(SIGHUP, nullptr, &action), 0);
    EXPECT_NE(action.sa_handler, SIG_DFL);
    EXPECT_NE(action.sa_handler, SIG_IGN);
    EXPECT_EQ(action.sa_flags & (SA_RESTART | SA_SIGINFO | SA_RESETHAND | SA_NODEFER), 0);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1})
        EXPECT_EQ(sigismember(&action.sa_mask, signal), 0);
    EXPECT_EQ(raise(SIGHUP), 0);
}

TEST(JThreadInit, TheMainThreadIsFirst) {
    EXPECT_EQ(JThreadInit::_tid, pthread_self());
    ASSERT_NE(JThreadInit::_tag, nullptr);
    EXPECT_EQ(JThreadInit::_tag->thread->getId(), JThreadInit::_tid);
    EXPECT_EQ(JThread::currentThread(), JThreadInit::_tag->thread);
}

// ---- the list ----

TEST(JThreadInit, NewThreadsAreAppended) {
    const std::vector<JThread*> before = registered();
    JThread first;
    JThread second;
    std::vector<JThread*> expected = before;
    expected.push_back(&first);
    expected.push_back(&second);
    EXPECT_EQ(registered(), expected);
}

TEST(JThreadInit, DestroyedThreadsAreUnlinked_InnerAndLast) {
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

TEST(JThreadInit, Count_GoesUpWithEveryRegistrationAndEveryRemoval) {
    const int before = JThreadInit::_count;
    auto thread = std::make_unique<JThread>();
    EXPECT_EQ(JThreadInit::_count, before + 1);
    thread.reset();
    EXPECT_EQ(JThreadInit::_count, before + 2);
}

TEST(JThreadInit, SecondObjectOfAThread_IsNotRegistered) {
    const std::vector<JThread*> before = registered();
    const int count = JThreadInit::_count;
    JThread second(pthread_self(), pthread_self());
    EXPECT_EQ(registered(), before);
    EXPECT_EQ(JThreadInit::_count, count);
}

TEST(JThreadInit, TheLockIsRecursive) {
    bool adopted = false;
    Thread foreign([&] {
        const ScopedLock lock(*JThreadInit::_sync);
        adopted = JThread::currentThread() != nullptr;
    });
    foreign.join();
    EXPECT_TRUE(adopted);
}

// ---- currentThread ----

TEST(JThreadInit, CurrentThread_InACreatedThread_IsItsObject) {
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

TEST(JThreadInit, CurrentThread_InAForeignThread_IsAlwaysTheSameObject) {
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
    EXPECT_LE(JThreadInit::_count, count + 1);
}

TEST(JThreadInit, CurrentThread_InAThreadAdoptedByItsHandle_IsThatObject) {
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

TEST(JThreadInit, CurrentThread_WithoutMemoryForTheAdoption_ThrowsAndAdoptsNextTime) {
    std::thread([] { JThread::currentThread(); }).join();  // leaves an object that could be used again
    const std::size_t before = registered().size();
    Thread foreign([&] {
        pthreads::failNextSetspecific();
        EXPECT_THROW(JThread::currentThread(), std::bad_alloc);
        EXPECT_EQ(registered().size(), before);
        JThread* const object = JThread::currentThread();
        EXPECT_EQ(object->getId(), pthread_self());
        EXPECT_EQ(JThread::currentThread(), object);
    });
    foreign.join();
}

TEST(JThreadInit, CurrentThread_InAThreadAdoptedByItsHandleWithoutMemory_IsThatObjectAllTheSame) {
    JEvent go;
    JThread* seen[2] = {};
    Thread foreign([&] {
        go.wait();
        pthreads::failNextSetspecific();
        for (JThread*& object : seen) object = JThread::currentThread();
    });
    JThread adopted(foreign.handle(), foreign.handle());
    go.set();
    foreign.join();
    for (const JThread* object : seen) EXPECT_EQ(object, &adopted);
}

TEST(JThreadInit, ForeignThreadsThatComeAndGo_DoNotFillTheRegistry) {
    const std::size_t before = registered().size();
    for (int i = 0; i < 300; ++i) std::thread([] { JThread::currentThread(); }).join();
    EXPECT_LE(registered().size(), before + 1);
}

TEST(JThreadInit, ForeignThreadsManyAtOnce_TakeAsManyEntriesAsThereWereAtOnce) {
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

TEST(JThreadInitReusedId, ForeignThread_TakesTheObjectOverWithoutTheInterruptedFlag) {
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

TEST(JThreadInitReusedId, JoinOfATakenOverObject_WaitsForTheNewThread) {
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

TEST(JThreadInitReusedId, CreatedThread_IsNotTakenForTheForeignOne) {
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

TEST(JThreadInitReusedId, ObjectOfAJoinedThread_IsNeitherFoundNorDoesItsDestructionTouchTheNewThread) {
    auto old = std::make_unique<JThread>();
    const unsigned long id = old->getId();
    Thread joiner([&] { old->join(); });
    ASSERT_TRUE(joiner.fallsAsleep());
    old->start();
    joiner.join();  // reaped: the id is free now
    ASSERT_TRUE(onForeignThreadWithId(id, [&] {
        JThread* const self = JThread::currentThread();
        EXPECT_NE(self, old.get());
        const pthreads::Calls before = pthreads::callsOn(id);
        old.reset();
        EXPECT_EQ(pthreads::callsOn(id).cancels, before.cancels);
        EXPECT_EQ(pthreads::callsOn(id).joins, before.joins);
        EXPECT_EQ(JThread::currentThread(), self);
        pthread_testcancel();
    }));
}

TEST(JThreadInitReusedId, ObjectAdoptedByHandle_IsNotTakenOver) {
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

TEST(JThreadInit, LooksUpCreatesAndDestroysOnManyThreads) {
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

// ---- the end of the process ----

namespace {

/** How a run of the program next door ended. */
struct Ending {
    int status = -1;
    std::vector<std::string> lines;
    long long endMs = 0;  ///< from the word "exit" to the end
    std::string text;
};

/** The value of a variable of the sanitizers, with more options. */
std::string withOptions(const char* variable, const std::string& more) {
    const char* const old = std::getenv(variable);
    return std::string(variable) + "=" + (old != nullptr ? std::string(old) + ":" : "") + more;
}

std::vector<std::string> environmentOf(const std::string& scenario) {
    std::vector<std::string> all;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (std::string(*variable).rfind("TSAN_OPTIONS=", 0) == 0) continue;
        if (std::string(*variable).rfind("ASAN_OPTIONS=", 0) == 0) continue;
        all.emplace_back(*variable);
    }
    // Without the pause at the end. Foreign threads end unjoined here, which is what the scenarios are about, and the
    // process may be quicker than a main thread that is joining.
    const bool leaks = scenario.rfind("foreign", 0) == 0 || scenario.find("WhileMain") != std::string::npos;
    all.push_back(
        withOptions("TSAN_OPTIONS", leaks ? "atexit_sleep_ms=0:report_thread_leaks=0" : "atexit_sleep_ms=0"));
    // In a forked child the leak check misses what the stacks of the parent's threads hold.
    all.push_back(withOptions("ASAN_OPTIONS", scenario.rfind("forked", 0) == 0 ? "detect_leaks=0" : ""));
    all.emplace_back(
        "GLIBC_TUNABLES=glibc.malloc.tcache_count=0:glibc.malloc.perturb=165");  // freed memory changes
    return all;
}

pid_t spawn(const std::string& scenario, int output) {
    std::vector<std::string> command;
    std::istringstream emulator(JAY_EMULATOR);
    for (std::string word; emulator >> word;) command.push_back(word);
    command.insert(command.end(), {JAY_THREAD_EXIT, scenario});
    std::vector<std::string> environment = environmentOf(scenario);

    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(&word[0]);
    arguments.push_back(nullptr);
    std::vector<char*> variables;
    for (std::string& variable : environment) variables.push_back(&variable[0]);
    variables.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t child = -1;
    posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

Ending run(const std::string& scenario) {
    Ending result;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return result;
    const pid_t child = spawn(scenario, ends[1]);
    close(ends[1]);
    auto exit = std::chrono::steady_clock::now();
    char buffer[4096];
    for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
        result.text.append(buffer, static_cast<std::size_t>(got));
        if (result.text.find("exit\n") == std::string::npos || result.endMs != 0) continue;
        exit = std::chrono::steady_clock::now();
        result.endMs = 1;
    }
    close(ends[0]);
    int status = 0;
    if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    const auto took = std::chrono::steady_clock::now() - exit;
    result.endMs = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    std::istringstream lines(result.text);
    for (std::string line; std::getline(lines, line);) result.lines.push_back(line);
    return result;
}

constexpr long long PATIENCE_MS = 2000;  ///< what the end of the process grants a thread that does not end
constexpr long long PROMPT_MS = 1500;    ///< safely less, as the word "exit" may be read a little late

/** A run that is expected to end without delay; on a busy machine one of a few does. */
Ending runPromptly(const std::string& scenario) {
    Ending result;
    for (int i = 0; i < 5; ++i) {
        result = run(scenario);
        if (result.status != 7 || result.endMs < PROMPT_MS) break;
    }
    EXPECT_LT(result.endMs, PROMPT_MS);
    EXPECT_EQ(result.status, 7) << result.text;
    return result;
}

/** A run with a thread that does not end. */
Ending runPatiently(const std::string& scenario) {
    Ending result = run(scenario);
    EXPECT_GE(result.endMs, PROMPT_MS);
    EXPECT_LT(result.endMs, 10 * PATIENCE_MS);
    EXPECT_EQ(result.status, 7) << result.text;
    return result;
}

}  // namespace

TEST(JThreadInitExit, Load_AdoptsTheMainThreadAndCountsFromThere) {
    EXPECT_THAT(runPromptly("load").lines,
                ElementsAre("one entry", "main thread", "count 0", "alive", "exit"));
}

TEST(JThreadInitExit, MainObjectDeleted_TheThreadIsAdoptedAnew) {
    EXPECT_THAT(runPromptly("mainObjectDeleted").lines, ElementsAre("no entry", "adopted again", "exit"));
}

TEST(JThreadInitExit, ReturnFromMain_DeletesObjectsAndCancelsTheirThreads) {
    EXPECT_THAT(runPromptly("returnFromMain").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, CallOfExit_DeletesObjectsAndCancelsTheirThreads) {
    EXPECT_THAT(runPromptly("running").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, NeverStarted_IsDeletedAndDoesNotRun) {
    EXPECT_THAT(runPromptly("neverStarted").lines, ElementsAre("exit", "deleted"));
}

TEST(JThreadInitExit, Finished_IsDeleted) {
    EXPECT_THAT(runPromptly("finished").lines, ElementsAre("exit", "deleted"));
}

TEST(JThreadInitExit, DestructorThatEndsItsThread_HasItsWay) {
    const std::string name = "a member that the thread does not outlive";
    const auto lines = runPromptly("patient").lines;
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1], name + " not done");
    EXPECT_THAT(lines[2], AnyOf(name + " done", name + " not done"));
}

TEST(JThreadInitExit, OnAStack_OnlyTheThreadIsEnded) {
    EXPECT_THAT(runPromptly("onStack").lines, ElementsAre("exit", "unwound"));
}

TEST(JThreadInitExit, InsideOtherObjects_OnlyTheThreadIsEnded) {
    EXPECT_THAT(runPromptly("insideOthers").lines, ElementsAre("exit", "unwound"));
}

TEST(JThreadInitExit, StaticObject_IsDestroyedOnce) {
    EXPECT_THAT(runPromptly("staticObject").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, ManyThreads_AllEnd) {
    const auto lines = runPromptly("many").lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "deleted"), 30);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "unwound"), 30);
}

TEST(JThreadInitExit, EndedThreads_AreNotTouched) {
    EXPECT_THAT(runPromptly("afterEndedOnes").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, Uncancellable_IsLeftAloneAfterTwoSecondsAndTheNextIsEndedAllTheSame) {
    EXPECT_THAT(runPatiently("uncancellable").lines, ElementsAre("exit", "deleted", "deleted", "unwound"));
}

TEST(JThreadInitExit, UncancellableOnAStack_IsLeftAloneAfterTwoSeconds) {
    EXPECT_THAT(runPatiently("uncancellableOnStack").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, UncancellableWithAWaitingDestructor_IsLeftAloneAfterTwoSeconds) {
    EXPECT_THAT(runPatiently("uncancellablePatient").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, UncancellableThread_FindsTheMemoryOfItsObject) {
    EXPECT_THAT(runPatiently("uncancellableLooksAtItsObject").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, UncancellableForeignThread_IsLeftAloneAfterTwoSeconds) {
    EXPECT_THAT(runPatiently("foreignUncancellable").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, BlockedOnALockThatMainHolds_IsLeftAloneAfterTwoSeconds) {
    EXPECT_THAT(runPatiently("blockedOnHeldLock").lines, ElementsAre("exit", "deleted"));
}

TEST(JThreadInitExit, BlockedOnTheOutputLockThatMainHolds_IsLeftAloneAfterTwoSeconds) {
    EXPECT_THAT(runPatiently("blockedOnHeldOutput").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, SelfDeletingThreadsInTheirLastInstructions_AreDeletedOnce) {
    for (int i = 0; i < 10; ++i) EXPECT_THAT(runPromptly("selfDeleting").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, SelfDeletingThreadInItsDestructor_IsWaitedFor) {
    EXPECT_THAT(runPromptly("deletingItself").lines, ElementsAre("exit", "deleted itself"));
}

TEST(JThreadInitExit, InACreatedThread_EndsTheOthersAndItsOwnObject) {
    EXPECT_THAT(runPromptly("inThread").lines, ElementsAre("exit", "deleted", "unwound", "deleted"));
}

TEST(JThreadInitExit, InACreatedThread_TheMainThreadDoesNotComeBackFromJoin) {
    for (int i = 0; i < 5; ++i) {
        const auto lines = runPromptly("inThreadWhileMainJoins").lines;
        EXPECT_THAT(lines, Contains("unwound"));
        EXPECT_THAT(lines, Not(Contains("main goes on")));
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "deleted"), 2);
    }
}

TEST(JThreadInitExit, InACreatedThreadOnMainsStack_TheMainThreadDoesNotComeBackFromJoin) {
    for (int i = 0; i < 5; ++i) {
        EXPECT_THAT(runPromptly("inThreadOnStackWhileMainJoins").lines, ElementsAre("exit", "unwound"));
    }
}

TEST(JThreadInitExit, InACreatedThread_TheMainThreadDoesNotComeBackFromADestructor) {
    for (int i = 0; i < 5; ++i) {
        EXPECT_THAT(runPromptly("inThreadWhileMainDestroys").lines,
                    ElementsAre("deleted", "exit", "deleted", "unwound", "deleted"));
    }
}

TEST(JThreadInitExit, InACreatedThread_TheMainThreadGoesOnUsingItsObject) {
    const auto lines = runPromptly("inThreadWhileMainIsBusy").lines;
    EXPECT_THAT(lines, ElementsAre("exit", "deleted", "unwound", "deleted"));
}

TEST(JThreadInitExit, InAForeignThread_EndsTheCreatedOnes) {
    EXPECT_THAT(runPromptly("inForeignThread").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, InAnAdoptedThread_EndsTheCreatedOnes) {
    EXPECT_THAT(runPromptly("inAdoptedThread").lines, ElementsAre("exit", "deleted", "unwound"));
}

TEST(JThreadInitExit, InACancelledThread_GoesOnToTheEnd) {
    EXPECT_THAT(runPromptly("inCancelledThread").lines, ElementsAre("exit", "cancelled", "deleted"));
}

TEST(JThreadInitExit, AdoptedForeignThread_IsCancelled) {
    EXPECT_THAT(runPromptly("foreignAdopted").lines, ElementsAre("exit", "unwound"));
}

TEST(JThreadInitExit, ForeignThreadAdoptedByItsHandle_IsCancelled) {
    EXPECT_THAT(runPromptly("foreignNamed").lines, ElementsAre("exit", "unwound"));
}

TEST(JThreadInitExit, ForeignThreadThatIsNotKnown_IsLeftAlone) {
    EXPECT_THAT(runPromptly("foreignUnknown").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, ForeignThreadsComingAndGoing_DoNotHoldUpTheEnd) {
    for (int i = 0; i < 5; ++i) EXPECT_THAT(runPromptly("foreignComingAndGoing").lines, ElementsAre("exit"));
}

TEST(JThreadInitExit, ForkedChild_EndsAtOnceAndDeletesNothingOfItsParents) {
    const auto lines = runPromptly("forked").lines;
    EXPECT_THAT(lines, ElementsAre("child 3", "exit", "deleted", "unwound", "deleted"));
}

TEST(JThreadInitExit, ChildForkedInAThread_EndsAtOnceAndDeletesNothingOfItsParents) {
    const auto lines = runPromptly("forkedInThread").lines;
    EXPECT_THAT(lines, ElementsAre("child 3", "exit", "deleted", "unwound", "deleted"));
}

TEST(JThreadInitExit, ForkedChild_MayDestroyWhatItHasInherited) {
    const auto lines = runPromptly("forkedAndDestroyed").lines;
    EXPECT_THAT(lines, ElementsAre("join 0", "same object", "child 3", "unwound", "exit"));
}

TEST(JThreadInitExit, ForkedChild_MayHaveThreadsOfItsOwn) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "ThreadSanitizer does not support new threads in the forked child of a process with threads";
#endif
    if (*JAY_EMULATOR != '\0') GTEST_SKIP() << "user-mode emulation fails an assertion of its own there";
    const auto lines = runPromptly("forkedAndNewThreads").lines;
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[0], "deleted");
    EXPECT_EQ(lines[1], "unwound");
    EXPECT_EQ(lines[2], "child 3");
    EXPECT_EQ(lines[3], "exit");
}

TEST(JThreadInitExit, ForkedChild_FindsNoLockHeld) {
    if (*JAY_EMULATOR != '\0') {
        GTEST_SKIP()
            << "qemu hangs in a forked child now and then: another thread held a lock of its allocator";
    }
    EXPECT_THAT(runPromptly("forkedInTheThickOfIt").lines, ElementsAre("all children", "exit"));
}

TEST(JThreadSlow, Test_StartsThreeThreadsThatPrintAndCountDown) {
    const Ending check = run("selfCheck");
    EXPECT_EQ(check.status, 7) << check.text;
    // Three threads that do the same at the same time: their order is not told.
    EXPECT_THAT(check.lines, UnorderedElementsAre("JTestRunnable(2)", "JTestRunnable(2)", "JTestRunnable(2)",
                                                  "JTestRunnable(1)", "JTestRunnable(1)", "JTestRunnable(1)",
                                                  "JTestRunnable(0)", "JTestRunnable(0)", "JTestRunnable(0)",
                                                  "six seconds", "exit"));
}
