#include "thread/JThread.h"

#include <signal.h>
#include <utility>

#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/ObjectBlock.h"
#include "thread/detail/ThreadControl.h"
#include "thread/JThreadInit.h"

using jay::detail::CancelOff;
using jay::detail::ObjectBlock;
using jay::detail::ThreadControl;

namespace {

enum State { CONSTRUCTING = 0, WAITING = 1, RUNNING = 2, ABANDONED = 3, FINISHED = 4 };

/** Runs as the last thing of a thread's body, also when the thread is cancelled and unwound. */
class BodyEnd {
public:
    BodyEnd(std::shared_ptr<ThreadControl> control, std::atomic<bool>& alive)
        : control_(std::move(control)), alive_(alive) {}
    ~BodyEnd() {
        if (!control_->ownerGone()) alive_ = false;  // else the thread object went on this very thread
        control_->markEnded();
    }
    BodyEnd(const BodyEnd&) = delete;
    BodyEnd& operator=(const BodyEnd&) = delete;

private:
    std::shared_ptr<ThreadControl> control_;
    std::atomic<bool>& alive_;
};

}  // namespace

const JClass JThread::classJThread = {"JThread", sizeof(JThread), &JObject::classJObject};

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
      control(std::make_shared<ThreadControl>(ThreadControl::CREATED)),
      block(ObjectBlock::adopt(this)) {
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
      control(JThreadInit::controlOf(foreignHandle, foreignId)),
      block(ObjectBlock::adopt(this)) {
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
    // A failing pthread_create may have written a handle already, so it works on a copy: the fields then stay
    // 0.
    pthread_t created{};
    if (pthread_create(&created, nullptr, proc, this) != 0) return false;
    control->setHandle(created);
    handle = created;
    id = created;
    alive = true;
    return true;
}

void* JThread::proc(void* object) {
    auto* self = static_cast<JThread*>(object);
    BodyEnd end(self->control, self->alive);

    self->startEvent.wait();
    int expected = WAITING;
    if (!self->state.compare_exchange_strong(expected, RUNNING)) return nullptr;  // abandoned meanwhile

    const std::shared_ptr<ThreadControl> control = self->control;
    if (self->runnable != nullptr) {
        self->runnable->run();
    } else {
        self->run();
    }
    if (control->ownerGone()) return nullptr;  // run() deleted its own thread object

    self->alive = false;
    self->state = FINISHED;
    // The end of the process may be about to delete this object too: one of the two does it.
    if (self->autoDelete && !self->deletionClaimed.exchange(true)) delete self;
    return nullptr;
}

JThread::~JThread() {
    const CancelOff off;
    deletionClaimed = true;
    if (id == JThreadInit::_tid) {
        JThreadInit::remove(this);  // only so that the registry never lends out a dead object
        return;
    }
    if (handle != 0) stopThread();
    if (autoDelete) delete runnable;
    if (JThreadInit::remove(this)) JThreadInit::countRemoval();
}

/** A thread that was never started ends without running anything. */
void JThread::abandon() {
    int expected = WAITING;
    if (state.compare_exchange_strong(expected, ABANDONED)) startEvent.notify();
}

void JThread::finish() {
    abandon();
    join();
}

void JThread::stopThread() {
    abandon();
    if (control->isCallingThread()) {
        // Deleted on its own thread. A running one is cancelled as any other, but not while it ends the
        // process.
        if (alive && !JThreadInit::unloading) control->cancel();
        control->releaseOwner();
        return;
    }
    if (alive) control->cancel();
    if (!control->joinWithin(JThreadInit::patience())) {
        JThreadInit::threadRemains = true;
        if (block != nullptr) block->keep();
    }
}

void JThread::run() {
}

const JClass* JThread::getClass() const {
    return &classJThread;
}

void JThread::start() {
    if (state == WAITING) startEvent.notify();
}

int JThread::join(int) {
    if (!alive) return 0;
    const std::shared_ptr<ThreadControl> kept = control;  // the object may delete itself meanwhile
    return kept->join();
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
    return JSystem::sleep(ms);
}

JThread* JThread::currentThread() {
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

void* JThread::operator new(std::size_t size) {
    return ObjectBlock::allocate(size);
}
void* JThread::operator new(std::size_t, void* place) noexcept {
    return place;
}
void JThread::operator delete(void* object) {
    ObjectBlock::release(object);
}
void JThread::operator delete(void*, void*) noexcept {
}

// ---- self-check ----

namespace {

void countDown() {
    JThread::sleep(1000);
    for (int i = 2; i >= 0; i--) {
        JSystem::printf("JTestRunnable(%d)\n", i);
        if (i > 0) JThread::sleep(1000);
    }
}

class JTestThread : public JThread {
public:
    ~JTestThread() override { join(); }
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
