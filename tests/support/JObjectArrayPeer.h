/** @file What the tests of the arrays look at inside: slots that are empty, and how many there are. */
#ifndef JAY_TESTS_SUPPORT_JOBJECTARRAYPEER_H
#define JAY_TESTS_SUPPORT_JOBJECTARRAYPEER_H

#include "core/JObjectArray.h"

struct jay::detail::JObjectArrayPeer {
    static int capacity(const JObjectArray& array) { return array.capacity; }
    static const JSize* counter(const JObjectArray& array) { return array.counter; }
    static JObject** elements(const JObjectArray& array) { return array.elements; }
    /** Unlike operator[], makes nothing: null for an empty slot. */
    static JObject*& element(const JObjectArray& array, int i) { return array.elements[i]; }
};

#endif
