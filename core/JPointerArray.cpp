#include "core/JPointerArray.h"

const JClass JPointerArray::classJPointerArray = {"JPointerArray", sizeof(JPointerArray),
                                                  &JObjectArray::classJObjectArray};

JPointerArray::JPointerArray() = default;
JPointerArray::JPointerArray(JSize* lengthCounter) : JObjectArray(lengthCounter) {
}
JPointerArray::JPointerArray(const JPointerArray& other) = default;

JPointerArray& JPointerArray::operator=(const JObjectArray& other) {
    JObjectArray::operator=(other);
    return *this;
}

JPointerArray& JPointerArray::operator=(const JPointerArray& other) = default;

const JClass* JPointerArray::getClass() const {
    return &classJPointerArray;
}

JObject* JPointerArray::create() {
    return new JPointer;
}

JPointer& JPointerArray::operator[](int i) {
    return static_cast<JPointer&>(JObjectArray::operator[](i));
}
