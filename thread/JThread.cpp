#include "thread/JThread.h"

#include <cerrno>
#include <cstdio>
#include <signal.h>

#include "thread/detail/CancelOff.h"
#include "thread/detail/ScopedLock.h"
#include "thread/detail/Sleep.h"
#include "thread/detail/ThreadControl.h"
#include "thread/JThreadInit.h"

using jay::detail::CancelOff;
using jay::detail::ScopedLock;
using jay::detail::sleepFor;
using jay::detail::ThreadControl;

namespace {

enum State { CONSTRUCTING = 0, WAITING = 1, RUNNING = 2, ABANDONED = 3, FINISHED = 4 };

/** The last thing of a thread's body, also when the thread is cancelled and unwound. */
class BodyEnd {
public:
    BodyEnd(ThreadControl& control, std::atomic<bool>& alive) : control_(control), alive_(alive) {}
    ~BodyEnd() {
        if (!control_.ownerGone()) alive_ = false;  // else the thread object went on this very thread
        control_.markEnded();
    }
    BodyEnd(const BodyEnd&) = delete;
    BodyEnd& operator=(const BodyEnd&) = delete;

private:
    ThreadControl& control_;
    std::atomic<bool>& alive_;
};

}  // namespace

const JClass JThread::classJThread = {"JThread", sizeof(JThread), &JObject::classJObject};

// ---- construction ----

JThread::JThread() : JThread(static_cast<JRunnable*>(nullptr)) {
}

JThread::JThread(JRunnable* target)
    : handle(0),
      id(0),
      runnable(nullptr),
      alive(false),
      autoDelete(false),
      interrupted_(false),
      state(CONSTRUCTING),
      adopted(false),
      control(std::make_shared<ThreadControl>()) {
    initialize(target);
}

JThread::JThread(unsigned long foreignHandle, unsigned long foreignId)
    : handle(foreignHandle),
      id(foreignId),
      runnable(nullptr),
      alive(true),
      autoDelete(false),
      interrupted_(false),
      state(CONSTRUCTING),
      adopted(true),
      control(JThreadInit::controlOf(foreignHandle)) {
    initialize(nullptr);
}

void JThread::initialize(JRunnable* target) {
    autoDelete = false;
    interrupted_ = false;
    runnable = target;
    state = WAITING;
    if (alive) {
        state = RUNNING;
    } else if (!createThread()) {
        return;
    }
    JThreadInit::add(this);
}

bool JThread::createThread() {
    // A failing pthread_create may write a handle all the same, so it works on a copy.
    pthread_t created{};
    if (pthread_create(&created, nullptr, proc, this) != 0) return false;
    control->setHandle(created);
    handle = created;
    id = created;
    alive = true;
    return true;
}

// ---- the body ----

void* JThread::proc(void* object) {
    auto* const self = static_cast<JThread*>(object);
    const std::shared_ptr<ThreadControl> control = self->control;
    const BodyEnd end(*control, self->alive);

    self->startEvent.wait();
    int expected = WAITING;
    if (!self->state.compare_exchange_strong(expected, RUNNING)) return nullptr;  // abandoned meanwhile

    if (self->runnable != nullptr) {
        self->runnable->run();
    } else {
        self->run();
    }

    const CancelOff off;                       // destructors follow
    if (control->ownerGone()) return nullptr;  // run() deleted its own thread object
    self->alive = false;
    self->state = FINISHED;
    // The end of the process may be about to delete this object too: one of the two does it.
    if (self->autoDelete && !self->deletionClaimed.exchange(true)) delete self;
    return nullptr;
}

// ---- destruction ----

JThread::~JThread() {
    const CancelOff off;
    deletionClaimed = true;
    const bool isMainThread = adopted && id == JThreadInit::_tid;
    if (!isMainThread) {
        if (handle != 0) stopThread();
        if (autoDelete) delete runnable;
    }
    JThreadInit::remove(this);
}

/** A thread that was never started ends without running anything. */
void JThread::abandon() {
    int expected = WAITING;
    if (state.compare_exchange_strong(expected, ABANDONED)) startEvent.notify();
}

void JThread::finish() {
    if (!started) abandon();
    join();
}

/** Cancels the thread and waits for it, unless it is the calling one. False if it goes on all the same. */
bool JThread::stopThread() {
    abandon();
    const std::shared_ptr<ThreadControl> thread = sharedControl();
    if (!thread->isCallingThread()) {
        if (alive) thread->cancel();
        const int result = thread->join(JThreadInit::patience());
        JThreadInit::holdMainThread();
        return result == 0;
    }
    // A running thread that destroys its own object is cancelled as any other, but not while it ends the
    // process.
    if (alive && !JThreadInit::unloading) thread->cancel();
    if (!adopted) thread->releaseOwner();
    return true;
}

std::shared_ptr<ThreadControl> JThread::sharedControl() {
    const ScopedLock lock(*JThreadInit::_sync);
    return control;
}

// ---- operations ----

void JThread::run() {
}

const JClass* JThread::getClass() const {
    return &classJThread;
}

void JThread::start() {
    if (state != WAITING) return;
    started = true;
    startEvent.notify();
}

int JThread::join(int) {
    const int result = alive ? waitForEnd() : 0;
    JThreadInit::holdMainThread();
    return result;
}

int JThread::waitForEnd() {
    const std::shared_ptr<ThreadControl> thread = sharedControl();  // the object may delete itself meanwhile
    const int result = thread->join(JThreadInit::patience());
    if (result != ETIMEDOUT) return result;
    thread->cancel();  // the process ends
    return thread->join(JThreadInit::patience());
}

int JThread::join() {
    return join(-1);
}

bool JThread::isAlive() {
    return alive;
}

unsigned long JThread::getId() {
    return id;
}

pthread_t JThread::getHandle() {
    return handle;
}

void JThread::setAutoDelete(bool on) {
    autoDelete = on;
}

int JThread::sleep(int ms) {
    return sleepFor(ms / 1000, ms % 1000 * 1000);
}

JThread* JThread::currentThread() {
    const ScopedLock lock(*JThreadInit::_sync);
    return JThreadInit::currentThread()->thread;
}

int JThread::interrupt() {
    JThread* self = currentThread();
    self->interrupted_ = true;
    return pthread_kill(pthread_self(), SIGHUP);
}

bool JThread::interrupted() {
    return currentThread()->interrupted_;
}

// ---- storage ----

void* JThread::operator new(std::size_t size) {
    return JThreadInit::allocate(size);
}
void* JThread::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return JThreadInit::allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* JThread::operator new(std::size_t size, std::align_val_t alignment) {
    return ::operator new(size, alignment);
}
void* JThread::operator new(std::size_t, void* place) noexcept {
    return place;
}
void JThread::operator delete(void* object) {
    JThreadInit::release(object);
}
void JThread::operator delete(void* object, const std::nothrow_t&) noexcept {
    JThreadInit::release(object);
}
void JThread::operator delete(void* object, std::align_val_t alignment) {
    ::operator delete(object, alignment);
}
void JThread::operator delete(void*, void*) noexcept {
}

// ---- self-check ----

namespace {

void countDown() {
    JThread::sleep(1000);
    for (int i = 2; i >= 0; i--) {
        char line[32];
        std::snprintf(line, sizeof line, "JTestRunnable(%d)\n", i);
        std::fputs(line, stderr);  // vfprintf stops the unwinding of a cancelled thread on ARM
        if (i > 0) JThread::sleep(1000);
    }
}

class JTestThread : public JThread {
public:
    ~JTestThread() override { finish(); }
    void run() override { countDown(); }
};

class JTestRunnable : public JRunnable {
public:
    void run() override { countDown(); }
};

}  // namespace

void JThread::Test() {
    JTestRunnable target;
    JTestThread own;
    JThread first(&target);
    JThread second(&target);
    own.start();
    first.start();
    second.start();
    sleep(6000);
}
