#include "core/JInteger.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "core/JString.h"

const JClass JInteger::classJInteger = {"JInteger", sizeof(JInteger), &JObject::classJObject};

namespace {

// By way of unsigned, where wrapping around is defined.
int wrappingSum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

}  // namespace

JInteger& JInteger::operator=(int n) {
    value = n;
    return *this;
}

JInteger& JInteger::operator+=(int n) {
    value = wrappingSum(value, n);
    return *this;
}

JInteger& JInteger::operator+=(const JInteger& n) {
    return *this += n.value;
}

int JInteger::parseInt(const char* text) {
    if (text == nullptr) return 0;
    // strtol stops at the limits of long; stopping at those of int makes the result the same for every
    // width of long.
    const long number = std::strtol(text, nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
}

int JInteger::parseInt(JString& text) {
    return parseInt(text.toCharArray());
}

const JClass* JInteger::getClass() const {
    return &classJInteger;
}

JInteger operator+(const JInteger& a, int b) {
    return wrappingSum(a, b);
}

JInteger operator+(int a, const JInteger& b) {
    return wrappingSum(a, b);
}

JInteger operator+(const JInteger& a, const JInteger& b) {
    return wrappingSum(a, b);
}
