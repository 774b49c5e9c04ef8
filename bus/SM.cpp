#include "bus/SM.h"

#include <memory>

#include "bus/CM.h"
#include "bus/MQ.h"
#include "bus/SA.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::ScopedLock;

namespace {

constexpr int LOOK_UP_MS = 1000;    ///< how long the loop sleeps at most before it looks at the stop flag
constexpr int LISTEN_POLL_MS = 10;  ///< between two looks whether the listener listens
constexpr int NOT_YET = -1;         ///< the listener has not said whether it listens

bool isClient(int client) {
    return static_cast<unsigned>(client) < static_cast<unsigned>(SM::MAX_CLIENTS);
}

}  // namespace

SM::SM(int listenPort)
    : mq(new MQ(this)),
      cm(nullptr),
      slots{},
      stopFlag(false),
      in(0),
      out(0),
      port(listenPort),
      listenResult(NOT_YET),
      localOnly(false) {
    event.setAutoReset(true);  // it only wakes a loop that looks at its queue anyway
}

SM::~SM() {
    const jay::detail::CancelOff off;
    stop();
    stopThreads();
    for (SA*& slot : slots) {
        SA* agent = nullptr;
        {
            const ScopedLock guard(slotLock);
            agent = slot;
            slot = nullptr;
        }
        delete agent;  // with no lock held: it waits for two threads
    }
    delete mq;
    delete cm.load();
}

/**
 * The routing loop and the listener are over before anything that they use goes: the listener may be waiting
 * inside an agent. Neither wait is long: both have been told to stop and sleep nowhere for more than a
 * moment.
 */
void SM::stopThreads() {
    finish();
    CM* listener = cm;
    if (listener != nullptr) listener->stop();
    forEachAgent([](SA& agent) { agent.stopReader(); });
    if (listener != nullptr) listener->join();
    // All are told before the first is waited for.
    forEachAgent([](SA& agent) { agent.stopReader(); });
    forEachAgent([](SA& agent) {
        agent.endReader();
        agent.stop();
    });
}

template <class Action>
void SM::forEachAgent(Action action) {
    for (int client = 0; client < MAX_CLIENTS; client++) {
        if (SA* agent = agentAt(client)) action(*agent);
    }
}

void SM::run() {
    cm = new CM(this, port);
    cm.load()->start();
    while (!stopFlag) {
        if (mq->isEmpty()) event.wait(LOOK_UP_MS);
        if (stopFlag) break;
        if (M* m = mq->get()) route(m);
    }
    JSystem::debug("SM>> stop SM(in:%d, out:%d)\n", in.load(), static_cast<int>(out.load()));
}

void SM::route(M* message) {
    std::unique_ptr<M> m(message);
    int dest = m->getDestId();
    const int src = m->getSrcId();
    const int flag = m->getFlag();
    const int priority = m->getPriority();
    const auto number = static_cast<int>(out.load());

    if ((flag & M::M_FLAG_SYNC) != 0) {
        dest = 0;  // the message itself keeps its destination
    } else if (!isClient(dest)) {
        JSystem::debug("SM>> error dest id = %d\n", dest);
        return;
    }
    // The order of the tests is kept: a SYNC broadcast is a broadcast, and a broadcast, too, needs a
    // destination below 32.
    if ((flag & M::M_FLAG_BROADCAST) != 0) {
        JSystem::debug("SM>> q%d(%d) : ALL <-- %d\n", priority, number, src);
        broadcast(*m);
    } else {
        agentFor(dest)->adopt(m.release());
        JSystem::debug("SM>> q%d(%d) : %d <-- %d\n", priority, number, dest, src);
    }
    out.store(out.load(std::memory_order_relaxed) + 1,
              std::memory_order_relaxed);  // no other thread counts it
}

void SM::broadcast(M& m) {
    const int src = m.getSrcId();
    for (int client = 0; client < MAX_CLIENTS; client++) {
        SA* agent = client != src ? agentAt(client) : nullptr;
        if (agent == nullptr || !agent->active()) continue;
        m.setDestId(client);
        m.setFlag(0);
        agent->add(m);
    }
}

void SM::add(M& m) {
    adopt(new M(m));
}

void SM::adopt(M* m) {
    if (m->size() > M::MAX_SIZE) {
        delete m;  // its length does not fit the header: no client could read on behind it
        return;
    }
    in.fetch_add(1, std::memory_order_relaxed);
    mq->adopt(m);
}

int SM::set(int client, JSocket* socket) {
    return isClient(client) ? agentFor(client)->set(socket) : 0;
}

/** The agent of a client, null if there is none. Agents live as long as the manager. */
SA* SM::agentAt(int client) {
    const ScopedLock guard(slotLock);
    return slots[client];
}

/** The agent of a client, made and started if there is none. */
SA* SM::agentFor(int client) {
    const ScopedLock guard(slotLock);
    if (slots[client] == nullptr) {
        slots[client] = new SA(this, client);
        slots[client]->start();
    }
    return slots[client];
}

int SM::notify() {
    return event.set();
}

void SM::stop() {
    stopFlag = true;
    notify();
}

void SM::setLocalOnly(bool on) {
    localOnly = on;
}

SM::Status SM::status() {
    Status status;
    status.in = in;
    status.out = static_cast<int>(out.load());
    status.waiting = mq->size();
    for (int client = 0; client < MAX_CLIENTS; client++) {
        if (SA* agent = agentAt(client)) agent->tell(status.clients[client]);
    }
    return status;
}

/** Called by the listener once it knows. */
void SM::listening(int error) {
    listenResult = error;
}

int SM::waitUntilListening(int ms) {
    const long long deadline = JSystem::getMilliseconds() + ms;
    while (listenResult == NOT_YET && JSystem::getMilliseconds() < deadline) JSystem::sleep(LISTEN_POLL_MS);
    return listenResult;
}
