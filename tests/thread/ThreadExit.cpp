/**
 * @file Processes that end while threads are alive. Run with the name of a scenario; what happens is written to
 * standard output, one word per line, and "exit" comes right before the end is asked for. The status is 7.
 */
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "support/JEventPeer.h"
#include "support/JThreadPeer.h"
#include "support/Thread.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/JLock.h"
#include "thread/Job.h"
#include "thread/JThread.h"
#include "thread/JThreadInit.h"

using jay::detail::CancelOff;
using support::eventually;

namespace {

constexpr int STATUS = 7;
constexpr int FOR_EVER_MS = 3600000;

void say(const std::string& word) {
    const std::string line = word + "\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0) std::abort();
}

[[noreturn]] void end() {
    say("exit");
    std::exit(STATUS);
}

std::atomic<bool> unwound{false};

struct Unwound {
    ~Unwound() {
        say("unwound");
        unwound = true;
    }
};

void sleepForEver() {
    const Unwound atTheEnd;
    for (;;) JThread::sleep(FOR_EVER_MS);
}

std::atomic<bool> runsForEver{false};

/** Cannot be cancelled, and uses the registry all the while. */
void runForEver() {
    const CancelOff off;
    runsForEver = true;
    for (;;) {
        if (JThread::interrupted()) std::abort();
        std::this_thread::yield();
    }
}

/** A thread whose object says when it is destroyed. */
class Worker : public JThread {
public:
    explicit Worker(void (*work)()) : work_(work) {}
    ~Worker() override { say("deleted"); }
    void run() override {
        running = true;
        work_();
    }

    Worker* startAndSee() {
        start();
        if (!eventually([this] { return running || !isAlive(); })) std::abort();
        return this;
    }

    std::atomic<bool> running{false};

private:
    void (*const work_)();
};

/** A thread that runs until its object is destroyed. */
class Patient : public JThread {
public:
    ~Patient() override {
        stop_ = true;
        finish();
        say(name_ + (done_ ? " done" : " not done"));
    }
    void run() override {
        const CancelOff off;
        while (!stop_) std::this_thread::yield();
        done_ = true;
    }

private:
    std::atomic<bool> stop_{false};
    std::atomic<bool> done_{false};
    std::string name_ = "a member that the thread does not outlive";
};

Worker* worker(void (*work)()) {
    return (new Worker(work))->startAndSee();
}

void callExit() {
    end();
}

// ---- what the library does at load ----

void load() {
    const JThreadInit::Node* const head = JThreadInit::_tag;
    say(head != nullptr && head->next == nullptr ? "one entry" : "not one entry");
    say(JThreadInit::_tid == pthread_self() && head->thread->getId() == JThreadInit::_tid ? "main thread"
                                                                                          : "another");
    say("count " + std::to_string(JThreadInit::_count));
    say(head->thread->isAlive() ? "alive" : "not alive");
    end();
}

void selfCheck() {
    const long long begin = JSystem::getMilliseconds();
    JThread::Test();
    say(JSystem::getMilliseconds() - begin >= 6000 ? "six seconds" : "too short");
    end();
}

// ---- the end called for by the main thread ----

void returnFromMain() {
    worker(sleepForEver);
    say("exit");
}

void running() {
    worker(sleepForEver);
    end();
}

void neverStarted() {
    new Worker([] { say("ran"); });
    end();
}

void finished() {
    Worker* const done = worker([] {});
    done->join();
    end();
}

void patient() {
    new Patient;                                  // never started
    static_cast<JThread*>(new Patient)->start();  // may be anywhere by now
    end();
}

void onStack() {
    Worker local(sleepForEver);
    local.startAndSee();
    const Worker waiting(sleepForEver);
    end();
}

void insideOthers() {
    const auto shared = std::make_shared<Worker>(sleepForEver);
    shared->startAndSee();
    JThread* const pair = new JThread[2];
    pair[1].start();
    end();
}

void staticObject() {
    static Worker object(sleepForEver);
    object.startAndSee();
    end();
}

void many() {
    for (int i = 0; i < 30; ++i) worker(sleepForEver);
    end();
}

void afterEndedOnes() {
    std::thread([] { JThread::currentThread(); }).join();
    Worker joined([] {});
    joined.start();
    joined.join();
    worker(sleepForEver);
    end();
}

/** The thread is left alone in the end; another one is ended all the same. */
void uncancellable() {
    worker(runForEver);
    worker(sleepForEver);
    end();
}

void uncancellableOnStack() {
    Worker local(runForEver);
    local.startAndSee();
    end();
}

/** A destructor that waits for a thread that does not end. */
void uncancellablePatient() {
    class Stubborn : public JThread {
    public:
        ~Stubborn() override { finish(); }
        void run() override { runForEver(); }
    };
    (new Stubborn)->start();
    eventually([] { return runsForEver.load(); });
    worker(sleepForEver);
    end();
}

/** A thread that goes on looking at its object until the process is gone. */
void uncancellableLooksAtItsObject() {
    static std::atomic<int> looks{0};
    struct Looking : JThread {
        void run() override {
            const CancelOff off;
            const volatile int* const looked = &value;
            for (; *looked == 42; std::this_thread::yield()) ++looks;
            std::abort();
        }
        int value = 42;
    };
    struct Last : JThread {
        ~Last() override {
            const int before = looks;
            eventually([&] { return looks > before + 1; });
        }
    };
    (new Looking)->start();
    new Last;  // the end deletes it after the other one
    eventually([] { return looks > 0; });
    end();
}

JLock* held;

void blockedOnHeldLock() {
    held = new JLock;
    held->lock();
    new Worker([] {});
    Running* const blocked = new Running([] { held->lock(); });
    blocked->job.fallsAsleep();
    end();
}

void blockedOnHeldOutput() {
    JSystem::lock();
    Running* const blocked = new Running([] { JSystem::debug("never seen\n"); });
    blocked->job.fallsAsleep();
    end();
}

/** All of them end, and delete themselves, just as the process ends. */
void selfDeleting() {
    static JEvent* const go = new JEvent;  // the threads outlive static objects
    struct Target : JRunnable {
        void run() override { go->wait(); }
    };
    for (int i = 0; i < 8; ++i) {
        JThread* const thread = new JThread(new Target);
        thread->setAutoDelete(true);
        thread->start();
    }
    for (int i = 0; i < 8; ++i) go->set();
    end();
}

/** A self-deleting thread that is in its destructor for longer than the process wants to live. */
void deletingItself() {
    static JEvent inDestructor;
    class Slow : public JThread {
    public:
        ~Slow() override {
            inDestructor.set();
            JThread::sleep(300);
            say("deleted itself");
        }
    };
    Slow* const slow = new Slow;
    slow->setAutoDelete(true);
    slow->start();
    inDestructor.wait();
    end();
}

// ---- the end called for by other threads ----

void inThread() {
    worker(sleepForEver);
    worker(callExit);
    for (;;) pause();
}

void callExitWhileMainSleeps() {
    eventually([] { return isAsleep(getpid()); });
    end();
}

/** The main thread waits for a thread that the end cancels: it must not go on from there. */
void inThreadWhileMainJoins() {
    const auto ender = std::make_unique<Worker>(callExitWhileMainSleeps);
    const auto other = std::make_unique<Worker>(sleepForEver);
    other->startAndSee();
    ender->start();
    other->join();
    say("main goes on");
}

void inThreadOnStackWhileMainJoins() {
    Worker ender(callExitWhileMainSleeps);
    Worker other(sleepForEver);
    other.startAndSee();
    ender.start();
    other.join();
    say("main goes on");
}

/** The main thread waits in a destructor when the end comes. */
void inThreadWhileMainDestroys() {
    static std::atomic<bool> ending{false};
    struct First : Worker {  // the first object that the end deletes
        First() : Worker(sleepForEver) {}
        ~First() override { ending = true; }
    };
    (new First)->startAndSee();
    Worker* const other = worker([] {
        const CancelOff off;
        while (!ending) std::this_thread::yield();
    });
    const auto ender = std::make_unique<Worker>(callExitWhileMainSleeps);
    ender->start();
    delete other;
    say("main goes on");
}

void inThreadWhileMainIsBusy() {
    worker(sleepForEver);
    worker(callExit);
    for (;;) {
        if (JThread::currentThread()->getId() != pthread_self() || JThread::interrupted()) std::abort();
    }
}

void inForeignThread() {
    worker(sleepForEver);
    std::thread(callExit).detach();
    for (;;) JThread::currentThread();
}

void inAdoptedThread() {
    worker(sleepForEver);
    std::thread([] {
        JThread::currentThread();
        end();
    }).detach();
    for (;;) pause();
}

/** Whatever cancels the thread that ends the process, it is not unwound out of exit(). */
void inCancelledThread() {
    class Canceller : public JThread {
    public:
        ~Canceller() override {
            pthread_cancel(pthread_self());
            JThread::sleep(1);
            say("cancelled");
        }
    };
    new Canceller;
    worker(callExit);
    for (;;) pause();
}

// ---- foreign threads at the end ----

void foreignAdopted() {
    static JEvent ready;
    std::thread([] {
        JThread::currentThread();
        ready.set();
        sleepForEver();
    }).detach();
    ready.wait();
    end();
}

void foreignNamed() {
    std::thread foreign(sleepForEver);
    const pthread_t handle = foreign.native_handle();
    foreign.detach();
    new JThread(handle, handle);
    struct Last : JThread {
        ~Last() override {
            eventually([] { return unwound.load(); });
        }
    };
    new Last;  // the end deletes it after it has cancelled the other one, for which it does not wait
    end();
}

void foreignUnknown() {
    static std::atomic<bool> ready{false};
    std::thread([] {
        const Unwound atTheEnd;
        ready = true;
        for (;;) pause();
    }).detach();
    eventually([] { return ready.load(); });
    end();
}

void foreignComingAndGoing() {
    static std::atomic<int> seen{0};
    for (int i = 0; i < 3; ++i) {
        std::thread([] {
            for (;;) {
                std::thread([] {
                    const CancelOff off;  // std::thread's destructor must not meet a cancellation
                    JThread::currentThread();
                    ++seen;
                }).join();
            }
        }).detach();
    }
    eventually([] { return seen > 20; });
    end();
}

void foreignUncancellable() {
    static JEvent ready;
    std::thread([] {
        JThread::currentThread();
        ready.set();
        runForEver();
    }).detach();
    ready.wait();
    end();
}

// ---- children ----

/** Waits for a child and says how it ended. */
void await(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    say("child " + (WIFEXITED(status) ? std::to_string(WEXITSTATUS(status)) : "died"));
}

void forked() {
    worker(sleepForEver);
    new Worker(sleepForEver);
    const pid_t child = fork();
    if (child == 0) std::exit(3);
    await(child);
    end();
}

void forkedInThread() {
    worker(sleepForEver);
    worker([] {
        const pid_t child = fork();
        if (child == 0) std::exit(3);
        await(child);
    })->join();
    end();
}

/** The child destroys what it has inherited: nothing waits for threads that are not there. */
void forkedAndDestroyed() {
    auto waiting = std::make_unique<JThread>();
    Running sleeping([] { sleepForEver(); });
    sleeping.job.fallsAsleep();
    JThread* const self = JThread::currentThread();
    const pid_t child = fork();
    if (child == 0) {
        say("join " + std::to_string(sleeping.thread->join()));
        say(JThread::currentThread() == self ? "same object" : "another object");
        sleeping.destroy();
        waiting.reset();
        std::exit(3);
    }
    await(child);
    sleeping.destroy();
    end();
}

/** A thread of the parent is about to start or to begin its thread at the moment of the fork. */
void forkedAtAStart() {
    auto waiting = std::make_unique<JThread>();
    JEvent& event = jay::detail::JThreadPeer::startEvent(*waiting);
    std::atomic<bool> holds{false};
    std::atomic<bool> stop{false};
    std::thread starter([&] {
        const jay::detail::JEventPeer::Held starting(event);
        holds = true;
        eventually([&] { return stop.load(); });
    });
    eventually([&] { return holds.load(); });
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        waiting->start();
        waiting.reset();
        std::exit(3);
    }
    await(child);
    stop = true;
    starter.join();
    waiting.reset();
    end();
}

/** Threads of the child may get the ids of the parent's. */
void forkedAndNewThreads() {
    for (int i = 0; i < 4; ++i) worker(sleepForEver);
    const pid_t child = fork();
    if (child == 0) {
        for (int i = 0; i < 8; ++i) {
            static JThread* seen;
            Job job([] { seen = JThread::currentThread(); });
            JThread thread(&job);
            thread.start();
            thread.join();
            if (seen != &thread) say("another object");
        }
        worker(sleepForEver);
        std::exit(3);
    }
    await(child);
    end();
}

/** Locks of the library that other threads hold at the moment are free in the child. */
void forkedInTheThickOfIt() {
    static std::atomic<bool> stop{false};
    Running* busy[3];
    for (Running*& one : busy) {
        one = new Running([] {
            while (!stop) {
                JThread thread;
                JThread::currentThread();
            }
        });
    }
    bool good = true;
    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            JThread::currentThread();
            std::exit(3);
        }
        int status = 0;
        waitpid(child, &status, 0);
        good = good && WIFEXITED(status) && WEXITSTATUS(status) == 3;
    }
    say(good ? "all children" : "a child failed");
    stop = true;
    for (Running* one : busy) delete one;
    end();
}

// ---- the main thread's object ----

void mainObjectDeleted() {
    delete JThread::currentThread();
    say(JThreadInit::_tag == nullptr ? "no entry" : "an entry");
    JThread* const again = JThread::currentThread();
    say(again->getId() == pthread_self() && JThread::currentThread() == again ? "adopted again" : "lost");
    end();
}

const struct {
    const char* name;
    void (*run)();
} scenarios[] = {
    {"load", load},
    {"selfCheck", selfCheck},
    {"returnFromMain", returnFromMain},
    {"running", running},
    {"neverStarted", neverStarted},
    {"finished", finished},
    {"patient", patient},
    {"onStack", onStack},
    {"insideOthers", insideOthers},
    {"staticObject", staticObject},
    {"many", many},
    {"afterEndedOnes", afterEndedOnes},
    {"uncancellable", uncancellable},
    {"uncancellableOnStack", uncancellableOnStack},
    {"uncancellablePatient", uncancellablePatient},
    {"uncancellableLooksAtItsObject", uncancellableLooksAtItsObject},
    {"blockedOnHeldLock", blockedOnHeldLock},
    {"blockedOnHeldOutput", blockedOnHeldOutput},
    {"selfDeleting", selfDeleting},
    {"deletingItself", deletingItself},
    {"inThread", inThread},
    {"inThreadWhileMainJoins", inThreadWhileMainJoins},
    {"inThreadOnStackWhileMainJoins", inThreadOnStackWhileMainJoins},
    {"inThreadWhileMainDestroys", inThreadWhileMainDestroys},
    {"inThreadWhileMainIsBusy", inThreadWhileMainIsBusy},
    {"inForeignThread", inForeignThread},
    {"inAdoptedThread", inAdoptedThread},
    {"inCancelledThread", inCancelledThread},
    {"foreignAdopted", foreignAdopted},
    {"foreignNamed", foreignNamed},
    {"foreignUnknown", foreignUnknown},
    {"foreignComingAndGoing", foreignComingAndGoing},
    {"foreignUncancellable", foreignUncancellable},
    {"forked", forked},
    {"forkedInThread", forkedInThread},
    {"forkedAndDestroyed", forkedAndDestroyed},
    {"forkedAndNewThreads", forkedAndNewThreads},
    {"forkedAtAStart", forkedAtAStart},
    {"forkedInTheThickOfIt", forkedInTheThickOfIt},
    {"mainObjectDeleted", mainObjectDeleted},
};

}  // namespace

int main(int, char** arguments) {
    for (const auto& scenario : scenarios) {
        if (arguments[1] == nullptr || std::strcmp(scenario.name, arguments[1]) != 0) continue;
        scenario.run();
        return STATUS;
    }
    std::fprintf(stderr, "no such scenario\n");
    return 1;
}
