#include "bus/detail/PackedMessage.h"

#include <cstring>

namespace jay::detail {

std::unique_ptr<M> PackedMessage::copyOf(const char* bytes, int length) {
    return std::unique_ptr<M>(new (length) PackedMessage(bytes, length));
}

PackedMessage::PackedMessage(const char* bytes, int length) : M(nullptr, 0, 0) {
    data = reinterpret_cast<char*>(this + 1);
    std::memcpy(data, bytes, static_cast<std::size_t>(length));
    capacity = length;
    wpos = length;
}

PackedMessage::~PackedMessage() {
    if (isPacked(data)) data = nullptr;
}

}  // namespace jay::detail
