#include "containers/JEnumeration.h"

const JClass JEnumeration::classJEnumeration = {"JEnumeration", sizeof(JEnumeration), &JObject::classJObject};

const JClass* JEnumeration::getClass() const {
    return &classJEnumeration;
}
