/** @file Locks, events, threads and queues beside those of the C++ library and of POSIX. */
#include <benchmark/benchmark.h>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <thread>

#include "core/JInteger.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"
#include "thread/JQueue.h"
#include "thread/JThread.h"

namespace {

// ---- lock: taken and released by one thread, and by several ----

template <class Mutex>
void LockAndUnlock(benchmark::State& state) {
    static Mutex mutex;
    for (auto unused : state) {
        mutex.lock();
        mutex.unlock();
    }
}
BENCHMARK_TEMPLATE(LockAndUnlock, JLock)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK_TEMPLATE(LockAndUnlock, std::recursive_mutex)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK_TEMPLATE(LockAndUnlock, std::mutex)->Threads(1)->Threads(2)->UseRealTime();

// ---- event ----

/** What JEvent does, with the C++ library. */
class StdEvent {
public:
    void set() {
        const std::lock_guard<std::mutex> held(mutex_);
        ++count_;
        changed_.notify_all();
    }
    int wait() {
        std::unique_lock<std::mutex> held(mutex_);
        changed_.wait(held, [this] { return count_ != 0; });
        return count_--;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

/** A signal that nobody waits for, and its consumption. */
template <class Event>
void EventSetThenWait(benchmark::State& state) {
    Event event;
    for (auto unused : state) {
        event.set();
        benchmark::DoNotOptimize(event.wait());
    }
}
BENCHMARK_TEMPLATE(EventSetThenWait, JEvent);
BENCHMARK_TEMPLATE(EventSetThenWait, StdEvent);

/** A signal to another thread, and one back. */
template <class Event>
void EventRoundTrip(benchmark::State& state) {
    Event there;
    Event back;
    bool stop = false;
    std::thread other([&] {
        for (;;) {
            there.wait();
            if (stop) return;
            back.set();
        }
    });
    for (auto unused : state) {
        there.set();
        back.wait();
    }
    stop = true;
    there.set();
    other.join();
}
BENCHMARK_TEMPLATE(EventRoundTrip, JEvent)->UseRealTime();
BENCHMARK_TEMPLATE(EventRoundTrip, StdEvent)->UseRealTime();

// ---- thread ----

void ThreadCreateAndJoin_JThread(benchmark::State& state) {
    for (auto unused : state) {
        JThread thread;
        thread.start();
        thread.join();
    }
}
BENCHMARK(ThreadCreateAndJoin_JThread)->UseRealTime();

void ThreadCreateAndJoin_StdThread(benchmark::State& state) {
    for (auto unused : state) std::thread([] {}).join();
}
BENCHMARK(ThreadCreateAndJoin_StdThread)->UseRealTime();

void ThreadCurrent_JThread(benchmark::State& state) {
    for (auto unused : state) benchmark::DoNotOptimize(JThread::currentThread());
}
BENCHMARK(ThreadCurrent_JThread);

void ThreadCurrent_PthreadSelf(benchmark::State& state) {
    for (auto unused : state) benchmark::DoNotOptimize(pthread_self());
}
BENCHMARK(ThreadCurrent_PthreadSelf);

// ---- queue: so many items in, then all of them out; the items themselves are not copied ----

void QueuePutAndGet_JQueue(benchmark::State& state) {
    JInteger item(1);
    JQueue queue(1000);
    for (auto unused : state) {
        for (long i = 0; i < state.range(0); i++) queue.adopt(&item);
        for (long i = 0; i < state.range(0); i++) benchmark::DoNotOptimize(queue.get());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(QueuePutAndGet_JQueue)->Arg(1)->Arg(100)->Arg(10000);

void QueuePutAndGet_StdDeque(benchmark::State& state) {
    JInteger item(1);
    std::deque<JObject*> queue;
    for (auto unused : state) {
        for (long i = 0; i < state.range(0); i++) queue.push_back(&item);
        for (long i = 0; i < state.range(0); i++) {
            benchmark::DoNotOptimize(queue.front());
            queue.pop_front();
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(QueuePutAndGet_StdDeque)->Arg(1)->Arg(100)->Arg(10000);

/** As applications put items: the queue keeps a copy, and who takes it out deletes it. */
void QueueCopyAndGet_JQueue(benchmark::State& state) {
    JInteger item(1);
    JQueue queue(1000);
    for (auto unused : state) {
        for (long i = 0; i < state.range(0); i++) queue.put(item);
        for (long i = 0; i < state.range(0); i++) delete queue.get();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(QueueCopyAndGet_JQueue)->Arg(100);

void QueueCopyAndGet_StdDeque(benchmark::State& state) {
    JInteger item(1);
    std::deque<std::unique_ptr<JObject>> queue;
    for (auto unused : state) {
        for (long i = 0; i < state.range(0); i++) queue.emplace_back(item.clone());
        for (long i = 0; i < state.range(0); i++) queue.pop_front();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(QueueCopyAndGet_StdDeque)->Arg(100);

}  // namespace
