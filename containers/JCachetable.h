#ifndef JAY_CONTAINERS_JCACHETABLE_H
#define JAY_CONTAINERS_JCACHETABLE_H

#include "containers/JEnumeration.h"
#include "core/JObject.h"

namespace jay::detail {
struct JCachetablePeer;  // for the library's own tests
}

class JCacheEntries;

/** One slot of a JCachetable; it owns its key and value. */
class JAY_API JCacheEntry : public JObject {
public:
    static const JClass classJCacheEntry;

    /** An empty slot. */
    explicit JCacheEntry(int slot);

    /** Deletes key and value. */
    ~JCacheEntry() override;
    JCacheEntry(const JCacheEntry&) = delete;
    JCacheEntry& operator=(const JCacheEntry&) = delete;

    const JClass* getClass() const override;

    JCacheEntry* next;  ///< the next entry in the same bucket, or null
    int hash;           ///< the key's full hashCode()
    int slot;           ///< the entry's own number, fixed
    int useCount;       ///< 1 when a pair is stored, one more with every hit; wraps around at 32 bits
    JObject* key;       ///< the cache's own clone; null in an empty slot
    JObject* value;     ///< the cache's own clone; null in an empty slot
};

/**
 * A cache of pairs with a fixed number of slots. A full cache gives up the pair that was looked up or stored
 * longest ago. Keys and values are cloned and deleted as in JHashtable, which also says what a key class
 * must override.
 *
 * Two lists run through the slots, which are all made at once:
 * - the recency list, in two index arrays: `following` leads from `mostRecent` towards `leastRecent`,
 * `previous` back, -1 ends both. It holds the slots 0 to count - 1, emptied ones included (slot 0 alone when
 * count is 0; but clear() leaves the links, so that empty slots may follow slot 0 until the next is taken). A
 * hit or a store moves a slot to the head; removing its pair moves it to the tail, where it is
 * the first to be used again.
 * - the chains of the hash index, which hold the slots that have a key.
 *
 * Everything takes constant time on average; look-ups allocate nothing. Not thread-safe.
 */
class JAY_API JCachetable : public JObject {
public:
    static const JClass classJCachetable;

    static constexpr int DEFAULT_CAPACITY =
        20;  ///< pairs that a cache holds, of a cache made without a capacity

    JCachetable();

    /** @param capacity slots. Below 1 the cache keeps nothing. */
    explicit JCachetable(int capacity);

    /** Deletes what it holds. */
    ~JCachetable() override;
    JCachetable(const JCachetable&) = delete;
    JCachetable& operator=(const JCachetable&) = delete;

    /**
     * Makes the cache empty, with `capacity` slots and all counters 0, as the constructors do. Deletes what it held. A
     * failed allocation leaves the cache as it was.
     */
    void initialize(int capacity);

    const JClass* getClass() const override;

    // ---- pairs ----

    /** The cache's own value, valid until its key is replaced, removed, evicted or cleared; null when the key
     * is absent. Counts a request, and a hit or a fault; a hit makes the pair the most recent. */
    JObject* getElement(JObject& key);

    /**
     * Stores clones as the most recent pair. A key that is there keeps its clone and its slot; its old value
     * is deleted before `value` is cloned (so `value` must not be the cache's own object: kept).
     */
    void addElement(JObject& key, JObject& value);

    /** Empties the key's slot, which will be the first to be used again once the cache is full. */
    void removeElement(JObject& key);

    /** The slot that holds the key, or null. Counts nothing and changes no order. */
    JCacheEntry* getEntry(JObject& key);

    /** Deletes all pairs and sets all counters to 0. */
    void clear();

    // ---- the hash index and the recency list; for the operations above ----

    /** Enters a slot under a key. A slot that is there under the same key is replaced in its chain, not
     * freed. */
    void addEntry(JObject* key, JCacheEntry* entry);

    /** Takes the key's slot out of the index and deletes its pair. */
    void removeEntry(JObject* key);

    /** Grows the index to 2n+1 buckets. */
    void reallocation();

    /** Moves a slot to the most recent, or to the least recent end. Slots not taken yet are ignored. */
    void costMax(int slot);
    void costMin(int slot);

    // ---- counts ----

    bool isFull() const;   ///< whether the next new key takes the place of the least recent one
    int size() const;      ///< slots taken so far; removing a pair does not lower it (kept)
    int capacity() const;  ///< pairs that it can hold
    int requests() const;  ///< look-ups so far; wraps around at 32 bits, as the next two
    int hits() const;      ///< those that found their key
    int faults() const;    ///< those that did not

    /** Walks over the slots, JCacheEntry objects, from most to least recent; empty ones have a null key, and
     * a new cache shows slot 0 (kept). The caller deletes the enumeration. */
    JCacheEntries* getEntries();

private:
    friend class JCacheEntries;
    friend struct jay::detail::JCachetablePeer;

    JAY_HIDDEN void release();
    JAY_HIDDEN void reset();
    JAY_HIDDEN void unlink(int slot);
    JAY_HIDDEN bool isListed(int slot) const;
    JAY_HIDDEN void toHead(int slot);
    JAY_HIDDEN void takeSlot();
    JAY_HIDDEN void fillHead(JObject& key, int hash, JObject& value);
    JAY_HIDDEN void enter(JCacheEntry* entry, JObject& key, JObject& keyClone, int hash);
    JAY_HIDDEN void evict(JCacheEntry* entry);
    JAY_HIDDEN void link(JCacheEntry* entry, int hash);
    JAY_HIDDEN void removeAt(JCacheEntry** at);
    JAY_HIDDEN JCacheEntry** firstOf(int hash) const;
    JAY_HIDDEN bool isFirstOfItsHash(const JCacheEntry* entry) const;
    JAY_HIDDEN void unindex(const JCacheEntry* entry);

    int requests_;
    int hits_;
    int faults_;
    int capacity_;
    int count;
    int mostRecent;
    int leastRecent;
    int* previous;
    int* following;
    JCacheEntry** entries;
    int indexCapacity;
    int indexCount;
    int duplicates;
    int indexThreshold;
    float indexLoadFactor;
    JCacheEntry** index;
};

/** A walk over the slots of a JCachetable. hasMoreElements() does not move on; nextElement() gives null at
 * the end. */
class JAY_API JCacheEntries : public JEnumeration {
public:
    explicit JCacheEntries(JCachetable* cache);  ///< over `cache`, which must outlive it

    int hasMoreElements() override;
    JObject* nextElement() override;

private:
    JCachetable* cache;  // not owned
    int cursor;          // -1 at the end
};

static_assert(sizeof(void*) != 4 || sizeof(JCacheEntry) == 28,
              "instance size is part of the 32-bit contract");
static_assert(sizeof(void*) != 4 || sizeof(JCachetable) == 68,
              "instance size is part of the 32-bit contract");
static_assert(sizeof(void*) != 4 || sizeof(JCacheEntries) == 12,
              "instance size is part of the 32-bit contract");

#endif
