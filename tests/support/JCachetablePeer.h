/** @file What the tests of JCachetable look at inside: the recency list and the hash index. */
#ifndef JAY_TESTS_SUPPORT_JCACHETABLEPEER_H
#define JAY_TESTS_SUPPORT_JCACHETABLEPEER_H

#include "containers/JCachetable.h"

struct jay::detail::JCachetablePeer {
    static int mostRecent(const JCachetable& cache) { return cache.mostRecent; }
    static int leastRecent(const JCachetable& cache) { return cache.leastRecent; }
    static int previous(const JCachetable& cache, int slot) { return cache.previous[slot]; }
    static int following(const JCachetable& cache, int slot) { return cache.following[slot]; }
    static JCacheEntry* entry(const JCachetable& cache, int slot) { return cache.entries[slot]; }
    static int indexCapacity(const JCachetable& cache) { return cache.indexCapacity; }
    static int indexCount(const JCachetable& cache) { return cache.indexCount; }
    static int indexThreshold(const JCachetable& cache) { return cache.indexThreshold; }
    static float indexLoadFactor(const JCachetable& cache) { return cache.indexLoadFactor; }
    static int duplicates(const JCachetable& cache) { return cache.duplicates; }
    static JCacheEntry* bucket(const JCachetable& cache, int i) { return cache.index[i]; }

    /** Sets all counters, as after so many look-ups that a test cannot wait for them. */
    static void setCounters(JCachetable& cache, int n) {
        cache.requests_ = n;
        cache.hits_ = n;
        cache.faults_ = n;
        cache.duplicates = n;
    }
};

#endif
