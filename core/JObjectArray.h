#ifndef JAY_CORE_JOBJECTARRAY_H
#define JAY_CORE_JOBJECTARRAY_H

#include "core/JObject.h"
#include "core/JSize.h"

namespace jay::detail {
struct JObjectArrayPeer;  // for the library's own tests
}

/**
 * A growing array of owned objects. Reading an element that does not exist yet makes the array longer and
 * creates the element on the spot, through the virtual create():
 *
 *     JStringArray names;
 *     names[5] = "Kim";       // length 6; elements 0 to 4 are made when they are first read
 *
 * The capacity grows in steps of 8 slots, and shrinking does not lower it. Up to half as many slots again are allocated. An optional shared counter records the
 * largest length that the arrays sharing it have reached; it is raised, never lowered.
 *
 * The array owns its elements: they are deleted with it, by clear() and by shrinking. Access takes constant
 * time, growth by one constant time on average. Not thread-safe.
 */
class JAY_API JObjectArray : public JObject {
public:
    static const JClass classJObjectArray;

    JObjectArray();

    /** @param counter raised to this array's length whenever the length passes it; not owned; null for none.
     */
    explicit JObjectArray(JSize* counter);

    /** No counter; the elements are clones, see operator=. */
    JObjectArray(const JObjectArray& other);

    ~JObjectArray() override;

    /**
     * Replaces the content by clones of the other's elements. Elements whose class does not clone come out as
     * empty slots. The new capacity is exactly the other's length. Assigning an array to itself empties it
     * (kept: callers rely on it), and `other` must not be an element of
     * this array.
     */
    JObjectArray& operator=(const JObjectArray& other);

    /** A new plain JObjectArray with clones of the elements, also of a typed array. The caller owns it. */
    JObject* clone() override;

    const JClass* getClass() const override;

    /** Makes the element for an empty slot; the array owns it. Typed arrays override it. Not null. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"  // JIntegerArray hides it on purpose; GCC warns here
    virtual JObject* create();
#pragma GCC diagnostic pop

    int length() const;  ///< slots, empty ones included

    /** The element at `i`, made if there is none; a negative `i` counts as 0. Valid until the
     * slot is deleted or cleared. */
    JObject& operator[](int i);

    /** Makes the array `n` long, a negative `n` counting as 0: deletes elements behind it, or adds empty
     * slots. */
    void resize(int n);

    /** Deletes all elements and the slots. The counter stays. */
    void clear();

protected:
    /** operator= with `copy` in place of clone(). The array owns what `copy` returns; null leaves an empty slot. */
    void assign(const JObjectArray& other, JObject* (*copy)(JObject& element));

private:
    friend struct jay::detail::JObjectArrayPeer;

    JAY_HIDDEN void deleteFrom(int first);
    JAY_HIDDEN void grow(int n);
    JAY_HIDDEN void raiseCounter();
    JAY_HIDDEN bool isConsistent() const;

    int length_;
    int capacity;
    JSize* counter;
    JObject**
        elements;  // jay::detail::allocatedFor(capacity, 8) slots, owned with what they point to; null behind length_
};

static_assert(sizeof(void*) != 4 || sizeof(JObjectArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
