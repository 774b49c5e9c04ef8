#ifndef JAY_CORE_JOBJECT_H
#define JAY_CORE_JOBJECT_H

#include "core/JClass.h"
#include "core/JExport.h"

/**
 * The root of the class library. It holds no data; it gives every instance the same small set of virtual
 * operations and ties it to the record of its class.
 *
 * Slots: every subclass keeps the order of the virtual operations below and appends its own after them.
 * Only getClass() is const, because applications override exactly these signatures.
 *
 * Threads: no class derived from this one is safe to change from two threads at once unless its header says
 * so.
 */
class JAY_API JObject {
public:
    static const JClass classJObject;

    JObject() = default;
    JObject(const JObject&) = default;
    JObject& operator=(const JObject&) = default;
    virtual ~JObject();

    /**
     * Whether both objects are of the same class. Contents are not looked at: two JInteger of different
     * values are equal here. Classes that compare contents add an operation of their own
     * (JString::equals(JObject&)).
     *
     * The classes' records are compared, first by instance size, then by name over the first (instance
     * size) bytes at most; a name's NUL ends the comparison earlier. Kept: a class whose name is longer
     * than its instances is known by that much of its name only, so a plain JObject on a 32-bit device is
     * known by "JObj".
     */
    virtual bool equals(const JObject& other);

    /** equals(*other). `other` must not be null. */
    virtual bool equals(const JObject* other);

    /** A number that is equal for objects with equal contents; 0 in classes that do not support hashing. */
    virtual int hashCode();

    /** A new copy of this object, owned by the caller; null in classes that do not support copying. */
    virtual JObject* clone();

    /** The record of the object's own class. Never null; lives as long as the library. */
    virtual const JClass* getClass() const;
};

static_assert(sizeof(void*) != 4 || sizeof(JObject) == 4, "instance size is part of the 32-bit contract");

#endif
