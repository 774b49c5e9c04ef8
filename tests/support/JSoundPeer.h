/** @file What the tests of JSound look at inside. */
#ifndef JAY_TESTS_SUPPORT_JSOUNDPEER_H
#define JAY_TESTS_SUPPORT_JSOUNDPEER_H

#include "ui/JSound.h"

struct jay::detail::JSoundPeer {
    static const JString& fileName(const JSound& sound) { return sound.fileName; }
};

#endif
