/** @file What the tests of JStringBuffer look at inside: its storage. */
#ifndef JAY_TESTS_SUPPORT_JSTRINGBUFFERPEER_H
#define JAY_TESTS_SUPPORT_JSTRINGBUFFERPEER_H

#include "core/JStringBuffer.h"

struct jay::detail::JStringBufferPeer {
    static int capacity(const JStringBuffer& buffer) { return buffer.capacity; }
    static char* data(const JStringBuffer& buffer) { return buffer.data; }
};

#endif
