#include "containers/JCachetable.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <typeinfo>

#include "containers/detail/Buckets.h"

using namespace jay::detail;

const JClass JCacheEntry::classJCacheEntry = {"JCacheEntry", sizeof(JCacheEntry), &JObject::classJObject};
const JClass JCachetable::classJCachetable = {"JCachetable", sizeof(JCachetable), &JObject::classJObject};

namespace {

constexpr int INDEX_CAPACITY = 533;
constexpr float INDEX_LOAD_FACTOR = 4.0F;
constexpr int NONE = -1;

int* newLinks(size_t n) {
    int* const links = new int[n];
    std::fill_n(links, n, NONE);
    return links;
}

/** The slots of a cache, numbered. None is left behind should an allocation fail. */
JCacheEntry** newSlots(size_t n) {
    const auto made = std::make_unique<std::unique_ptr<JCacheEntry>[]>(n);
    for (size_t i = 0; i < n; i++) made[i] = std::make_unique<JCacheEntry>(static_cast<int>(i));
    JCacheEntry** const slots = new JCacheEntry*[n];
    for (size_t i = 0; i < n; i++) slots[i] = made[i].release();
    return slots;
}

/** Counters wrap around at 32 bits. */
void increment(int& counter) {
    counter = static_cast<int>(static_cast<unsigned>(counter) + 1);
}

/** Deletes an object that a field owns and empties the field. */
void drop(JObject*& owned) {
    delete owned;
    owned = nullptr;
}

}  // namespace

// ---- entry ----

JCacheEntry::JCacheEntry(int number)
    : next(nullptr), hash(0), slot(number), useCount(0), key(nullptr), value(nullptr) {
}

JCacheEntry::~JCacheEntry() {
    delete key;
    delete value;
}

const JClass* JCacheEntry::getClass() const {
    return &classJCacheEntry;
}

// ---- life ----

JCachetable::JCachetable() : JCachetable(DEFAULT_CAPACITY) {
}

JCachetable::JCachetable(int slots)
    : capacity_(0),
      previous(nullptr),
      following(nullptr),
      entries(nullptr),
      indexCapacity(0),
      indexCount(0),
      index(nullptr) {
    initialize(slots);
}

void JCachetable::initialize(int slots) {
    // All of it is allocated before anything changes.
    const auto n = static_cast<size_t>(std::max(slots, 0));
    std::unique_ptr<int[]> previousLinks(newLinks(n));
    std::unique_ptr<int[]> followingLinks(newLinks(n));
    std::unique_ptr<JCacheEntry*[]> buckets(newBuckets<JCacheEntry>(INDEX_CAPACITY));
    JCacheEntry** const slotArray = newSlots(n);

    release();
    previous = previousLinks.release();
    following = followingLinks.release();
    index = buckets.release();
    entries = slotArray;
    capacity_ = slots;
    indexCapacity = INDEX_CAPACITY;
    indexLoadFactor = INDEX_LOAD_FACTOR;
    indexThreshold = thresholdOf(INDEX_CAPACITY, INDEX_LOAD_FACTOR);
    reset();
}

/** Deletes everything that the fields own; they dangle afterwards. */
void JCachetable::release() {
    if (indexCount > 0) clear();
    delete[] index;
    delete[] previous;
    delete[] following;
    for (int i = 0; i < capacity_; i++) delete entries[i];
    delete[] entries;
}

/** Sets the counters and the ends of the recency list as in a new cache. */
void JCachetable::reset() {
    requests_ = 0;
    hits_ = 0;
    faults_ = 0;
    count = 0;
    mostRecent = 0;
    leastRecent = 0;
    indexCount = 0;
    duplicates = 0;
}

JCachetable::~JCachetable() {
    release();
}

const JClass* JCachetable::getClass() const {
    return &classJCachetable;
}

// ---- pairs ----

JObject* JCachetable::getElement(JObject& key) {
    increment(requests_);
    JCacheEntry** const link = findLink(index, indexCapacity, key, key.hashCode());
    if (link == nullptr) {
        increment(faults_);
        return nullptr;
    }
    JCacheEntry* const entry = *link;
    if (entry->slot != mostRecent) costMax(entry->slot);
    increment(entry->useCount);
    increment(hits_);
    return entry->value;
}

void JCachetable::addElement(JObject& key, JObject& value) {
    const int hash = key.hashCode();
    if (JCacheEntry** const link = findLink(index, indexCapacity, key, hash)) {
        JCacheEntry* const entry = *link;
        drop(entry->value);
        entry->value = value.clone();
        entry->useCount = 1;
        if (isFirstOfItsHash(entry)) {
            increment(duplicates);  // as addEntry() does when it finds the entry itself
        } else {
            addEntry(entry->key, entry);
        }
        costMax(entry->slot);
    } else if (capacity_ > 0) {
        takeSlot();
        fillHead(key, hash, value);
    }
}

/** Brings a slot that is free, or freed here, to the head of the recency list. */
void JCachetable::takeSlot() {
    if (isFull()) {
        evict(entries[leastRecent]);
        costMax(leastRecent);
    } else if (count > 0) {
        previous[count] = leastRecent;
        following[count] = NONE;
        toHead(count);
        count++;
    } else {
        count = 1;  // slot 0 is head and tail as it stands
    }
}

void JCachetable::fillHead(JObject& key, int hash, JObject& value) {
    JCacheEntry* const entry = entries[mostRecent];
    // Empty as a rule. Not so where the index never held the slot, gave its place to another, or, with keys whose
    // equals() is not symmetric, found another slot under this one's key.
    if (entry->key != nullptr) unindex(entry);
    drop(entry->key);
    drop(entry->value);
    entry->next = nullptr;
    std::unique_ptr<JObject> keyClone(key.clone());
    std::unique_ptr<JObject> valueClone(value.clone());
    if (keyClone != nullptr) enter(entry, key, *keyClone, hash);
    entry->key = keyClone.release();
    entry->value = valueClone.release();
    entry->useCount = 1;
}

/** addEntry() for a clone of a key that was looked up and not found: a clone of the same class need not be looked up again. */
void JCachetable::enter(JCacheEntry* entry, JObject& key, JObject& keyClone, int hash) {
    if (typeid(key) == typeid(keyClone)) {
        link(entry, hash);
    } else {
        addEntry(&keyClone, entry);
    }
}

/** removeEntry() of a slot's key, without a look-up where that would find the slot itself. */
void JCachetable::evict(JCacheEntry* entry) {
    if (entry->key == nullptr) return;  // emptied by removeElement()
    if (isFirstOfItsHash(entry)) {
        removeAt(firstOf(entry->hash));
    } else {
        removeEntry(entry->key);
    }
}

/** The link to the first entry in the index that has this hash, or to null at the end of its bucket. */
JCacheEntry** JCachetable::firstOf(int hash) const {
    JCacheEntry** at = &index[bucketOf(hash, indexCapacity)];
    while (*at != nullptr && (*at)->hash != hash) at = &(*at)->next;
    return at;
}

bool JCachetable::isFirstOfItsHash(const JCacheEntry* entry) const {
    return *firstOf(entry->hash) == entry;
}

/** Enters a slot under a hash that no other slot with an equal key has. */
void JCachetable::link(JCacheEntry* entry, int hash) {
    if (indexCount >= indexThreshold) reallocation();
    entry->hash = hash;
    linkAtHead(index, indexCapacity, entry);
    indexCount++;
}

/** Takes a slot out of the index, if it is in there, whatever its key equals. */
void JCachetable::unindex(const JCacheEntry* entry) {
    JCacheEntry** link = &index[bucketOf(entry->hash, indexCapacity)];
    while (*link != nullptr && *link != entry) link = &(*link)->next;
    if (*link == nullptr) return;
    *link = entry->next;
    indexCount--;
}

void JCachetable::removeElement(JObject& key) {
    JCacheEntry* const entry = getEntry(key);
    if (entry == nullptr) return;
    costMin(entry->slot);
    removeEntry(entry->key);
}

JCacheEntry* JCachetable::getEntry(JObject& key) {
    JCacheEntry** const link = findLink(index, indexCapacity, key, key.hashCode());
    return link != nullptr ? *link : nullptr;
}

void JCachetable::clear() {
    assert(areInPlace(index, indexCapacity, indexCount));
    for (int i = 0; i < indexCapacity; i++) {
        for (JCacheEntry* entry = index[i]; entry != nullptr; entry = entry->next) {
            drop(entry->key);
            drop(entry->value);
            entry->hash = 0;
            entry->useCount = 0;
        }
        index[i] = nullptr;
    }
    // The links stay as they are: they are written again as slots are taken again.
    reset();
}

// ---- hash index ----

void JCachetable::addEntry(JObject* key, JCacheEntry* entry) {
    const int hash = key->hashCode();
    if (JCacheEntry** const found = findLink(index, indexCapacity, *key, hash)) {
        increment(duplicates);
        if (*found == entry) return;
        entry->next = (*found)->next;
        entry->hash = hash;
        *found = entry;
        return;
    }
    link(entry, hash);
}

void JCachetable::removeEntry(JObject* key) {
    if (JCacheEntry** const found = findLink(index, indexCapacity, *key, key->hashCode())) removeAt(found);
}

void JCachetable::removeAt(JCacheEntry** at) {
    JCacheEntry* const entry = *at;
    *at = entry->next;
    drop(entry->key);
    drop(entry->value);
    entry->hash = 0;
    entry->next = nullptr;
    indexCount--;
}

void JCachetable::reallocation() {
    assert(areInPlace(index, indexCapacity, indexCount));
    growBuckets(index, indexCapacity);
    indexThreshold = thresholdOf(indexCapacity, indexLoadFactor);
}

// ---- recency list ----

/** Whether the recency list holds the slot: those taken so far, or slot 0 alone. */
bool JCachetable::isListed(int slot) const {
    return capacity_ > 0 && slot >= 0 && slot < std::max(count, 1);
}

/** Takes a slot that is not alone out of the list. */
void JCachetable::unlink(int slot) {
    const int before = previous[slot];
    const int after = following[slot];
    if (before != NONE) {
        following[before] = after;
    } else {
        mostRecent = after;
    }
    if (after != NONE) {
        previous[after] = before;
    } else {
        leastRecent = before;
    }
}

void JCachetable::costMax(int slot) {
    if (isListed(slot) && slot != mostRecent) toHead(slot);
}

void JCachetable::toHead(int slot) {
    assert(slot >= 0 && slot < capacity_ && slot != mostRecent);
    unlink(slot);
    previous[slot] = NONE;
    following[slot] = mostRecent;
    previous[mostRecent] = slot;
    mostRecent = slot;
}

void JCachetable::costMin(int slot) {
    if (!isListed(slot) || slot == leastRecent) return;
    unlink(slot);
    previous[slot] = leastRecent;
    following[slot] = NONE;
    following[leastRecent] = slot;
    leastRecent = slot;
}

// ---- counts ----

bool JCachetable::isFull() const {
    return count >= capacity_;
}
int JCachetable::size() const {
    return count;
}
int JCachetable::capacity() const {
    return capacity_;
}
int JCachetable::requests() const {
    return requests_;
}
int JCachetable::hits() const {
    return hits_;
}
int JCachetable::faults() const {
    return faults_;
}

JCacheEntries* JCachetable::getEntries() {
    return new JCacheEntries(this);
}

// ---- enumeration ----

JCacheEntries::JCacheEntries(JCachetable* table)
    : cache(table), cursor(table->capacity_ > 0 ? table->mostRecent : NONE) {
}

int JCacheEntries::hasMoreElements() {
    return cursor != NONE ? 1 : 0;
}

JObject* JCacheEntries::nextElement() {
    if (cursor == NONE) return nullptr;
    JCacheEntry* const entry = cache->entries[cursor];
    cursor = cache->following[cursor];
    return entry;
}
