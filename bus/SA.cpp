#include "bus/SA.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "bus/detail/Burst.h"
#include "bus/detail/MessageReader.h"
#include "bus/LQ.h"
#include "bus/SM.h"
#include "net/JSocket.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/Monotonic.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::Burst;
using jay::detail::MessageReader;
using jay::detail::monotonicMilliseconds;
using jay::detail::ScopedLock;
using jay::detail::ScopedTryLock;

const JClass SA::classSA = {"SA", sizeof(SA), &JObject::classJObject};
const JClass SA::SAReader::classSAReader = {"SAReader", sizeof(SA::SAReader), &JObject::classJObject};

namespace {

constexpr int LOOK_UP_MS = 1000;     ///< how long the agent sleeps at most
constexpr int PACE_MS = 100;         ///< between two steps while not connected
constexpr int ASK_AGAIN_MS = 30000;  ///< between two requests to client 0
constexpr int CLOSED_MS = 3000;      ///< from the loss of a connection to the next request
constexpr int REPLACE_POLL_MS = 10;  ///< while a new connection waits for the former one
constexpr int BURSTS_AT_ONCE = 16;   ///< of one client before the manager goes on to the others

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
      socket(nullptr),
      in(0),
      out(0),
      state(ABSENT),
      timedStamp(0),
      reader(new SAReader(this)) {
    event.setAutoReset(true);  // it only wakes a loop that looks at its queue anyway
    reader->start();
}

SA::~SA() {
    const jay::detail::CancelOff off;
    endReader();
    stop();
    finish();
    delete lq;
    // Of a client that is connected, the reader's end counts as the loss: if the agent's thread did not come
    // to the closing, it is done here. A client given up after a TIMED message was not lost.
    const bool givenUp = state == ABSENT || state == ASKED;
    if (givenUp && socket != nullptr && socket->isConnected()) {
        leaveOpen(socket);
    } else {
        delete socket;
    }
}

const JClass* SA::getClass() const {
    return &classSA;
}

/** Tells the reader to end and ends the waits of both threads on the client, which does not notice. */
void SA::stopReader() {
    reader->stop();
    const ScopedLock guard(socketLock);
    if (socket != nullptr) socket->wakeUp();
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
    while (!stopFlag) {
        const bool waiting = !lq->isEmpty();
        if (!waiting) event.wait(LOOK_UP_MS);
        if (stopFlag) break;
        step(waiting, deadline);
        if (state == CONNECTED) continue;
        JSystem::sleep(PACE_MS);
    }
    JSystem::debug("SA(%d)>> stop (in:%d, out:%d)\n", id, in.load(), out);
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
            if (rest == nullptr && expired()) {
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
    if (rest != nullptr || sendBurst()) {
        sendRest();
        return;
    }
    const std::unique_ptr<M> m(lq->get());
    if (m == nullptr) return;
    if ((m->getFlag() & M::M_FLAG_TIMED) != 0) startTimer(*m);
    if (socket != nullptr) transmit(*m);
}

/**
 * Sends what waits in one write, as far as the system takes it without waiting: what one write each would have done, at
 * the cost of one. What was not begun stays in the queue, where more urgent messages overtake it. False when nothing
 * was taken: then the next message goes alone. Called under lock, which makes its holder the one that takes messages
 * out of the queue.
 */
bool SA::sendBurst() {
    if (socket == nullptr) return false;
    Burst burst;
    if (lq->gather(burst) == 0) return false;
    const int sent = socket->getOutputStream()->offer(burst.bytes(), burst.end(burst.count()));
    if (sent == 0) return false;
    const int begun = burst.begunWithin(sent);
    lq->drop(burst, begun);
    if (sent < burst.end(begun)) rest = std::make_unique<JByte>(burst.bytes(), sent, burst.end(begun) - sent);
    return true;
}

void SA::sendRest() {
    if (const std::unique_ptr<JByte> bytes = std::move(rest)) write(*bytes);
}

void SA::deliver() {
    if (!deliverAtOnce()) notify();
}

/** False when something is left for the sending loop. */
bool SA::deliverAtOnce() {
    const ScopedTryLock guard(lock);
    if (!guard.held() || state != CONNECTED || rest != nullptr || expired()) return false;
    // A client that takes a long queue as fast as it is sent would keep the manager from all others.
    for (int i = 0; i < BURSTS_AT_ONCE && sendBurst() && rest == nullptr; i++) {
    }
    return rest == nullptr && lq->isEmpty();
}

void SA::startTimer(M& m) {
    const long patience = m.getTimestamp();
    if (timedStamp == 0) timedStamp = monotonicMilliseconds() + patience;  // an earlier expiry is not moved
    m.setTimestamp(JSystem::getMilliseconds());
    m.setFlag(m.getFlag() & ~M::M_FLAG_TIMED);
    JSystem::debug("SA(%d)>> timed message = %ld\n", id, patience);
}

void SA::transmit(M& m) {
    JByte bytes = m.toByteArray();
    write(bytes);
}

void SA::write(JByte& bytes) {
    if (socket->getOutputStream()->write(bytes, 0, bytes.size()) == 0) return;
    state = LOST;  // the message is lost with the connection
    JSystem::debug("SA(%d)>> error send message!!!\n", id);
}

// ---- connections ----

int SA::set(JSocket* s) {
    closeFormer();
    while (!replaceable() || (s != nullptr && !attach(s))) {
        if (stopping()) return 0;
        JSystem::sleep(REPLACE_POLL_MS);
        closeFormer();  // again: another call may have attached its connection meanwhile
    }
    if (s == nullptr) return 0;
    notify();
    reader->notify();
    return 1;
}

/** The loss of the former connection then drives the states through 3 to 4. */
void SA::closeFormer() {
    // Not under `lock`: a former connection whose client does not read would hold the new one up.
    const ScopedLock guard(socketLock);
    if (socket != nullptr) socket->close();
}

bool SA::stopping() {
    return reader->stopFlag != 0;
}

bool SA::replaceable() {
    return reader->idle() && state != CONNECTED && state != LOST;
}

/** False when it is not, or no longer, the moment for it. */
bool SA::attach(JSocket* s) {
    JSocket* former = s;
    {
        const ScopedLock guard(lock);
        const ScopedLock socketGuard(socketLock);  // the reader borrows the socket under this one
        if (stopping() || !replaceable()) return false;
        std::swap(socket, former);
        timedStamp = 0;
        rest.reset();
        state = CONNECTED;
    }
    // Closed, but still here if the states have not come to it, or after an unanswered message.
    delete former;
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
        if (socket != nullptr) socket->close();
        state = CLOSED;
        return true;
    }
    return state != CLOSED || destroySocket();
}

/** False while the reader holds the socket. Called under lock. */
bool SA::destroySocket() {
    JSocket* closed = nullptr;
    {
        const ScopedLock guard(socketLock);
        if (socket == nullptr) return true;
        if (!reader->idle()) return false;
        closed = socket;
        socket = nullptr;
    }
    delete closed;
    JSystem::debug("SA(%d)>> close socket OK!!!\n", id);
    return true;
}

/** Without `lock`, which is held while a message is written. */
void SA::tell(SM::ClientStatus& status) {
    status.queued = lq->size();
    status.in = in;
    const ScopedLock guard(socketLock);
    status.state = state;
    if (socket == nullptr || !socket->isConnected())
        return;  // one given up after a TIMED message is still open
    std::snprintf(status.host, sizeof status.host, "%s", socket->getHost());
    status.port = socket->getPort();
}

// ---- the reader ----

/** The socket for the reader, which counts as busy from here on; null if there is none. */
JSocket* SA::lendSocket() {
    const ScopedLock guard(socketLock);
    reader->idleFlag = socket == nullptr ? 1 : 0;
    if (socket != nullptr && stopping()) socket->wakeUp();
    return socket;
}

/** The manager is not told yet. */
void SA::received(M* m) {
    sm->adoptQuietly(m);
    if (timedStamp == 0) return;
    timedStamp = 0;
    JSystem::debug("SA(%d)>> clear timed time-stamp\n", id);
}

SA::SAReader::SAReader(SA* owner) : agent(owner), stopFlag(0), idleFlag(1) {
    event.setAutoReset(true);  // however many connections were announced, the newest is read
}

SA::SAReader::~SAReader() = default;

const JClass* SA::SAReader::getClass() const {
    return &classSAReader;
}

void SA::SAReader::run() {
    while (stopFlag == 0) {
        idleFlag = 1;
        event.wait();
        if (stopFlag != 0) break;
        JSocket* from = agent->lendSocket();
        if (from == nullptr) continue;
        readMessages(*from);
        agent->close();
        JSystem::debug("SA(%d)>> disconnected!!!\n", agent->id);
    }
    JSystem::debug("SA(%d)>> terminate SA reader!!!\n", agent->id);
}

/** Reads until the connection is over or this thread is to end. */
void SA::SAReader::readMessages(JSocket& from) {
    SM& manager = *agent->sm;
    bool owed = false;  // the manager is told once of all that came together
    const auto notifyManager = [&] {
        if (owed) manager.notify();
        owed = false;
    };
    MessageReader messages(from, notifyManager);
    std::unique_ptr<M> m;
    while (stopFlag == 0) {
        switch (messages.next(m)) {
            case MessageReader::MESSAGE:
                agent->received(m.release());
                owed = true;
                break;
            case MessageReader::TIMED_OUT:
                break;
            case MessageReader::ENDED:
                notifyManager();  // closed by another thread after the next message had come
                return;
        }
    }
    notifyManager();
}

bool SA::SAReader::idle() {
    return idleFlag != 0;
}

int SA::SAReader::notify() {
    return event.set();
}

void SA::SAReader::stop() {
    stopFlag = 1;
    notify();
}
