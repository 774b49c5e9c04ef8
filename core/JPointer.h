#ifndef JAY_CORE_JPOINTER_H
#define JAY_CORE_JPOINTER_H

#include "core/JObject.h"

class JLayout;

/**
 * A boxed, untyped pointer. It does not own what it points to and never deletes it.
 *
 * The conversions return the held pointer unchanged, without a check of its type. Hold an object by
 * reference, or by a pointer to its JObject part, if it is to be read as a JObject*: the address of a class
 * with several bases may differ.
 */
class JAY_API JPointer : public JObject {
public:
    static const JClass classJPointer;

    /** Null. */
    JPointer() = default;

    /** Holds the object's address. A JPointer as argument is copied instead, here and in the assignments. */
    JPointer(JObject& object);
    JPointer(const JPointer&) = default;

    JPointer& operator=(const JPointer&) = default;
    JPointer& operator=(JObject& object);  ///< its address
    JPointer& operator=(void* address);    ///< the address itself

    /** The address. Its type is not known here and not checked. */
    operator JLayout*() { return static_cast<JLayout*>(pointer); }
    operator JObject*() { return static_cast<JObject*>(pointer); }
    operator void*() { return pointer; }

    /** The same on a const object. Both forms are needed: with the const ones alone, the conversion to JPointer* below would
     * be preferred on objects that are not const. */
    operator JLayout*() const { return static_cast<JLayout*>(pointer); }
    operator JObject*() const { return static_cast<JObject*>(pointer); }
    operator void*() const { return pointer; }

    /** This JPointer itself, not what it holds. */
    operator JPointer*() { return this; }

    const JClass* getClass() const override;

private:
    void* pointer = nullptr;
};

static_assert(sizeof(void*) != 4 || sizeof(JPointer) == 8, "instance size is part of the 32-bit contract");

#endif
