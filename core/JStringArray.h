#ifndef JAY_CORE_JSTRINGARRAY_H
#define JAY_CORE_JSTRINGARRAY_H

#include "core/JObjectArray.h"
#include "core/JString.h"

/** A JObjectArray of JString: an element is made as an empty string. Its clones are plain JObjectArrays. */
class JAY_API JStringArray : public JObjectArray {
public:
    static const JClass classJStringArray;

    JStringArray();
    explicit JStringArray(JSize* counter);  ///< `counter` records the largest length; see JObjectArray
    /** A copy, elements included. */
    JStringArray(const JStringArray& other);

    /** The base's assignment: the other's elements should be JString objects. */
    JStringArray& operator=(const JObjectArray& other);
    JStringArray& operator=(const JStringArray& other);

    const JClass* getClass() const override;
    JObject* create() override;

    /** The element at `i`, made if there is none, with every slot before it. */
    JString& operator[](int i);
};

static_assert(sizeof(void*) != 4 || sizeof(JStringArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
