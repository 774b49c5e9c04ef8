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
    JByte bytes = m.toByteArray();
    return socket->getOutputStream()->write(bytes, 0, bytes.size()) == 0 ? 1 : 0;
}

bool CA::isConnected() {
    const ScopedLock guard(lock);
    return socket->isConnected();
}

// ---- receiving ----

M* CA::get() {
    const ScopedLock guard(lock);
    const unsigned start = cursor;
    do {
        if (auto* m = static_cast<M*>(bandUnderCursor().get())) {
            cursor++;
            return m;
        }
    } while (passEmptyBand(start));
    return nullptr;
}

M* CA::peek() {
    const ScopedLock guard(lock);
    const unsigned start = cursor;
    do {
        if (auto* m = static_cast<M*>(bandUnderCursor().peek())) return m;
    } while (passEmptyBand(start));
    return nullptr;
}

M* CA::copyNext() {
    const ScopedLock guard(lock);
    const M* m = peek();
    return m != nullptr ? new M(*m) : nullptr;
}

JQueue& CA::bandUnderCursor() {
    return *bands[cursor % BANDS];
}

/** Goes on to the next band. False after four: the first one is looked at twice, and the cursor ends four
 * further (kept). */
bool CA::passEmptyBand(unsigned start) {
    return cursor++ != start + BANDS;
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
    std::unique_ptr<M> m;
    while (stopFlag == 0) {
        switch (messages.next(m)) {
            case MessageReader::MESSAGE:
                if (!deliver(m.release())) return;
                break;
            case MessageReader::TIMED_OUT:
                break;
            case MessageReader::ENDED:
                return;
        }
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
        fn = callback;
    }
    messageEvent.set();
    if (fn != nullptr) fn(this);
    return !gone;
}
