#include "bus/CA.h"

#include <memory>

#include "bus/detail/Bands.h"
#include "bus/detail/MessageReader.h"
#include "net/JSocket.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::MessageReader;
using jay::detail::ScopedLock;

const JClass CA::classCA = {"CA", sizeof(CA), &JObject::classJObject};

namespace {

constexpr int CLOSE_MS = 1000;  ///< how long the end of a client waits for the server to read what was sent

}  // namespace

// ---- life ----

CA::CA(int clientId, const char* hostName, int portNumber)
    : id(clientId),
      host(hostName),
      port(portNumber),
      stopFlag(0),
      doneFlag(0),
      cursor(0),
      socket(new JSocket(host, port)),
      callback(nullptr),
      waiting(0),
      destroyed(nullptr) {
    for (JQueue*& band : bands) band = new JQueue(jay::detail::BAND_SEGMENT);
}

CA::~CA() {
    const jay::detail::CancelOff off;
    stopFlag = 1;
    callback = nullptr;
    connectEvent.set();
    // Not under the lock: a thread that is stuck in put() or connect() holds it until this.
    if (socket->isConnected()) {
        socket->closeAfterSending(CLOSE_MS);
    } else {
        socket->close();
    }
    {
        const ScopedLock guard(lock);
        socket->close();
    }
    finish();
    if (destroyed != nullptr) *destroyed = true;
    delete socket;
    for (int i = BANDS - 1; i >= 0; i--) delete bands[i];
}

const JClass* CA::getClass() const {
    return &classCA;
}

void CA::stop() {
    {
        const ScopedLock guard(lock);
        stopFlag = 1;
    }
    connectEvent.set();
}

// ---- sending ----

int CA::connect() {
    bool connected = false;
    {
        const ScopedLock guard(lock);
        connected = socket->connect();
        if (connected) {
            socket->setTcpNoDelay(true);
            M greeting;
            greeting.setSrcId(id);
            put(greeting);  // the lock is recursive
        }
    }
    connectEvent.set();
    return connected ? 1 : 0;
}

int CA::put(M& m) {
    const ScopedLock guard(lock);
    if ((m.getFlag() & M::M_FLAG_TIMED) == 0) m.setTimestamp(JSystem::getMilliseconds());
    if (!socket->isConnected()) return 1;
    if (m.size() > M::MAX_SIZE) return 0;  // the server could not read on behind it
    return socket->getOutputStream()->writeFrom(m.bytes(), m.size()) == 0 ? 1 : 0;
}

bool CA::isConnected() {
    const ScopedLock guard(lock);
    return socket->isConnected();
}

// ---- receiving ----

M* CA::get() {
    if (passedEmptyBands()) return nullptr;
    const ScopedLock guard(lock);
    for (unsigned step = 0; step <= BANDS; step++) {
        auto* const m = static_cast<M*>(band(step).get());
        if (m == nullptr) continue;
        waiting--;
        cursor += step + 1;
        return m;
    }
    cursor += BANDS + 1;
    return nullptr;
}

M* CA::peek() {
    if (passedEmptyBands()) return nullptr;
    const ScopedLock guard(lock);
    return peekUnderLock();
}

M* CA::peekUnderLock() {
    for (unsigned step = 0; step <= BANDS; step++) {
        auto* const m = static_cast<M*>(band(step).peek());
        if (m == nullptr) continue;
        cursor += step;
        return m;
    }
    cursor += BANDS + 1;
    return nullptr;
}

M* CA::copyNext() {
    if (passedEmptyBands()) return nullptr;
    const ScopedLock guard(lock);
    const M* m = peekUnderLock();
    return m != nullptr ? new M(*m) : nullptr;
}

/** True when nothing waits, which costs no lock: who polls finds that most of the time. The cursor then ends four
 * bands further, as after a look at each band, the first of them twice (kept). */
bool CA::passedEmptyBands() {
    if (waiting != 0) return false;
    cursor += BANDS + 1;
    return true;
}

/** The band that is `step` bands behind the one whose turn it is. */
JQueue& CA::band(unsigned step) {
    return *bands[(cursor + step) % BANDS];
}

void CA::next() {
    const ScopedLock guard(lock);
    cursor++;
}

int CA::wait(int ms) {
    return messageEvent.wait(ms);
}

void CA::setEventCallback(void (*fn)(CA*)) {
    const ScopedLock guard(lock);
    callback = fn;
}

// ---- the reading thread ----

/** Lets the destructor tell run() that the client is gone, for as long as run() is there to be told. */
class CA::Watch {
public:
    explicit Watch(CA& client) : client_(client) { client_.destroyed = &gone; }
    ~Watch() {
        if (!gone) client_.destroyed = nullptr;
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    bool gone = false;

private:
    CA& client_;
};

void CA::run() {
    const Watch watch(*this);
    while (stopFlag == 0) {
        if (socket->isConnected()) {
            readMessages();
        } else {
            connectEvent.wait();
        }
        if (watch.gone) return;
    }
    doneFlag = 1;
}

/** Reads until the connection is over, the thread is to end or the client is gone. */
void CA::readMessages() {
    MessageReader messages(*socket);
    while (std::unique_ptr<M> m = messages.next(stopFlag)) {
        if (!deliver(m.release())) return;
    }
}

/** Sorts a message in and tells the application; false when it deleted this client. */
bool CA::deliver(M* m) {
    const bool& gone = *destroyed;
    void (*fn)(CA*) = nullptr;
    {
        const ScopedLock guard(lock);
        const int priority = m->getPriority();
        bands[priority <= 1 ? priority : BANDS - 1]->adopt(m);
        waiting++;
        fn = callback;
    }
    messageEvent.set();
    if (fn != nullptr) fn(this);
    return !gone;
}
