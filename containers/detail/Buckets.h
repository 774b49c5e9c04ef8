#ifndef JAY_CONTAINERS_DETAIL_BUCKETS_H
#define JAY_CONTAINERS_DETAIL_BUCKETS_H

#include <climits>
#include <cstddef>

#include "core/JObject.h"

/** @file The chained hash index that the hash table and the cache table share: bucket formula, look-up and
 * growth. */

namespace jay::detail {

/** The bucket of a hash: the sign bit is cleared, then the remainder is taken. */
inline int bucketOf(int hash, int capacity) {
    return (hash & 0x7FFFFFFF) % capacity;
}

/** How many entries a bucket array takes before it grows: truncated, in single precision, and without bound
 * when out of range. */
inline int thresholdOf(int capacity, float loadFactor) {
    // volatile: rounded to single precision also where the processor calculates with more.
    const volatile float buckets = static_cast<float>(capacity);
    const volatile float product = loadFactor * buckets;
    const float limit = product;
    const bool fits = limit >= -2147483648.0F && limit < 2147483648.0F;
    return fits ? static_cast<int>(limit) : INT_MAX;
}

template <class Entry>
Entry** newBuckets(int capacity) {
    return new Entry*[static_cast<size_t>(capacity)]();
}

/**
 * The link that holds the entry of a key, so that the entry can be unlinked; null if there is none. The
 * stored key's virtual equals(const JObject*) is asked, and only when the whole hashes agree. The first match
 * in chain order wins. A stored key of null, which a key that does not clone leaves, matches nothing.
 */
template <class Entry>
Entry** findLinkIn(Entry** bucket, JObject& key, int hash) {
    for (Entry** link = bucket; *link != nullptr; link = &(*link)->next) {
        JObject* stored = (*link)->key;
        if ((*link)->hash == hash && stored != nullptr && stored->equals(static_cast<const JObject*>(&key)))
            return link;
    }
    return nullptr;
}

/** The same among all buckets. */
template <class Entry>
Entry** findLink(Entry** buckets, int capacity, JObject& key, int hash) {
    return findLinkIn(&buckets[bucketOf(hash, capacity)], key, hash);
}

template <class Entry>
void linkAtHead(Entry** buckets, int capacity, Entry* entry) {
    Entry*& head = buckets[bucketOf(entry->hash, capacity)];
    entry->next = head;
    head = entry;
}

/** For assertions: whether the buckets hold so many entries, each in the bucket of its hash. */
template <class Entry>
bool areInPlace(Entry** buckets, int capacity, int count) {
    int found = 0;
    for (int i = 0; i < capacity; i++) {
        for (const Entry* entry = buckets[i]; entry != nullptr; entry = entry->next) {
            if (bucketOf(entry->hash, capacity) != i || ++found > count) return false;
        }
    }
    return found == count;
}

/** Moves all entries, by their stored hashes, to new buckets of 2n+1; chain order turns around. At the limit
 * nothing happens. */
template <class Entry>
void growBuckets(Entry**& buckets, int& capacity) {
    if (capacity > (INT_MAX - 1) / 2) return;
    const int larger = capacity * 2 + 1;
    Entry** moved = newBuckets<Entry>(larger);
    for (int i = 0; i < capacity; i++) {
        for (Entry* entry = buckets[i]; entry != nullptr;) {
            Entry* following = entry->next;
            linkAtHead(moved, larger, entry);
            entry = following;
        }
    }
    delete[] buckets;
    buckets = moved;
    capacity = larger;
}

}  // namespace jay::detail

#endif
