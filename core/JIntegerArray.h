#ifndef JAY_CORE_JINTEGERARRAY_H
#define JAY_CORE_JINTEGERARRAY_H

#include "core/JInteger.h"
#include "core/JObjectArray.h"

/**
 * A JObjectArray meant for JInteger.
 *
 * An element that operator[] makes is a plain JObject, not a JInteger (kept: callers rely on it): operator[] uses the
 * base's create(), and this class's create() is const and therefore another operation. Call create() for a JInteger.
 */
class JAY_API JIntegerArray : public JObjectArray {
public:
    static const JClass classJIntegerArray;

    JIntegerArray();
    explicit JIntegerArray(JSize* counter);  ///< `counter` records the largest length; see JObjectArray
    /** A copy, elements included. */
    JIntegerArray(const JIntegerArray& other);

    /** Takes over copies of the other's elements. */
    JIntegerArray& operator=(const JObjectArray& other);
    JIntegerArray& operator=(const JIntegerArray& other);

    const JClass* getClass() const override;

    /** A new JInteger of value 0; the caller owns it. It hides the base's create() and does not override it. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"  // hidden on purpose; clang warns here
    virtual JObject* create() const;
#pragma GCC diagnostic pop
};

static_assert(sizeof(void*) != 4 || sizeof(JIntegerArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
