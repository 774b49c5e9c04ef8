#ifndef JAY_CORE_JCLASS_H
#define JAY_CORE_JCLASS_H

#include "core/JExport.h"

/**
 * The record of one class: one constant instance per class, the static member `class` + class name
 * (`JString::classJString`). Returned by JObject::getClass() and compared by JObject::equals().
 *
 * The records are constant-initialised read-only data, usable from any static constructor and any thread.
 * Nothing in the library walks the superclass chain: there is no instance-of test.
 */
struct JClass {
    const char* name;          ///< the class's name, NUL-terminated
    int size;                  ///< size of one instance in bytes
    const JClass* superclass;  ///< the superclass's record; null for JObject only
};

#endif
