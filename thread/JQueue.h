#ifndef JAY_THREAD_JQUEUE_H
#define JAY_THREAD_JQUEUE_H

#include "core/JObject.h"

namespace jay::detail {
struct JQueuePeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * A first-in first-out queue of objects. It stores copies of the items, refuses items beyond a high-water
 * mark, and counts the items put in and taken out. It never blocks: put() to a full queue returns FULL, and get() from
 * an empty queue returns null.
 *
 * Hysteresis: after it has refused an item, the queue refuses put() until get() has reduced it to the
 * resume mark. So a producer is not stopped and started again for every single item. put2() ignores the resume mark.
 *
 * Ownership: put() and put2() store `item.clone()`; the caller keeps the item. get() returns the copy, and the caller
 * deletes it. The object that peek() returns stays in the queue. The queue deletes its remaining items when it is
 * destroyed.
 *
 * Threads: the queue has no lock. Threads that share a queue hold a lock of their own around each call, and
 * signal an event of their own to wake a reader.
 *
 * The items are in a chain of segments of equal size. Every operation takes constant time, except clearAll(), clear()
 * and the destructor, whose time grows with the number of items.
 *
 *     head                                  tail
 *      |                                     |
 *     [ taken | item | item ] -> [ ... ] -> [ item | free | free ]
 *               ^ readIndex                          ^ writeIndex
 *
 * Invariant, unless the queue was cleared by clearAll(): tail always has a free slot, because the append that
 * fills a segment links the next one. So a segment from which get() has taken the last item always has a successor.
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
     * @param highMark     the capacity, in items. With 0 or less the queue refuses everything.
     * @param resumeMark   after a refusal, put() accepts items again when the queue holds this many or fewer.
     * @param segmentSize  slots per segment. A value below 1 counts as 1.
     */
    JQueue(int highMark, int resumeMark, int segmentSize);
    /** The resume mark equals the capacity. */
    JQueue(int highMark, int segmentSize);
    /** Unlimited in practice: both marks are 2147483647. */
    explicit JQueue(int segmentSize);
    /** Deletes the items that the queue still holds. */
    ~JQueue() override;
    JQueue(const JQueue&) = delete;
    JQueue& operator=(const JQueue&) = delete;

    /** Returns &classJQueue. */
    const JClass* getClass() const override;

    /**
     * Makes the queue empty and ready: one segment, nothing refused, both counters 0. Deletes its
     * items. If there is no memory for the segment, the queue stays as it was.
     */
    void initialize();

    /**
     * Appends a copy of the item, unless the queue is full or, after a refusal, above the resume mark.
     *
     * An item whose class has no clone() is stored as null: it counts, keeps its place, and get() returns
     * null for it. If the copy throws, the queue stays as it was.
     *
     * @return OK; FULL if nothing was stored. After clearAll(), FULL until initialize().
     */
    int put(JObject& item);

    /** As put(), but ignores the resume mark: accepts items up to the capacity. */
    int put2(JObject& item);

    /**
     * As put(), but the queue takes ownership of the object itself instead of copying it. If the result is FULL, or
     * std::bad_alloc is thrown, the caller still owns the object.
     */
    int adopt(JObject* item);

    /** Takes the oldest item out of the queue; the caller deletes it. Null if the queue is empty. */
    JObject* get();

    /** The oldest item. The queue owns it, and it is valid until it is taken out. Null if the queue is empty. */
    JObject* peek() const;

    /** The item that the `ahead`-th get() from now on returns, counted from 0; null if there are not so many. The queue
     * still owns it. Takes time linear in the segments passed. */
    JObject* peek(int ahead) const;

    bool isEmpty() const;  ///< whether no item waits
    /** Whether put() would refuse an item now: the capacity is reached, or an item was refused and the queue has not
     * fallen to the resume mark since. */
    bool isFull() const;
    /** The number of items in the queue. */
    int size() const;

    /** Items accepted since the last initialize(). Always `input() - output() == size()`; both wrap around at
     * 32 bits. */
    int input() const;
    /** Items taken out, or deleted by clearAll(), since the last initialize(). */
    int output() const;

    /** Deletes all items and segments; the deleted items count as output. The queue refuses items until
     * initialize(). */
    void clearAll();

    /** clearAll(), then initialize(): an empty queue with both counters 0. */
    void clear();

private:
    friend struct jay::detail::JQueuePeer;

    JAY_HIDDEN bool hasRoom();
    JAY_HIDDEN int appendCopy(JObject& item);
    JAY_HIDDEN void append(JObject* item);
    JAY_HIDDEN void appendLast(JObject* item);
    JAY_HIDDEN JObject* removeOldest();
    JAY_HIDDEN JObject* leaveSegment(JObject* item);
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
