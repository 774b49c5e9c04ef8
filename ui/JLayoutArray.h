#ifndef JAY_UI_JLAYOUTARRAY_H
#define JAY_UI_JLAYOUTARRAY_H

#include "core/JObjectArray.h"

class JLayout;

/** A JObjectArray of JLayout: an element is made as a default node. Its clones are plain JObjectArrays. */
class JAY_API JLayoutArray : public JObjectArray {
public:
    static const JClass classJLayoutArray;

    JLayoutArray();
    explicit JLayoutArray(JSize* counter);  ///< `counter` records the largest length; see JObjectArray
    /** A copy; a JLayout does not clone, so the elements come out as empty slots (kept). */
    JLayoutArray(const JLayoutArray& other);

    /** The base's assignment. A JLayout does not clone, so the elements come out as empty slots (kept). */
    JLayoutArray& operator=(const JObjectArray& other);
    JLayoutArray& operator=(const JLayoutArray& other);

    const JClass* getClass() const override;
    JObject* create() override;

    /** The node at `i`, made if there is none, with every slot before it. */
    JLayout& operator[](int i);
};

static_assert(sizeof(void*) != 4 || sizeof(JLayoutArray) == 20,
              "instance size is part of the 32-bit contract");

#endif
