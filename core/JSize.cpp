#include "core/JSize.h"

#include <utility>

const JClass JSize::classJSize = {"JSize", sizeof(JSize), &JObject::classJObject};

JSize& JSize::operator=(int n) {
    value = n;
    return *this;
}

int JSize::size(int n) {
    return std::exchange(value, n);
}

const JClass* JSize::getClass() const {
    return &classJSize;
}
