#include "bus/M.h"

#include <algorithm>

#include "bus/detail/MessageLayout.h"

using Layout = jay::detail::MessageLayout;

M::M() {
    addWord(8);  // not 16: kept, the true length is set before a message leaves
    addWord(0);
    addWord(0);
    addByte(0);
    addByte(0);
    addInt(0);
    addInt(0);
}

M::M(void* p, int off, int len) : JMessage(p, off, len) {
}
M::M(const JByte& b) : JMessage(b) {
}
M::M(const M& m) = default;
M::~M() = default;

/** A field that lies in the message is read where it is. One that the message ends before, or within, is read as the
 * typed readers do. */
template <int BYTES>
int M::field(int offset) {
    unsigned value = 0;
    if (offset + BYTES <= std::min(wpos, capacity)) {
        const auto* at = reinterpret_cast<const unsigned char*>(data) + offset;
        for (int i = 0; i < BYTES; i++) value |= static_cast<unsigned>(at[i]) << (8 * i);
    } else if (offset < wpos) {
        const int saved = setPos(offset);
        value = take(BYTES);
        setPos(saved);
    }
    return static_cast<int>(value);
}

/** A field for which the buffer has no room is written as the typed writers do. */
template <int BYTES>
void M::setField(int offset, int value) {
    if (offset + BYTES <= capacity) {
        for (int i = 0; i < BYTES; i++)
            data[offset + i] = static_cast<char>(static_cast<unsigned>(value) >> (8 * i));
        return;
    }
    const int saved = setWPos(offset);
    JMessage::put(static_cast<unsigned>(value), BYTES);
    setWPos(saved);
}

int M::getLength() {
    return field<2>(Layout::LENGTH);
}
void M::setLength(int n) {
    setField<2>(Layout::LENGTH, n);
}
int M::getDestId() {
    return field<2>(Layout::DEST);
}
void M::setDestId(int id) {
    setField<2>(Layout::DEST, id);
}
int M::getSrcId() {
    return field<2>(Layout::SRC);
}
void M::setSrcId(int id) {
    setField<2>(Layout::SRC, id);
}
int M::getFlag() {
    return field<1>(Layout::FLAG);
}
void M::setFlag(int flag) {
    setField<1>(Layout::FLAG, flag);
}
int M::getPriority() {
    return field<1>(Layout::PRIORITY);
}
void M::setPriority(int priority) {
    setField<1>(Layout::PRIORITY, priority);
}
int M::getTimestamp() {
    return field<4>(Layout::TIMESTAMP);
}
void M::setTimestamp(long long ms) {
    setField<4>(Layout::TIMESTAMP, static_cast<int>(static_cast<unsigned long long>(ms) & 0x7FFFFFFFU));
}
int M::getSection() {
    return field<4>(Layout::SECTION);
}
void M::setSection(int section) {
    setField<4>(Layout::SECTION, section);
}

JByte M::toByteArray() {
    setLength(size());
    return JMessage::toByteArray();
}

const char* M::bytes() {
    setLength(size());
    return whole();
}

int M::copyTo(void* to, int size) {
    setLength(this->size());
    return JMessage::copyTo(to, size);
}
