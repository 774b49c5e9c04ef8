#include "bus/M.h"

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

int M::field(Offset offset, int (JMessage::*get)()) {
    const int saved = setPos(offset);
    const int value = (this->*get)();
    setPos(saved);
    return value;
}

void M::setField(Offset offset, void (JMessage::*add)(int), int value) {
    const int saved = setWPos(offset);
    (this->*add)(value);
    setWPos(saved);
}

int M::getLength() {
    return field(LENGTH, &JMessage::getWord);
}
void M::setLength(int n) {
    setField(LENGTH, &JMessage::addWord, n);
}
int M::getDestId() {
    return field(DEST, &JMessage::getWord);
}
void M::setDestId(int id) {
    setField(DEST, &JMessage::addWord, id);
}
int M::getSrcId() {
    return field(SRC, &JMessage::getWord);
}
void M::setSrcId(int id) {
    setField(SRC, &JMessage::addWord, id);
}
int M::getFlag() {
    return field(FLAG, &JMessage::getByte);
}
void M::setFlag(int flag) {
    setField(FLAG, &JMessage::addByte, flag);
}
int M::getPriority() {
    return field(PRIORITY, &JMessage::getByte);
}
void M::setPriority(int priority) {
    setField(PRIORITY, &JMessage::addByte, priority);
}
int M::getTimestamp() {
    return field(TIMESTAMP, &JMessage::getInt);
}
void M::setTimestamp(long long ms) {
    setField(TIMESTAMP, &JMessage::addInt,
             static_cast<int>(static_cast<unsigned long long>(ms) & 0x7FFFFFFFU));
}
int M::getSection() {
    return field(SECTION, &JMessage::getInt);
}
void M::setSection(int section) {
    setField(SECTION, &JMessage::addInt, section);
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
