/** @file What the tests of the agents set inside: what is left of a message. */
#ifndef JAY_TESTS_SUPPORT_OUTBOXPEER_H
#define JAY_TESTS_SUPPORT_OUTBOXPEER_H

#include <memory>

#include "bus/detail/Outbox.h"

struct jay::detail::OutboxPeer {
    static std::unique_ptr<JByte>& rest(Outbox& outbox) { return outbox.rest_; }
};

#endif
