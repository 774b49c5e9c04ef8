#ifndef JAY_CONTAINERS_JHASHTABLE_H
#define JAY_CONTAINERS_JHASHTABLE_H

#include "containers/JEnumeration.h"
#include "core/JObject.h"

namespace jay::detail {
struct JHashtablePeer;  // for the library's own tests
}

class JHashEnumerator;

/** One pair of a JHashtable. The table owns key and value; the destructor releases nothing. */
class JAY_API JHashEntry : public JObject {
public:
    static const JClass classJHashEntry;

    JHashEntry();
    const JClass* getClass() const override;

    JHashEntry* next;  ///< the next entry of the same bucket, or null
    int hash;          ///< the key's full hashCode()
    JObject* key;      ///< the table's own clone, or null if the key does not clone
    JObject* value;    ///< the table's own clone, or null if the value does not clone
};

/**
 * Maps keys to values by separate chaining. The table takes clones of both and deletes them when their entry
 * goes.
 *
 * What a key class must override: hashCode(), clone() and equals(const JObject*), which is the operation that
 * finds keys. (A key whose clone() is null is stored without one and never found.) The equals of JObject
 * compares classes only, and JString does not override it (its comparison of texts is another operation). Two
 * different JStrings with the same hash code are therefore ONE key (kept: callers rely on it). JString's hash uses
 * every second byte only, so "ab" and "ac" are one key. A key class that distinguishes all texts:
 *
 *     class Name : public JString {
 *     public:
 *         Name(const char* s) : JString(s) {}
 *         using JString::equals;
 *         bool equals(const JObject* other) override {
 *             return JObject::equals(*other) && JString::equals(*static_cast<const JString*>(other));
 *         }
 *         JObject* clone() override { return new Name(*this); }
 *     };
 *
 * Use keys of one class in a table: a key's equals() must be symmetric, and Name and JString share a class record.
 *
 * Look-ups allocate nothing and take constant time on average. Past `capacity * loadFactor` entries the next
 * new key first grows the table to 2n+1 buckets, which asks no key for its hash again; it never shrinks.
 * Newer entries come first within a bucket. Not thread-safe.
 */
class JAY_API JHashtable : public JObject {
public:
    static const JClass classJHashtable;

    static constexpr int DEFAULT_CAPACITY = 533;        ///< buckets at first
    static constexpr float DEFAULT_LOAD_FACTOR = 4.0F;  ///< entries per bucket at which the table grows

    JHashtable();

    /** @param capacity buckets; DEFAULT_CAPACITY if below 1. */
    explicit JHashtable(int capacity);

    /** @param loadFactor entries per bucket before the table grows; not checked: at 0 or below every new key
     * makes it grow. */
    JHashtable(int capacity, float loadFactor);

    ~JHashtable() override;
    JHashtable(const JHashtable&) = delete;
    JHashtable& operator=(const JHashtable&) = delete;

    /** Makes the table empty with the given buckets; what it held is deleted. */
    void initialize(int capacity, float loadFactor);

    const JClass* getClass() const override;

    /**
     * Stores a clone of `value` under `key`. If the key is there its first clone is kept and the old value
     * deleted, after the new one was cloned. If memory runs out nothing is stored.
     * @return the entry, owned by the table.
     */
    JHashEntry* put(JObject& key, JObject& value);

    /** The table's own value, or null. */
    JObject* get(JObject& key);
    JObject* get(JObject* key);

    /** The key's entry, owned by the table, or null. */
    JHashEntry* getEntry(JObject& key);
    JHashEntry* getEntry(JObject* key);

    /** Deletes the key's entry, if there is one: key first, then value. */
    void remove(JObject& key);
    void remove(JObject* key);

    /** Deletes all entries; the buckets stay. An array that keyList() handed out stays its holder's. */
    void clear();

    int isEmpty() const;   ///< 1 or 0
    int size() const;      ///< entries
    int capacity() const;  ///< buckets

    /** Walks over the keys, or the values, bucket by bucket; the caller deletes the enumeration before the
     * table changes. */
    JHashEnumerator* keys();
    JHashEnumerator* elements();

    /**
     * The keys, size() of them, in the order of enumeration: the table's own objects in an array of the
     * table's own. The array last returned is released by the destructor; one that a later call replaced, or
     * that clear() forgot, is never released (kept: its holder goes on using it).
     */
    JObject** keyList();

    /** Grows the table to 2n+1 buckets. Enumerations made before must not be used any more. */
    void reallocation();

private:
    friend struct jay::detail::JHashtablePeer;

    int capacity_;
    int count;
    int threshold;
    float loadFactor;
    JHashEntry** table;  // owned, capacity_ chains
    JObject** keyList_;
};

/**
 * A walk over a JHashtable, made by keys() and elements(). hasMoreElements() is what moves on, nextElement()
 * only reads: ask exactly once before each (kept). The elements are the table's own.
 */
class JAY_API JHashEnumerator : public JEnumeration {
public:
    /** @param returnKeys 1 for keys, 0 for values. */
    JHashEnumerator(JHashEntry** table, int capacity, int returnKeys);

    /** Moves to the next element. @return 0 at the end, again and again. */
    int hasMoreElements() override;

    /** The element moved to; null if there is none. */
    JObject* nextElement() override;

private:
    JHashEntry** table;  // the table's, as it was
    JHashEntry* current;
    JHashEntry* following;
    int capacity;
    int bucket;
    int returnKeys;
};

static_assert(sizeof(void*) != 4 || sizeof(JHashEntry) == 20, "instance size is part of the 32-bit contract");
static_assert(sizeof(void*) != 4 || sizeof(JHashtable) == 28, "instance size is part of the 32-bit contract");
static_assert(sizeof(void*) != 4 || sizeof(JHashEnumerator) == 28,
              "instance size is part of the 32-bit contract");

#endif
