#include "core/JObjectArray.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <new>

#include "core/detail/Growth.h"

using jay::detail::allocatedFor;

const JClass JObjectArray::classJObjectArray = {"JObjectArray", sizeof(JObjectArray), &JObject::classJObject};

namespace {

constexpr int STEP = 8;  ///< slots by which the capacity grows

JObject** newSlots(int capacity) {
    return new JObject*[allocatedFor(capacity, STEP)]();
}

JObject* cloneOf(JObject& element) {
    return element.clone();
}

}  // namespace

JObjectArray::JObjectArray() : JObjectArray(static_cast<JSize*>(nullptr)) {
}

JObjectArray::JObjectArray(JSize* lengthCounter)
    : length_(0), capacity(0), counter(lengthCounter), elements(nullptr) {
}

// Delegating: should a clone fail, the destructor releases those made before it.
JObjectArray::JObjectArray(const JObjectArray& other) : JObjectArray() {
    *this = other;
}

JObjectArray::~JObjectArray() {
    clear();
}

JObjectArray& JObjectArray::operator=(const JObjectArray& other) {
    assign(other, cloneOf);
    return *this;
}

void JObjectArray::assign(const JObjectArray& other, JObject* (*copy)(JObject& element)) {
    clear();  // also when the other is this very array: kept
    elements = newSlots(other.length_);
    length_ = other.length_;
    capacity = other.length_;
    raiseCounter();
    for (int i = 0; i < length_; i++) {
        if (other.elements[i] != nullptr) elements[i] = copy(*other.elements[i]);
    }
}

JObject* JObjectArray::clone() {
    return new JObjectArray(*this);
}

const JClass* JObjectArray::getClass() const {
    return &classJObjectArray;
}

JObject* JObjectArray::create() {
    return new JObject;
}

int JObjectArray::length() const {
    return length_;
}

JObject& JObjectArray::operator[](int i) {
    i = std::max(i, 0);
    if (i >= capacity) {
        if (i == INT_MAX) throw std::bad_alloc();
        resize(i + 1);
    } else {
        length_ = std::max(length_, i + 1);  // slots behind the length are null already
    }
    raiseCounter();
    if (elements[i] == nullptr) elements[i] = create();
    return *elements[i];
}

void JObjectArray::resize(int n) {
    n = std::max(n, 0);  // no array has fewer than no elements
    if (n == length_) return;
    if (n < length_) deleteFrom(n);
    if (n >= capacity) grow(n);
    length_ = n;
    raiseCounter();
}

/** Makes the capacity the multiple of 8 from `n` on. At a capacity that is one already, it stays. */
void JObjectArray::grow(int n) {
    if (n > INT_MAX - (STEP - 1)) throw std::bad_alloc();
    const int larger = (n + STEP - 1) / STEP * STEP;
    if (elements == nullptr || allocatedFor(larger, STEP) != allocatedFor(capacity, STEP)) {
        JObject** slots = newSlots(larger);
        std::copy(elements, elements + std::min(length_, n), slots);
        delete[] elements;
        elements = slots;
    }
    capacity = larger;
}

void JObjectArray::clear() {
    deleteFrom(0);
    delete[] elements;
    elements = nullptr;
    length_ = 0;
    capacity = 0;
}

void JObjectArray::deleteFrom(int first) {
    for (int i = first; i < length_; i++) {
        delete elements[i];
        elements[i] = nullptr;
    }
}

/** For assertions: what holds between any two operations. */
bool JObjectArray::isConsistent() const {
    return length_ >= 0 && length_ <= capacity && (length_ == capacity || elements[length_] == nullptr);
}

void JObjectArray::raiseCounter() {
    assert(isConsistent());
    if (counter != nullptr && counter->size() < length_) counter->size(length_);
}
