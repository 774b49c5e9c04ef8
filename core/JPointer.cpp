#include "core/JPointer.h"

const JClass JPointer::classJPointer = {"JPointer", sizeof(JPointer), &JObject::classJObject};

JPointer::JPointer(JObject& object) : pointer(&object) {
}

JPointer& JPointer::operator=(JObject& object) {
    pointer = &object;
    return *this;
}

JPointer& JPointer::operator=(void* address) {
    pointer = address;
    return *this;
}

const JClass* JPointer::getClass() const {
    return &classJPointer;
}
