#ifndef JAY_BUS_DETAIL_PACKEDMESSAGE_H
#define JAY_BUS_DETAIL_PACKEDMESSAGE_H

#include <cstddef>
#include <memory>

#include "bus/M.h"

namespace jay::detail {

/**
 * A received message whose bytes lie behind the object in one block of memory, which spares an allocation. It behaves as
 * any other message. If it grows, its bytes move to a buffer of their own.
 */
class PackedMessage final : public M {
public:
    /** A message that is a copy of these bytes; its read cursor is at the start. */
    static std::unique_ptr<M> copyOf(const char* bytes, int length);

    ~PackedMessage() override;

    static void operator delete(void* block) { ::operator delete(block); }

    /** Whether these bytes lie behind the object. */
    bool isPacked(const char* bytes) const { return bytes == reinterpret_cast<const char*>(this + 1); }

private:
    PackedMessage(const char* bytes, int length);

    static void* operator new(std::size_t size, int length) {
        return ::operator new(size + static_cast<std::size_t>(length));
    }
    static void operator delete(void* block, int) { ::operator delete(block); }
};

}  // namespace jay::detail

#endif
