#ifndef JAY_CORE_JPOINTERARRAY_H
#define JAY_CORE_JPOINTERARRAY_H

#include "core/JObjectArray.h"
#include "core/JPointer.h"

/** A JObjectArray of JPointer: an element is made as a null pointer. Its clones are plain JObjectArrays. */
class JAY_API JPointerArray : public JObjectArray {
public:
    static const JClass classJPointerArray;

    JPointerArray();
    explicit JPointerArray(JSize* counter);  ///< `counter` records the largest length; see JObjectArray
    /** A copy, elements included. */
    JPointerArray(const JPointerArray& other);

    /** The base's assignment: the other's elements should be JPointer objects. */
    JPointerArray& operator=(const JObjectArray& other);
    JPointerArray& operator=(const JPointerArray& other);

    const JClass* getClass() const override;
    JObject* create() override;

    /** The element at `i`, made if there is none, with every slot before it. */
    JPointer& operator[](int i);
};

static_assert(sizeof(void*) != 4 || sizeof(JPointerArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
