#ifndef JAY_CORE_JINTEGERARRAY_H
#define JAY_CORE_JINTEGERARRAY_H

#include "core/JInteger.h"
#include "core/JObjectArray.h"

/**
 * A JObjectArray meant for JInteger. Its factory is const and so does not take the place of the base's: an
 * element that operator[] makes is a plain JObject (kept: callers rely on it), which is why operator[] hands
 * out JObject. Only the const factory makes a JInteger:
 *
 *     const JIntegerArray& factory = array;
 *     JObject* zero = factory.create();
 */
class JAY_API JIntegerArray : public JObjectArray {
public:
    static const JClass classJIntegerArray;

    JIntegerArray();
    explicit JIntegerArray(JSize* counter);  ///< the array counts in `counter`; see JObjectArray
    /** A copy, elements included. */
    JIntegerArray(const JIntegerArray& other);

    /** Takes over copies of the other's elements. */
    JIntegerArray& operator=(const JObjectArray& other);
    JIntegerArray& operator=(const JIntegerArray& other);

    const JClass* getClass() const override;

    using JObjectArray::create;

    /** A new JInteger of value 0; the caller owns it. */
    virtual JObject* create() const;
};

static_assert(sizeof(void*) != 4 || sizeof(JIntegerArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
