#include "core/JStringArray.h"

const JClass JStringArray::classJStringArray = {"JStringArray", sizeof(JStringArray),
                                                &JObjectArray::classJObjectArray};

JStringArray::JStringArray() = default;
JStringArray::JStringArray(JSize* lengthCounter) : JObjectArray(lengthCounter) {
}
JStringArray::JStringArray(const JStringArray& other) = default;

JStringArray& JStringArray::operator=(const JObjectArray& other) {
    JObjectArray::operator=(other);
    return *this;
}

JStringArray& JStringArray::operator=(const JStringArray& other) = default;

const JClass* JStringArray::getClass() const {
    return &classJStringArray;
}

JObject* JStringArray::create() {
    return new JString;
}

JString& JStringArray::operator[](int i) {
    return static_cast<JString&>(JObjectArray::operator[](i));
}
