/* What the peers send and expect: numbered messages, each with a payload that follows from its number. C99 and C++. */
#ifndef JAY_TESTS_BINDINGS_WORKLOAD_H
#define JAY_TESTS_BINDINGS_WORKLOAD_H

#include <string.h>

enum { WORKLOAD_LONGEST = 64 };

/* Payload of message `number`: its number, little-endian, and up to 60 bytes that follow from it. Returns the length. */
static inline int workload_fill(unsigned number, unsigned char* payload) {
    const int length = 4 + (int)(number % 61);
    int i;
    for (i = 0; i < length; i++)
        payload[i] = (unsigned char)(i < 4 ? number >> (8 * i) : number * 7 + (unsigned)i);
    return length;
}

/* Whether this is the payload of message `number`. */
static inline int workload_fits(unsigned number, const unsigned char* payload, int length) {
    unsigned char wanted[WORKLOAD_LONGEST];
    return length == workload_fill(number, wanted) && memcmp(wanted, payload, (size_t)length) == 0;
}

#endif
