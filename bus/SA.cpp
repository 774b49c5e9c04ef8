#include "bus/SA.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "bus/detail/Broadcast.h"
#include "bus/detail/Burst.h"
#include "bus/detail/Connection.h"
#include "bus/detail/Outbox.h"
#include "bus/LQ.h"
#include "bus/SM.h"
#include "net/JSocket.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/Monotonic.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::Broadcast;
using jay::detail::Burst;
using jay::detail::Connection;
using jay::detail::monotonicMilliseconds;
using jay::detail::Outbox;
using jay::detail::ScopedLock;
using jay::detail::ScopedTryLock;

const JClass SA::classSA = {"SA", sizeof(SA), &JObject::classJObject};

namespace {

constexpr int LONGEST_WAIT_S = 1000000;  ///< of an agent, before it looks whether a deadline is over
constexpr int PACE_MS = 100;             ///< between two steps while not connected
constexpr int ASK_AGAIN_MS = 30000;      ///< between two requests to client 0
constexpr int CLOSED_MS = 3000;          ///< from the loss of a connection to the next request
constexpr int REPLACE_POLL_MS = 10;      ///< while a new connection waits for the former one
constexpr int BURST_SIZE = 8192;         ///< bytes that the sending loop sends at once
constexpr int BURSTS_AT_ONCE = 4;        ///< of one client before the manager goes on to the others

/** Connections that outlive their agents (see ~SA): remembered for as long as they are open. */
void leaveOpen(JSocket* socket) {
    static std::mutex mutex;
    static auto* open =
        new std::vector<JSocket*>;  // never destroyed: the sockets stay open until the process ends
    const std::lock_guard<std::mutex> guard(mutex);
    open->push_back(socket);
}

}  // namespace

// ---- life ----

SA::SA(SM* manager, int clientId)
    : id(clientId),
      stopFlag(false),
      lq(new LQ(this)),
      sm(manager),
      socket(new Connection),
      in(0),
      out(0),
      state(ABSENT),
      timedStamp(0),
      reader(new SAReader(this)),
      outbox(new Outbox(*lq)),
      held(false) {
    event.setAutoReset(true);  // it only wakes a loop that looks at its queue anyway
    reader->start();
}

SA::~SA() {
    const jay::detail::CancelOff off;
    endReader();
    stop();
    finish();
    // Of a client that is connected, the reader's end counts as the loss: if the agent's thread did not come
    // to the closing, it is done here. A client given up after a TIMED message was not lost.
    const bool givenUp = state == ABSENT || state == ASKED;
    if (givenUp && socket->get() != nullptr && socket->get()->isConnected()) leaveOpen(socket->release());
    delete lq;
}

const JClass* SA::getClass() const {
    return &classSA;
}

/** Tells the reader to end and ends the waits of both threads on the client, which does not notice. */
void SA::stopReader() {
    reader->stop();
    socket->wakeUp();
}

void SA::endReader() {
    stopReader();
    reader->join();
}

void SA::stop() {
    stopFlag = true;
    notify();
}

int SA::notify() {
    return event.set();
}

// ---- the queue ----

void SA::add(M& m) {
    adoptQuietly(new M(m));
    notify();
}

void SA::adoptQuietly(M* m) {
    in.fetch_add(1, std::memory_order_relaxed);
    lq->adoptQuietly(m);
}

void SA::adoptQuietly(const std::vector<Broadcast*>& broadcasts) {
    in.fetch_add(static_cast<int>(broadcasts.size()), std::memory_order_relaxed);
    lq->adoptQuietly(broadcasts, id);
}

// Without the lock: a client that does not read must not stop the manager, which asks here, for the length of
// a write.
bool SA::active() {
    return state == CONNECTED;
}

int SA::reqid() {
    M* first = lq->peek();
    return first != nullptr ? first->getSrcId() : id;
}

void SA::sync() {
    M request;
    request.setSrcId(reqid());
    request.setDestId(id);
    request.setFlag(M::M_FLAG_SYNC);
    sm->add(request);
}

// ---- the sending loop ----

void SA::run() {
    long long deadline = 0;
    int stepped = NO_STATE;
    while (!stopFlag) {
        const bool waiting = !lq->isEmpty();
        if (state == stepped)
            awaitStep(waiting, deadline);  // a state is looked at once before it is waited in
        held = false;
        if (stopFlag) break;
        stepped = state;
        step(waiting, deadline);
        if (state == CONNECTED) continue;
        JSystem::sleep(PACE_MS);
    }
    JSystem::debug("SA(%d)>> stop (in:%d, out:%d)\n", id, in.load(), out);
}

/** Waits until there may be something to do: nothing wakes an agent without a reason. */
void SA::awaitStep(bool waiting, long long deadline) {
    switch (state) {
        case ABSENT:
            if (!waiting) event.wait();
            break;
        case CLOSED:
            if (socket->get() != nullptr)
                break;  // destroyed at the usual pace, as soon as the reader has let go of it
            awaitDeadline(deadline);
            break;
        case ASKED:
            awaitDeadline(deadline);
            break;
        case CONNECTED:
            if (waiting && !held) break;
            if (timedStamp > 0) {
                awaitDeadline(timedStamp);
            } else {
                event.wait();
            }
            break;
        default:
            break;
    }
}

/** Until the moment is over or the event is set. In whole seconds, which are all that an event counts exactly. */
void SA::awaitDeadline(long long deadline) {
    constexpr int SECOND_MS = 1000;
    const long long left = deadline - monotonicMilliseconds();
    if (left >= 0)
        event.wait(static_cast<int>(std::min<long long>(left / SECOND_MS, LONGEST_WAIT_S) + 1) * SECOND_MS);
}

/**
 * One round of the state machine.
 * @param waiting whether messages waited when the round began.
 * @param deadline when the present state of waiting is over, on the steady clock.
 */
void SA::step(bool waiting, long long& deadline) {
    const ScopedLock guard(lock);
    switch (state) {
        case ABSENT:
            if (waiting) ask(deadline);
            break;
        case ASKED:
            if (monotonicMilliseconds() > deadline) state = ABSENT;
            break;
        case CONNECTED:
            if (!outbox->hasRest() && expired()) {
                timedStamp = 0;
                ask(deadline);
                JSystem::debug("SA(%d)>> timed expire sync...\n", id);
            } else {
                sendNext();
            }
            break;
        case LOST:
            closeStep();
            deadline = monotonicMilliseconds() + CLOSED_MS;
            break;
        case CLOSED:
            if (closeStep() && monotonicMilliseconds() > deadline) state = ABSENT;
            break;
        default:
            break;
    }
}

void SA::ask(long long& deadline) {
    sync();
    deadline = monotonicMilliseconds() + ASK_AGAIN_MS;
    state = ASKED;
}

bool SA::expired() const {
    const long long expiry = timedStamp;
    return expiry > 0 && monotonicMilliseconds() > expiry;
}

void SA::sendNext() {
    if (!outbox->hasRest() && lq->isEmpty()) return;
    JSocket* const to = socket->get();
    if (to != nullptr && !outbox->hasRest() && offerBurst(*to)) return;
    if (outbox->hasRest()) {
        sent(outbox->sendRest(*to));
        return;
    }
    // The reader is about to find the end. A write that fails would close the connection before it has read up to there.
    held = to != nullptr && to->isPeerClosed();
    if (held) return;
    const std::unique_ptr<M> m(lq->get());
    if (m == nullptr) return;
    if ((m->getFlag() & M::M_FLAG_TIMED) != 0) startTimer(*m);
    if (to != nullptr) sent(Outbox::send(*to, *m));
}

/**
 * True when the client has taken a burst whole. A function of its own, so that a thread which never sends does not touch the
 * memory of the room on its stack.
 */
[[gnu::noinline]] bool SA::offerBurst(JSocket& to) {
    char room[BURST_SIZE];
    Burst burst(room, sizeof room);
    return outbox->offer(to, burst) != Outbox::NOTHING_TAKEN && !outbox->hasRest();
}

/** @param result of a write: a message that could not be sent whole is lost, and the connection with it. */
void SA::sent(int result) {
    if (result == 0) return;
    state = LOST;
    logLostMessage();
}

void SA::logLostMessage() const {
    JSystem::debug("SA(%d)>> error send message!!!\n", id);
}

// In the other states the agent looks at its queue when it gets out of them.
void SA::deliver(Burst& burst) {
    if (deliverAtOnce(burst)) return;
    const int now = state;
    if (now == CONNECTED || now == ABSENT) notify();
}

/** False when something is left for the sending loop. */
bool SA::deliverAtOnce(Burst& burst) {
    const ScopedTryLock guard(lock);
    if (!guard.held() || state != CONNECTED || outbox->hasRest() || expired()) return false;
    JSocket* const to = socket->get();
    return to != nullptr && outbox->offerAll(*to, burst, BURSTS_AT_ONCE);
}

void SA::startTimer(M& m) {
    const long patience = m.getTimestamp();
    if (timedStamp == 0) timedStamp = monotonicMilliseconds() + patience;  // an earlier expiry is not moved
    m.setTimestamp(JSystem::getMilliseconds());
    m.setFlag(m.getFlag() & ~M::M_FLAG_TIMED);
    JSystem::debug("SA(%d)>> timed message = %ld\n", id, patience);
}

// ---- connections ----

// The reader closes the former connection when it has taken what had arrived, without `lock`: a client that does not read
// would hold the new connection up. The loss then drives the states through 3 to 4.
int SA::set(JSocket* s) {
    socket->retire();
    while (!replaceable() || (s != nullptr && !attach(s))) {
        if (stopping()) return 0;
        JSystem::sleep(REPLACE_POLL_MS);
        socket->retire();  // again: another call may have attached its connection meanwhile
    }
    if (s == nullptr) return 0;
    notify();
    reader->notify();
    return 1;
}

bool SA::stopping() {
    return reader->isStopping();
}

bool SA::replaceable() {
    return reader->idle() && state != CONNECTED && state != LOST;
}

/** False when it is not, or no longer, the moment for it. */
bool SA::attach(JSocket* s) {
    const ScopedLock guard(lock);
    // The former socket is closed, but still there if the states have not come to it, or after an unanswered message.
    if (stopping() || !replaceable() || !socket->replace(s)) return false;
    timedStamp = 0;
    outbox->dropRest();
    state = CONNECTED;
    return true;
}

void SA::close() {
    for (;;) {
        {
            const ScopedLock guard(lock);
            if (closeStep() || stopping()) return;  // a reader that ends does not come to rest any more
        }
        JSystem::sleep(PACE_MS);  // without the lock: the reader may need it to come to rest
    }
}

/** False when the reader still holds the socket that is to be destroyed. Called under lock. */
bool SA::closeStep() {
    if (state == CONNECTED) {
        state = LOST;
        notify();
        return true;
    }
    if (pthread_equal(pthread_self(), reader->getHandle()) != 0)
        return true;  // the agent's thread does the rest
    if (state == LOST) {
        socket->close();
        if (outbox->dropRest()) logLostMessage();
        state = CLOSED;
        return true;
    }
    return state != CLOSED || destroySocket();
}

/** False while the reader holds the socket. Called under lock. */
bool SA::destroySocket() {
    const Connection::Removal removal = socket->remove();
    if (removal == Connection::REMOVED) JSystem::debug("SA(%d)>> close socket OK!!!\n", id);
    return removal != Connection::STILL_BORROWED;
}

/** Without `lock`, which is held while a message is written. */
void SA::tell(SM::ClientStatus& status) {
    status.queued = lq->size();
    status.in = in;
    status.state = state;
    socket->getAddress(status.host, sizeof status.host,
                       status.port);  // one given up after a TIMED message is still open
}

// ---- the reader ----

JSocket* SA::borrowSocket() {
    return socket->borrow();
}

bool SA::isRetired() const {
    return socket->isRetired();
}

/** The socket is closed here, without `lock`, if another connection waits: the sending loop may wait for the client. */
void SA::endConnection() {
    if (isRetired()) socket->close();
    close();
}

void SA::giveSocketBack() {
    socket->giveBack();
}

/** All of them come at once: the first is an answer to a TIMED message as good as any. */
void SA::received(std::vector<std::unique_ptr<M>>& messages) {
    if (messages.empty()) return;
    sm->adoptQuietly(messages);
    if (timedStamp != 0) {
        timedStamp = 0;
        JSystem::debug("SA(%d)>> clear timed time-stamp\n", id);
    }
    sm->routeNow();
}
