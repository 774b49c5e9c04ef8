#include "bus/SM.h"

#include <memory>
#include <utility>

#include "bus/CM.h"
#include "bus/detail/Broadcast.h"
#include "bus/detail/Burst.h"
#include "bus/detail/MessageHeader.h"
#include "bus/detail/Outcome.h"
#include "bus/detail/Turn.h"
#include "bus/MQ.h"
#include "bus/SA.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::Broadcast;
using jay::detail::Burst;
using jay::detail::MessageHeader;
using jay::detail::ScopedLock;

const JClass SM::classSM = {"SM", sizeof(SM), &JObject::classJObject};

namespace {

constexpr int ROUND = 128;                ///< messages that are routed before the agents hear of them
constexpr int READERS_SHARE = 4 * ROUND;  ///< messages that a reader routes before it reads on
constexpr int BURST_SIZE = 65536;         ///< bytes that leave for one client at once
constexpr unsigned ALL = ~0U;             ///< every agent that there is

/** How many bits are set. */
int countOf(unsigned bits) {
    int count = 0;
    for (; bits != 0; bits &= bits - 1) count++;
    return count;
}

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
      listenResult(new jay::detail::Outcome),
      localOnly(false),
      turn(new jay::detail::Turn),
      untold(0),
      receivers(0),
      burstRoom(new char[BURST_SIZE]),
      burst(new Burst(burstRoom.get(), BURST_SIZE)) {
    event.setAutoReset(true);  // it only wakes a loop that looks at its queue anyway
}

SM::~SM() {
    const jay::detail::CancelOff off;
    stop();
    stopThreads();
    for (auto& slot : slots) delete slot.exchange(nullptr);  // with no lock held: it waits for two threads
    delete mq;
    delete cm.load();
}

const JClass* SM::getClass() const {
    return &classSM;
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
    forEachAgent(ALL, [](SA& agent) { agent.stopReader(); });
    if (listener != nullptr) listener->join();
    // All are told before the first is waited for.
    forEachAgent(ALL, [](SA& agent) { agent.stopReader(); });
    forEachAgent(ALL, [](SA& agent) {
        agent.endReader();
        agent.stop();
    });
}

template <class Action>
void SM::forEachAgent(unsigned clients, Action action) {
    for (int client = 0; client < MAX_CLIENTS; client++) {
        SA* agent = (clients >> client & 1U) != 0 ? agentAt(client) : nullptr;
        if (agent != nullptr) action(*agent);
    }
}

void SM::run() {
    cm = new CM(this, port);
    cm.load()->start();
    while (!stopFlag) {
        routeWaiting(true);
        if (!stopFlag) event.wait();
    }
    JSystem::debug("SM>> stop SM(in:%d, out:%d)\n", in.load(), static_cast<int>(out.load()));
}

/**
 * Routes what waits, unless another thread is at it, which then looks once more. What a thread of an agent may not route,
 * it leaves to the manager's own; and so what is beyond its share: while it routes, its client is not read.
 */
void SM::routeWaiting(bool onOwnThread) {
    const jay::detail::CancelOff off;  // nobody else would have the turn any more
    if (!turn->take()) return;
    int share = READERS_SHARE;
    do {
        routeRounds(onOwnThread, share);
        if (!mayRoute(onOwnThread) || share == 0) {
            turn->leave();
            notify();
            return;
        }
    } while (!turn->giveBack());
}

/** A console that does not read must not stop a client's reader: while the log is on, only the manager's own thread routes. */
bool SM::mayRoute(bool onOwnThread) const {
    return !stopFlag && (onOwnThread || !JSystem::_debug);
}

/** @param share how many messages may be routed by a thread of an agent; counted down. */
void SM::routeRounds(bool onOwnThread, int& share) {
    for (int routed = 0; mayRoute(onOwnThread) && share > 0; routed++) {
        std::unique_ptr<M> m(mq->get());
        if (m == nullptr) break;
        route(std::move(m));
        if (!onOwnThread) share--;
        if (routed % ROUND == ROUND - 1) tellAgents();
    }
    tellAgents();
}

/** Gives a message to its agents. */
void SM::route(std::unique_ptr<M> m) {
    const auto [givenDest, src, flag, priority] = MessageHeader::of(*m);
    int dest = givenDest;
    const unsigned number = out.load(std::memory_order_relaxed);  // no other thread counts it

    if ((flag & M::M_FLAG_SYNC) != 0) {
        dest = 0;  // the message itself keeps its destination
    } else if (!isClient(dest)) {
        JSystem::debug("SM>> error dest id = %d\n", dest);
        return;
    }
    // The order of the tests is kept: a SYNC broadcast is a broadcast, and a broadcast, too, needs a
    // destination below 32.
    if ((flag & M::M_FLAG_BROADCAST) != 0) {
        JSystem::debug("SM>> q%d(%d) : ALL <-- %d\n", priority, static_cast<int>(number), src);
        broadcast(std::move(m));
    } else {
        queueBroadcasts();  // they came before
        agentFor(dest)->adoptQuietly(m.release());
        untold |= 1U << dest;
        if (JSystem::_debug) tellAgents();
        JSystem::debug("SM>> q%d(%d) : %d <-- %d\n", priority, static_cast<int>(number), dest, src);
    }
    out.store(number + 1, std::memory_order_relaxed);
}

/** Broadcasts one behind the other that go to the same clients are queued together. */
void SM::broadcast(std::unique_ptr<M> m) {
    const unsigned to = connectedBut(m->getSrcId());
    if (to == 0) return;
    if (to != receivers) queueBroadcasts();
    receivers = to;
    m->setFlag(0);
    broadcasts.push_back(new Broadcast(std::move(m), countOf(to)));
    if (JSystem::_debug) tellAgents();
}

void SM::queueBroadcasts() {
    if (broadcasts.empty()) return;
    forEachAgent(receivers, [this](SA& agent) { agent.adoptQuietly(broadcasts); });
    broadcasts.clear();
    untold |= receivers;
}

/** The clients that are connected, a bit each, without the one that is named. */
unsigned SM::connectedBut(int src) {
    unsigned connected = 0;
    for (int client = 0; client < MAX_CLIENTS; client++) {
        SA* const agent = client != src ? agentAt(client) : nullptr;
        if (agent != nullptr && agent->active()) connected |= 1U << client;
    }
    return connected;
}

/**
 * Agents are told of their messages at once while the log is on, because writing a line may take as long as the console
 * likes; otherwise nothing in the routing loop waits, and they are told once a round.
 */
void SM::tellAgents() {
    queueBroadcasts();
    forEachAgent(untold, [this](SA& agent) { agent.deliver(*burst); });
    untold = 0;
}

void SM::add(M& m) {
    adoptQuietly(new M(m));
    notify();
}

void SM::adoptQuietly(M* m) {
    if (m->size() > M::MAX_SIZE) {
        delete m;  // its length does not fit the header: no client could read on behind it
        return;
    }
    in.fetch_add(1, std::memory_order_relaxed);
    mq->adoptQuietly(m);
}

void SM::adoptQuietly(std::vector<std::unique_ptr<M>>& messages) {
    in.fetch_add(static_cast<int>(messages.size()), std::memory_order_relaxed);
    mq->adoptQuietly(messages);
}

void SM::routeNow() {
    if (mayRoute(false)) {
        routeWaiting(false);
    } else {
        notify();
    }
}

int SM::set(int client, JSocket* socket) {
    return isClient(client) ? agentFor(client)->set(socket) : 0;
}

/** The agent of a client, null if there is none. Agents live as long as the manager. */
SA* SM::agentAt(int client) {
    return slots[client].load(std::memory_order_acquire);
}

/** The agent of a client, made and started if there is none. */
SA* SM::agentFor(int client) {
    if (SA* agent = agentAt(client)) return agent;
    const ScopedLock guard(slotLock);
    SA* agent = agentAt(client);
    if (agent == nullptr) {
        agent = new SA(this, client);
        slots[client].store(agent, std::memory_order_release);
        agent->start();
    }
    return agent;
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
    listenResult->set(error);
}

int SM::waitUntilListening(int ms) {
    constexpr int NOT_YET = -1;
    return listenResult->wait(ms, NOT_YET);
}
