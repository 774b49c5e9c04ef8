#include "support/allocation/FailingAllocator.h"

#include <cstddef>
#include <cstdlib>

namespace {

thread_local long allocationCount = 0;
thread_local long blockCount = 0;
thread_local long untilFailure = 0;

void* allocate(std::size_t size) noexcept {
    allocationCount++;
    if (untilFailure > 0 && --untilFailure == 0) return nullptr;
    void* const block = std::malloc(size > 0 ? size : 1);
    if (block != nullptr) blockCount++;
    return block;
}

void* allocateOrThrow(std::size_t size) {
    void* const block = allocate(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    blockCount--;
    std::free(block);
}

}  // namespace

long support::FailingAllocator::allocations() {
    return allocationCount;
}

long support::FailingAllocator::blocks() {
    return blockCount;
}

void support::FailingAllocator::failAfter(long n) {
    untilFailure = n;
}

// All forms but the aligned ones: a sanitizer's own form, mixed with one of these, would be reported as a mismatch.

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block);
}
