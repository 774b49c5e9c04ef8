#include "core/JByte.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

/** An array for `n` bytes, one byte at least: a block without bytes has a data pointer too. */
char* allocate(int n) {
    return new char[static_cast<std::size_t>(std::max(n, 1))];
}

}  // namespace

JByte::JByte() : JByte(0) {
}

JByte::JByte(int n) : data(allocate(n)), size_(std::max(n, 0)) {
}

JByte::JByte(const char* p, int offset, int len) : JByte(p == nullptr ? 0 : len) {
    if (size_ > 0) std::memcpy(data, p + offset, static_cast<std::size_t>(size_));
}

JByte::JByte(void* p, int offset, int len) : JByte(static_cast<const char*>(p), offset, len) {
}

JByte::JByte(const JByte& other) : JByte(other.data, 0, other.size_) {
}

JByte::~JByte() {
    delete[] data;
}

JByte& JByte::operator=(const JByte& other) {
    if (size_ < other.size_) resize(other.size_);
    size_ = other.size_;
    std::memmove(data, other.data, static_cast<std::size_t>(size_));  // the block may be assigned to itself
    return *this;
}

char* JByte::resize(int n) {
    char* fresh = allocate(n);  // before the old array goes: a failed allocation leaves the block as it was
    delete[] data;
    data = fresh;
    size_ = std::max(n, 0);
    return data;
}
