/** @file What the tests of JQueue look at inside: its marks, its segments and its counters. */
#ifndef JAY_TESTS_SUPPORT_JQUEUEPEER_H
#define JAY_TESTS_SUPPORT_JQUEUEPEER_H

#include "thread/JQueue.h"

struct jay::detail::JQueuePeer {
    static int capacity(const JQueue& queue) { return queue.capacity; }
    static void setCapacity(JQueue& queue, int capacity) { queue.capacity = capacity; }
    static int resume(const JQueue& queue) { return queue.resume; }
    static int segment(const JQueue& queue) { return queue.segment; }
    static const JQueue::JQueueEntry* head(const JQueue& queue) { return queue.head; }
    static const JQueue::JQueueEntry* tail(const JQueue& queue) { return queue.tail; }
    static int readIndex(const JQueue& queue) { return queue.readIndex; }
    static int writeIndex(const JQueue& queue) { return queue.writeIndex; }
    static bool full(const JQueue& queue) { return queue.full; }
    static void setCounters(JQueue& queue, int count) { queue.inputCount = queue.outputCount = count; }
};

#endif
