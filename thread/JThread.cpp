#include "thread/JThread.h"

#include <cstdio>
#include <signal.h>
#include <utility>

#include "thread/detail/CancelOff.h"
#include "thread/detail/PosixThread.h"
#include "thread/detail/ProcessEnd.h"
#include "thread/detail/Registry.h"
#include "thread/detail/Sleep.h"
#include "thread/JThreadInit.h"

using jay::detail::CancelOff;
using jay::detail::PosixThread;
using jay::detail::ProcessEnd;
using jay::detail::Registry;
using jay::detail::sleepFor;

namespace {

enum State { CONSTRUCTING = 0, WAITING = 1, RUNNING = 2, ABANDONED = 3, FINISHED = 4 };

/** The last act of a created thread, also when it is cancelled and unwound. */
class BodyEnd {
public:
    BodyEnd(std::shared_ptr<PosixThread> posix, std::atomic<bool>& alive)
        : posix_(std::move(posix)), alive_(alive) {}
    ~BodyEnd() {
        if (!posix_->isReleased())
            alive_ = false;  // else the thread object was destroyed on this very thread
        PosixThread::end(posix_);
    }
    BodyEnd(const BodyEnd&) = delete;
    BodyEnd& operator=(const BodyEnd&) = delete;

private:
    const std::shared_ptr<PosixThread> posix_;
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
      posix(std::make_shared<PosixThread>(PosixThread::LIBRARY)) {
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
      posix(Registry::recordOf(foreignHandle)) {
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
    try {
        Registry::add(this, posix);
    } catch (const std::bad_alloc&) {
        const CancelOff off;
        if (!adopted) stopThread();  // it waits for its start in this object, which is going to be destroyed
        throw;
    }
}

/** For the registry, which holds its lock: an adopted object stands for another foreign thread from now on. */
void JThread::takeOver(const std::shared_ptr<PosixThread>& thread) {
    handle = thread->handle();
    id = thread->handle();
    autoDelete = false;
    interrupted_ = false;
    posix = thread;
}

bool JThread::createThread() {
    // A failing pthread_create may write a handle all the same, so it works on a copy.
    pthread_t created{};
    if (pthread_create(&created, nullptr, proc, this) != 0) return false;
    posix->setHandle(created);
    handle = created;
    id = created;
    alive = true;
    return true;
}

// ---- the body ----

void* JThread::proc(void* object) {
    auto* const self = static_cast<JThread*>(object);
    const std::shared_ptr<PosixThread> posix = self->posix;
    const BodyEnd end(posix, self->alive);
    PosixThread::attach(posix);  // without memory for that, look-ups go through the registry

    self->startEvent.wait();
    int expected = WAITING;
    if (!self->state.compare_exchange_strong(expected, RUNNING)) return nullptr;  // abandoned meanwhile
    self->runBody();

    const CancelOff off;                      // destructors follow
    if (posix->isReleased()) return nullptr;  // run() deleted its own thread object
    self->alive = false;
    self->state = FINISHED;
    if (self->autoDelete && Registry::claim(self)) delete self;
    return nullptr;
}

void JThread::runBody() {
    if (runnable != nullptr) {
        runnable->run();
    } else {
        run();
    }
}

// ---- destruction ----

JThread::~JThread() {
    const CancelOff off;
    Registry::claim(this);
    const bool isMainThread = adopted && id == JThreadInit::_tid;
    if (!isMainThread) {
        if (handle != 0) stopThread();
        if (autoDelete) delete runnable;
    }
    Registry::remove(this);
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

/** Cancels the thread and waits for it, unless it is the calling one. */
void JThread::stopThread() {
    abandon();
    if (!posix->isCallingThread()) {
        if (alive) posix->cancel();
        posix->waitForEnd(ProcessEnd::patience());
        ProcessEnd::holdMainThread();
        return;
    }
    // A running thread that destroys its own object is cancelled as any other, but not while it ends the process.
    if (alive && !ProcessEnd::hasBegun()) posix->cancel();
    if (!adopted) posix->release();
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
    // A copy: the object may delete itself meanwhile.
    const std::shared_ptr<PosixThread> thread = Registry::recordOf(*this);
    const int result = alive ? thread->join(ProcessEnd::patience()) : 0;
    ProcessEnd::holdMainThread();
    return result;
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
    const PosixThread* const posix = PosixThread::current();
    JThread* const object = posix != nullptr ? posix->object.load(std::memory_order_acquire) : nullptr;
    return object != nullptr ? object : JThreadInit::currentThread()->thread;
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
    return Registry::allocate(size);
}
void* JThread::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return Registry::allocate(size);
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
    Registry::release(object);
}
void JThread::operator delete(void* object, const std::nothrow_t&) noexcept {
    Registry::release(object);
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
