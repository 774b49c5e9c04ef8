#include "core/JObject.h"

#include <cstring>

const JClass JObject::classJObject = {"JObject", sizeof(JObject), nullptr};

JObject::~JObject() = default;

bool JObject::equals(const JObject& other) {
    const JClass* mine = getClass();
    const JClass* theirs = other.getClass();
    if (mine->size != theirs->size) return false;
    // strncmp, not memcmp: a name may be shorter than the instance, and nothing beyond its NUL is ours to
    // read.
    return std::strncmp(mine->name, theirs->name, static_cast<std::size_t>(mine->size)) == 0;
}

bool JObject::equals(const JObject* other) {
    return equals(*other);
}

int JObject::hashCode() {
    return 0;
}

JObject* JObject::clone() {
    return nullptr;
}

const JClass* JObject::getClass() const {
    return &classJObject;
}
