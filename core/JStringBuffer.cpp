#include "core/JStringBuffer.h"

#include <cstring>
#include <memory>

#include "core/detail/Growth.h"
#include "core/detail/TextSize.h"
#include "core/JNumber.h"

using jay::detail::allocatedFor;
using jay::detail::textLength;
using jay::detail::textSize;

const JClass JStringBuffer::classJStringBuffer = {"JStringBuffer", sizeof(JStringBuffer),
                                                  &JObject::classJObject};

namespace {

constexpr int BLOCK = 256;
constexpr int NUMBER_TEXT = 40;

}  // namespace

JStringBuffer::JStringBuffer(int n) : JStringBuffer() {
    resize(n);
}

JStringBuffer::~JStringBuffer() {
    delete[] data;
}

void JStringBuffer::resize(int extra) {
    makeRoom(extra);
}

/**
 * Does what resize() says and hands out the array that was replaced, if one was: it may be what is being
 * appended.
 */
std::unique_ptr<char[]> JStringBuffer::makeRoom(int extra) {
    if (data == nullptr) {
        data = new char[BLOCK]();
        capacity = BLOCK;
    }
    const long long need = static_cast<long long>(length_) + extra - 1;
    if (need < capacity) return nullptr;
    const int size = textSize((need + BLOCK) / BLOCK * BLOCK);
    const std::size_t bytes = allocatedFor(size, BLOCK);
    std::unique_ptr<char[]> replaced;
    if (bytes != allocatedFor(capacity, BLOCK)) {
        char* fresh = new char[bytes];
        std::memcpy(fresh, data, static_cast<std::size_t>(length_));
        std::memset(fresh + length_, 0, bytes - static_cast<std::size_t>(length_));
        replaced.reset(data);
        data = fresh;
    }
    capacity = size;
    return replaced;
}

JStringBuffer& JStringBuffer::append(const char* s) {
    const char* text = s == nullptr ? "" : s;
    const int size = textLength(text);
    std::unique_ptr<char[]> replaced;
    if (data == nullptr || size > capacity - length_) replaced = makeRoom(size);
    std::memcpy(data + length_, text, static_cast<std::size_t>(size));
    length_ += size;
    return *this;
}

JStringBuffer& JStringBuffer::append(const JString& s) {
    return append(static_cast<const char*>(s));
}

JStringBuffer& JStringBuffer::append(char c) {
    const char text[] = {c, '\0'};
    return append(text);
}

JStringBuffer& JStringBuffer::append(signed char c) {
    return append(static_cast<char>(c));
}

JStringBuffer& JStringBuffer::append(int n) {
    char text[NUMBER_TEXT];
    return append(static_cast<const char*>(sys_itoa(n, text, 10)));
}

JStringBuffer& JStringBuffer::append(unsigned n) {
    return append(static_cast<int>(n));
}

JStringBuffer& JStringBuffer::append(long n) {
    return append(static_cast<int>(n));
}

JStringBuffer& JStringBuffer::append(unsigned long n) {
    return append(static_cast<int>(n));
}

JStringBuffer& JStringBuffer::append(long long n) {
    char text[NUMBER_TEXT];
    return append(static_cast<const char*>(sys_i64toa(n, text, 10)));
}

JStringBuffer& JStringBuffer::append(unsigned long long n) {
    return append(static_cast<long long>(n));
}

JStringBuffer::operator const char*() {
    resize(1);
    data[length_] = '\0';
    return data;
}

JString JStringBuffer::toString() const {
    return JString(data, 0, length_);
}

void JStringBuffer::clear() {
    delete[] data;
    data = nullptr;
    capacity = 0;
    length_ = 0;
}

const JClass* JStringBuffer::getClass() const {
    return &classJStringBuffer;
}
