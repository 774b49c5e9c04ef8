#include "ui/JLayoutArray.h"

#include "ui/JLayout.h"

const JClass JLayoutArray::classJLayoutArray = {"JLayoutArray", sizeof(JLayoutArray),
                                                &JObjectArray::classJObjectArray};

JLayoutArray::JLayoutArray() = default;
JLayoutArray::JLayoutArray(JSize* lengthCounter) : JObjectArray(lengthCounter) {
}
JLayoutArray::JLayoutArray(const JLayoutArray& other) = default;

JLayoutArray& JLayoutArray::operator=(const JObjectArray& other) {
    JObjectArray::operator=(other);
    return *this;
}

JLayoutArray& JLayoutArray::operator=(const JLayoutArray& other) = default;

const JClass* JLayoutArray::getClass() const {
    return &classJLayoutArray;
}

JObject* JLayoutArray::create() {
    return new JLayout;
}

JLayout& JLayoutArray::operator[](int i) {
    return static_cast<JLayout&>(JObjectArray::operator[](i));
}
