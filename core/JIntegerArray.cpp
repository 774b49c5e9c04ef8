#include "core/JIntegerArray.h"

const JClass JIntegerArray::classJIntegerArray = {"JIntegerArray", sizeof(JIntegerArray),
                                                  &JObjectArray::classJObjectArray};

JIntegerArray::JIntegerArray() = default;
JIntegerArray::JIntegerArray(JSize* lengthCounter) : JObjectArray(lengthCounter) {
}
JIntegerArray::JIntegerArray(const JIntegerArray& other) = default;

JIntegerArray& JIntegerArray::operator=(const JObjectArray& other) {
    JObjectArray::operator=(other);
    return *this;
}

JIntegerArray& JIntegerArray::operator=(const JIntegerArray& other) = default;

const JClass* JIntegerArray::getClass() const {
    return &classJIntegerArray;
}

JObject* JIntegerArray::create() const {
    return new JInteger;
}
