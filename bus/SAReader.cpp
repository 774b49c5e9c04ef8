#include <memory>
#include <utility>
#include <vector>

#include "bus/detail/MessageReader.h"
#include "bus/SA.h"
#include "system/JSystem.h"

using jay::detail::MessageReader;

namespace {

/** Bytes that are read from a connection that another takes the place of: more than the system's buffers of both its ends
 * hold. */
constexpr long RETIRED_LIMIT = 16L << 20;

}  // namespace

const JClass SA::SAReader::classSAReader = {"SAReader", sizeof(SA::SAReader), &JObject::classJObject};

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
        idleFlag = 0;
        if (JSocket* from = agent->borrowSocket()) serve(*from);
    }
    JSystem::debug("SA(%d)>> terminate SA reader!!!\n", agent->id);
}

/** Reads what comes on a connection, up to its end. A reader that is to end keeps the socket. */
void SA::SAReader::serve(JSocket& from) {
    readMessages(from);
    agent->endConnection();
    JSystem::debug("SA(%d)>> disconnected!!!\n", agent->id);
    if (stopFlag != 0) return;
    agent->giveSocketBack();
    idleFlag = 1;
    agent->notify();  // it destroys the socket
}

/** Reads until the connection is over or this thread is to end. Of one that another takes the place of, no more than a limit:
 * its client may go on sending. */
void SA::SAReader::readMessages(JSocket& from) {
    long left = RETIRED_LIMIT;
    std::vector<std::unique_ptr<M>> messages;  // that came together
    MessageReader source(from, [&] { agent->received(messages); });
    while (left > 0) {
        std::unique_ptr<M> m = source.next(stopFlag);
        if (m == nullptr) break;
        if (agent->isRetired()) left -= m->size();
        messages.push_back(std::move(m));
    }
    agent->received(messages);
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

bool SA::SAReader::isStopping() const {
    return stopFlag != 0;
}
