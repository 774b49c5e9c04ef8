#ifndef JAY_THREAD_JQUEUE_H
#define JAY_THREAD_JQUEUE_H

#include "core/JObject.h"

namespace jay::detail {
struct JQueuePeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * A first-in first-out queue of objects. It keeps copies of what is put into it, refuses items beyond a high-water
 * mark, and counts what went in and out. It never blocks: a full queue returns FULL, and an empty one null.
 *
 * Hysteresis: a queue that has refused an item goes on refusing put() until get() has brought it down to the
 * resume mark, so that a producer is not stopped and started again for every single item. put2() does not
 * wait for the resume mark.
 *
 * Ownership: put() and put2() store `item.clone()`; the item stays the caller's. get() hands the copy over,
 * and the caller deletes it. peek() lends it. What the queue still holds is deleted with it.
 *
 * Threads: no locking inside. Threads that share a queue hold a lock of their own around each call, and
 * signal an event of their own to wake a reader.
 *
 * The items lie in a chain of segments of equal size. Everything takes constant time, but clearAll(), clear()
 * and the destructor, which are linear in what they delete.
 *
 *     head                                  tail
 *      |                                     |
 *     [ taken | item | item ] -> [ ... ] -> [ item | free | free ]
 *               ^ readIndex                          ^ writeIndex
 *
 * Invariant, unless the queue was cleared by clearAll(): tail always has a free slot, because the append that
 * fills a segment links the next one. So the segment that get() leaves exhausted always has a successor.
 */
class JAY_API JQueue : public JObject {
public:
    static const JClass classJQueue;

    static constexpr int OK = 0;    ///< the item was accepted
    static constexpr int FULL = 1;  ///< the item was refused

    /** A segment: slots for `segment` objects, none of which it owns. */
    class JAY_API JQueueEntry {
    public:
        /** All slots null. */
        explicit JQueueEntry(int segment);
        /** Frees the slots, not the objects in them. */
        virtual ~JQueueEntry();
        JQueueEntry(const JQueueEntry&) = delete;
        JQueueEntry& operator=(const JQueueEntry&) = delete;

        JQueueEntry* next;  ///< the segment behind this one; null in the last
        JObject** slots;    ///< the items
    };

    /**
     * @param highMark     the capacity: the most items held. At 0 or less the queue refuses everything.
     * @param resumeMark   after a refusal, put() accepts again once get() has left this many items or fewer.
     * @param segmentSize  slots per segment. Below 1 it is taken for 1.
     */
    JQueue(int highMark, int resumeMark, int segmentSize);
    /** The resume mark equals the capacity. */
    JQueue(int highMark, int segmentSize);
    /** Without a bound in practice: both marks are 2147483647. */
    explicit JQueue(int segmentSize);
    /** Deletes the items that the queue still holds. */
    ~JQueue() override;
    JQueue(const JQueue&) = delete;
    JQueue& operator=(const JQueue&) = delete;

    /** Returns &classJQueue. */
    const JClass* getClass() const override;

    /**
     * Makes the queue empty and ready: one segment, nothing refused, both counters 0. Items still held are
     * deleted. When there is no memory for the segment, the queue stays as it was.
     */
    void initialize();

    /**
     * Appends a copy of the item unless the queue is full or still above the resume mark after a refusal.
     *
     * An item whose class has no clone() is stored as null: it counts, keeps its place, and get() returns
     * null for it. If the copy throws, the queue stays as it was.
     *
     * @return OK, or FULL: nothing was stored. After clearAll() the answer is FULL until initialize().
     */
    int put(JObject& item);

    /** The forcing form of put(): accepts up to the capacity, also above the resume mark after a refusal. */
    int put2(JObject& item);

    /**
     * As put(), but the queue takes ownership of the object itself instead of copying it. If the result is FULL, or
     * std::bad_alloc is thrown, the caller still owns the object.
     */
    int adopt(JObject* item);

    /** Takes the oldest item out; the caller deletes it. Null when the queue is empty. */
    JObject* get();

    /** The oldest item, still owned by the queue and valid until it is taken out. Null when the queue is
     * empty. */
    JObject* peek() const;

    /** The item that the `ahead`-th get() from now on returns, counted from 0; null if there are not so many. The queue
     * still owns it. Takes time linear in the segments passed. */
    JObject* peek(int ahead) const;

    bool isEmpty() const;  ///< whether no item waits
    /** Whether put() would refuse an item now: the capacity is reached, or an item was refused and the queue has not
     * fallen to the resume mark since. */
    bool isFull() const;
    /** Items held. */
    int size() const;

    /** Items accepted since the last initialize(). Always `input() - output() == size()`; both wrap around at
     * 32 bits. */
    int input() const;
    /** Items taken out, or discarded by clearAll(), since the last initialize(). */
    int output() const;

    /** Deletes all items and segments; the discarded items count as output. The queue takes nothing until
     * initialize(). */
    void clearAll();

    /** clearAll(), then initialize(): an empty queue with both counters 0. */
    void clear();

private:
    friend struct jay::detail::JQueuePeer;

    JAY_HIDDEN bool hasRoom();
    JAY_HIDDEN void append(JObject* item);
    JAY_HIDDEN JObject* removeOldest();
    JAY_HIDDEN void assertInvariant() const;

    int capacity;
    int resume;
    int segment;
    JQueueEntry* tail;
    JQueueEntry* head;
    int readIndex;
    int writeIndex;
    int count;
    bool full;
    int inputCount;
    int outputCount;
};

#endif
