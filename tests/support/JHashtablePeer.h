/** @file What the tests of JHashtable look at inside: its buckets and what makes it grow. */
#ifndef JAY_TESTS_SUPPORT_JHASHTABLEPEER_H
#define JAY_TESTS_SUPPORT_JHASHTABLEPEER_H

#include "containers/JHashtable.h"

struct jay::detail::JHashtablePeer {
    static int threshold(const JHashtable& table) { return table.threshold; }
    static float loadFactor(const JHashtable& table) { return table.loadFactor; }
    static JHashEntry* bucket(const JHashtable& table, int i) { return table.table[i]; }
    static JHashEntry** buckets(const JHashtable& table) { return table.table; }
    static JObject** keyList(const JHashtable& table) { return table.keyList_; }
};

#endif
