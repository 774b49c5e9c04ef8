#include "bus/detail/Outbox.h"

#include <cassert>
#include <utility>

#include "bus/detail/Burst.h"
#include "bus/LQ.h"
#include "bus/M.h"
#include "net/JSocket.h"

namespace jay::detail {

Outbox::Offered Outbox::offer(JSocket& to, Burst& burst) {
    assert(!hasRest());
    if (queue_.gather(burst) == 0) return NOTHING_TAKEN;
    if (burst.count() > 1 && to.isPeerClosed()) burst.keepFirst();
    const int sent = to.getOutputStream()->offer(burst.bytes(), burst.end(burst.count()));
    if (sent == 0) return NOTHING_TAKEN;
    const int begun = burst.begunWithin(sent);
    const bool more = queue_.drop(burst, begun);
    if (sent < burst.end(begun))
        rest_ = std::make_unique<JByte>(burst.bytes(), sent, burst.end(begun) - sent);
    return more || hasRest() ? MORE_WAITS : ALL_TAKEN;
}

// A client that takes a long queue as fast as it is sent would keep the caller from all others: hence the limit.
bool Outbox::offerAll(JSocket& to, Burst& burst, int bursts) {
    Offered offered = MORE_WAITS;
    for (int i = 0; i < bursts && offered == MORE_WAITS && !hasRest(); i++) offered = offer(to, burst);
    return offered == ALL_TAKEN || (offered == NOTHING_TAKEN && queue_.isEmpty());
}

int Outbox::sendRest(JSocket& to) {
    assert(hasRest());
    const std::unique_ptr<JByte> bytes = std::move(rest_);
    return to.getOutputStream()->write(*bytes, 0, bytes->size());
}

int Outbox::send(JSocket& to, M& m) {
    const char* const bytes = m.bytes();
    return to.getOutputStream()->writeFrom(bytes, m.size());
}

bool Outbox::dropRest() {
    const bool had = hasRest();
    rest_.reset();
    return had;
}

}  // namespace jay::detail
