#ifndef JAY_CORE_JPOINTERARRAY_H
#define JAY_CORE_JPOINTERARRAY_H

#include "core/JObjectArray.h"
#include "core/JPointer.h"

/** A JObjectArray of JPointer: an element is made as a null pointer. Its clones are plain JObjectArrays. */
class JAY_API JPointerArray : public JObjectArray {
public:
    static const JClass classJPointerArray;

    JPointerArray();
    explicit JPointerArray(JSize* counter);
    JPointerArray(const JPointerArray& other);

    /** The base's assignment: the other's elements should be JPointer objects. */
    JPointerArray& operator=(const JObjectArray& other);
    JPointerArray& operator=(const JPointerArray& other);

    const JClass* getClass() const override;
    JObject* create() override;

    JPointer& operator[](int i);
};

static_assert(sizeof(void*) != 4 || sizeof(JPointerArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
