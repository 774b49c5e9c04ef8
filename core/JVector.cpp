#include "core/JVector.h"

const JClass JVector::classJVector = {"JVector", sizeof(JVector), &JObject::classJObject};

JVector::JVector() = default;
JVector::~JVector() = default;

const JClass* JVector::getClass() const {
    return &classJVector;
}
