/** @file What the tests of messages look at inside: the buffer and its size. */
#ifndef JAY_TESTS_SUPPORT_JMESSAGEPEER_H
#define JAY_TESTS_SUPPORT_JMESSAGEPEER_H

#include "bus/JMessage.h"

struct jay::detail::JMessagePeer {
    static int capacity(const JMessage& message) { return message.capacity; }
    static const char* data(const JMessage& message) { return message.data; }
};

#endif
