#include "containers/JHashtable.h"

#include <cassert>
#include <memory>

#include "containers/detail/Buckets.h"

using namespace jay::detail;

const JClass JHashEntry::classJHashEntry = {"JHashEntry", sizeof(JHashEntry), &JObject::classJObject};
const JClass JHashtable::classJHashtable = {"JHashtable", sizeof(JHashtable), &JObject::classJObject};

// ---- entry ----

JHashEntry::JHashEntry() : next(nullptr), hash(0), key(nullptr), value(nullptr) {
}

const JClass* JHashEntry::getClass() const {
    return &classJHashEntry;
}

namespace {

void deleteEntry(JHashEntry* entry) {
    delete entry->key;
    delete entry->value;
    delete entry;
}

}  // namespace

// ---- table ----

JHashtable::JHashtable() : JHashtable(DEFAULT_CAPACITY, DEFAULT_LOAD_FACTOR) {
}
JHashtable::JHashtable(int buckets) : JHashtable(buckets, DEFAULT_LOAD_FACTOR) {
}

JHashtable::JHashtable(int buckets, float factor)
    : capacity_(0), count(0), threshold(0), loadFactor(0), table(nullptr), keyList_(nullptr) {
    initialize(buckets, factor);
}

JHashtable::~JHashtable() {
    JObject** const lent = keyList_;  // the last one is the table's own, though clear() forgets it
    if (count > 0) clear();
    delete[] lent;
    delete[] table;
}

void JHashtable::initialize(int buckets, float factor) {
    if (buckets < 1) buckets = DEFAULT_CAPACITY;
    JHashEntry** const fresh = newBuckets<JHashEntry>(buckets);
    clear();
    delete[] table;
    table = fresh;
    capacity_ = buckets;
    loadFactor = factor;
    threshold = thresholdOf(capacity_, loadFactor);
    count = 0;
    keyList_ = nullptr;
}

const JClass* JHashtable::getClass() const {
    return &classJHashtable;
}

JHashEntry* JHashtable::put(JObject& key, JObject& value) {
    const int hash = key.hashCode();
    JHashEntry** bucket = &table[bucketOf(hash, capacity_)];
    if (JHashEntry** link = findLinkIn(bucket, key, hash)) {
        JObject* const former = (*link)->value;
        (*link)->value = value.clone();
        delete former;
        return *link;
    }
    if (count >= threshold) {
        reallocation();
        bucket = &table[bucketOf(hash, capacity_)];
    }
    auto entry = std::make_unique<JHashEntry>();
    std::unique_ptr<JObject> keyClone(key.clone());
    std::unique_ptr<JObject> valueClone(value.clone());
    entry->hash = hash;
    entry->key = keyClone.release();
    entry->value = valueClone.release();
    entry->next = *bucket;
    *bucket = entry.get();
    count++;
    return entry.release();
}

JObject* JHashtable::get(JObject& key) {
    JHashEntry** link = findLink(table, capacity_, key, key.hashCode());
    return link != nullptr ? (*link)->value : nullptr;
}

JObject* JHashtable::get(JObject* key) {
    return get(*key);
}

JHashEntry* JHashtable::getEntry(JObject& key) {
    JHashEntry** link = findLink(table, capacity_, key, key.hashCode());
    return link != nullptr ? *link : nullptr;
}

JHashEntry* JHashtable::getEntry(JObject* key) {
    return getEntry(*key);
}

void JHashtable::remove(JObject& key) {
    JHashEntry** link = findLink(table, capacity_, key, key.hashCode());
    if (link == nullptr) return;
    JHashEntry* const entry = *link;
    *link = entry->next;
    count--;
    deleteEntry(entry);
}

void JHashtable::remove(JObject* key) {
    remove(*key);
}

void JHashtable::clear() {
    assert(areInPlace(table, capacity_, count));
    for (int i = 0; i < capacity_; i++) {
        while (JHashEntry* entry = table[i]) {
            table[i] = entry->next;
            deleteEntry(entry);
        }
    }
    count = 0;
    keyList_ = nullptr;
}

int JHashtable::isEmpty() const {
    return count == 0 ? 1 : 0;
}
int JHashtable::size() const {
    return count;
}
int JHashtable::capacity() const {
    return capacity_;
}

JHashEnumerator* JHashtable::keys() {
    return new JHashEnumerator(table, capacity_, 1);
}
JHashEnumerator* JHashtable::elements() {
    return new JHashEnumerator(table, capacity_, 0);
}

JObject** JHashtable::keyList() {
    JObject** const list = new JObject*[static_cast<size_t>(count)];
    JObject** to = list;
    for (int i = 0; i < capacity_; i++) {
        for (const JHashEntry* entry = table[i]; entry != nullptr; entry = entry->next) *to++ = entry->key;
    }
    return keyList_ = list;
}

void JHashtable::reallocation() {
    assert(areInPlace(table, capacity_, count));
    growBuckets(table, capacity_);
    threshold = thresholdOf(capacity_, loadFactor);
}

// ---- enumerator ----

JHashEnumerator::JHashEnumerator(JHashEntry** buckets, int bucketCount, int keysWanted)
    : table(buckets),
      current(nullptr),
      following(nullptr),
      capacity(bucketCount),
      bucket(-1),
      returnKeys(keysWanted) {
}

int JHashEnumerator::hasMoreElements() {
    current = following;
    while (current == nullptr && bucket < capacity) {
        if (++bucket < capacity) current = table[bucket];
    }
    following = current != nullptr ? current->next : nullptr;
    return current != nullptr ? 1 : 0;
}

JObject* JHashEnumerator::nextElement() {
    if (current == nullptr) return nullptr;
    return returnKeys != 0 ? current->key : current->value;
}
