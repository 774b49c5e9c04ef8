#include "bus/detail/Outbox.h"

#include <cassert>
#include <utility>

#include "bus/detail/Burst.h"
#include "bus/LQ.h"
#include "bus/M.h"
#include "net/JSocket.h"

namespace jay::detail {

bool Outbox::offer(JSocket& to) {
    assert(!hasRest());
    Burst burst;
    if (queue_.gather(burst) == 0) return false;
    if (burst.count() > 1 && to.isPeerClosed()) burst.keepFirst();
    const int sent = to.getOutputStream()->offer(burst.bytes(), burst.end(burst.count()));
    if (sent == 0) return false;
    const int begun = burst.begunWithin(sent);
    queue_.drop(burst, begun);
    if (sent < burst.end(begun))
        rest_ = std::make_unique<JByte>(burst.bytes(), sent, burst.end(begun) - sent);
    return true;
}

// A client that takes a long queue as fast as it is sent would keep the caller from all others: hence the limit.
bool Outbox::offerAll(JSocket& to, int bursts) {
    if (hasRest()) return false;
    for (int i = 0; i < bursts && offer(to) && !hasRest(); i++) {
    }
    return !hasRest() && queue_.isEmpty();
}

int Outbox::sendRest(JSocket& to) {
    assert(hasRest());
    const std::unique_ptr<JByte> bytes = std::move(rest_);
    return to.getOutputStream()->write(*bytes, 0, bytes->size());
}

int Outbox::send(JSocket& to, M& m) {
    JByte bytes = m.toByteArray();
    return to.getOutputStream()->write(bytes, 0, bytes.size());
}

bool Outbox::dropRest() {
    const bool had = hasRest();
    rest_.reset();
    return had;
}

}  // namespace jay::detail
