/** @file What the tests of JString look at inside. */
#ifndef JAY_TESTS_SUPPORT_JSTRINGPEER_H
#define JAY_TESTS_SUPPORT_JSTRINGPEER_H

#include "core/JString.h"

struct jay::detail::JStringPeer {
    /** The cached hash code; 0 when none is cached. */
    static int hash(const JString& s) { return s.hash; }
};

#endif
