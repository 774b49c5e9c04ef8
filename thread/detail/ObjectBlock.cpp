#include "thread/detail/ObjectBlock.h"

#include <functional>
#include <new>

namespace jay::detail {

thread_local ObjectBlock* ObjectBlock::pending = nullptr;

void* ObjectBlock::allocate(std::size_t size) {
    auto* block = new (::operator new(sizeof(ObjectBlock) + size)) ObjectBlock;
    block->size_ = size;
    block->kept_ = false;
    block->below_ = pending;
    pending = block;
    return block->object();
}

void ObjectBlock::release(void* object) {
    if (object == nullptr) return;
    ObjectBlock* block = static_cast<ObjectBlock*>(object) - 1;
    if (block == pending) pending = block->below_;  // an argument of the constructor threw: never adopted
    if (!block->kept_) ::operator delete(block);
}

ObjectBlock* ObjectBlock::adopt(const void* part) {
    ObjectBlock* block = pending;
    if (block == nullptr || !block->holds(part)) return nullptr;
    pending = block->below_;
    return block;
}

bool ObjectBlock::holds(const void* part) {
    const char* first = static_cast<const char*>(object());
    const char* p = static_cast<const char*>(part);
    return std::less_equal<>()(first, p) && std::less<>()(p, first + size_);
}

}  // namespace jay::detail
