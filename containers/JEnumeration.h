#ifndef JAY_CONTAINERS_JENUMERATION_H
#define JAY_CONTAINERS_JENUMERATION_H

#include "core/JObject.h"

/** A walk over objects: ask hasMoreElements() once before each nextElement(). */
class JAY_API JEnumeration : public JObject {
public:
    static const JClass classJEnumeration;

    const JClass* getClass() const override;

    /** Non-zero while there is one more element. The implementing class says whether the call also moves to it. */
    virtual int hasMoreElements() = 0;

    /** The element. The implementing class says who owns it. */
    virtual JObject* nextElement() = 0;
};

#endif
