#include "bus/JMessage.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "bus/detail/PackedMessage.h"
#include "core/JNumber.h"
#include "system/JSystem.h"

const JClass JMessage::classJMessage = {"JMessage", sizeof(JMessage), &JObject::classJObject};

namespace {

constexpr int VAR_WORD = 0xFE;  ///< marker: a word follows
constexpr int VAR_INT = 0xFF;   ///< marker: an int follows

JString decimal(int value) {
    char text[40];
    return JString(sys_itoa(value, text, 10));
}

}  // namespace

// ---- construction and copying ----

JMessage::JMessage() : data(nullptr), capacity(0), pos(0), wpos(0) {
}

JMessage::JMessage(void* p, int off, int len) : JMessage() {
    if (p != nullptr) assign(static_cast<const char*>(p) + off, len, len);
}

JMessage::JMessage(const JByte& b) : JMessage() {
    assign(b, b.size(), b.size());
}

JMessage::JMessage(const JMessage& other) : JObject(other), data(nullptr), capacity(0), pos(0), wpos(0) {
    assign(other.data, other.present(0, other.wpos), other.wpos);
}

/** The content of a new message: a buffer of exactly its length. Bytes that are not present are 0. */
void JMessage::assign(const char* p, int presentBytes, int len) {
    if (len <= 0) return;
    data = new char[static_cast<size_t>(len)];
    capacity = len;
    fill(p, presentBytes, len);
}

/** The first `len` bytes, for which there is room, and the write cursor behind them. */
void JMessage::fill(const char* p, int presentBytes, int len) {
    if (presentBytes > 0) std::memcpy(data, p, static_cast<size_t>(presentBytes));
    std::memset(data + presentBytes, 0, static_cast<size_t>(len - presentBytes));
    wpos = len;
}

JMessage& JMessage::operator=(const JMessage& other) {
    pos = 0;
    if (this == &other) return *this;
    wpos = 0;
    resize(other.wpos);
    fill(other.data, other.present(0, other.wpos), other.wpos);
    return *this;
}

JMessage::~JMessage() {
    delete[] data;
}

JObject* JMessage::clone() {
    return new JMessage(*static_cast<const JMessage*>(this));
}

const JClass* JMessage::getClass() const {
    return &classJMessage;
}

// ---- cursors ----

int JMessage::size() const {
    return wpos;
}
int JMessage::getPos() const {
    return pos;
}
int JMessage::getWPos() const {
    return wpos;
}

int JMessage::setPos(int p) {
    const int previous = pos;
    pos = p;
    return previous;
}

int JMessage::setWPos(int p) {
    const int previous = wpos;
    p = std::max(p, 0);
    // Measured from the write cursor, so it may fall short of p: kept, the header accessors never get there.
    // min: the sum must not wrap around.
    if (p >= capacity) resize(std::min(p - capacity, INT_MAX - 1) + 1);
    wpos = p;
    return previous;
}

void JMessage::resize(int n) {
    if (data == nullptr) {
        data = new char[_MAX_BUFFER_SIZE]();
        capacity = _MAX_BUFFER_SIZE;
    }
    const long long last = static_cast<long long>(wpos) - 1 + n;
    if (last < capacity) return;
    const long long needed = (last + _MAX_BUFFER_SIZE) / _MAX_BUFFER_SIZE * _MAX_BUFFER_SIZE;
    if (needed > INT_MAX) throw std::bad_alloc();
    char* larger = new char[static_cast<size_t>(needed)]();
    const int kept = present(0, wpos);
    if (kept > 0) std::memcpy(larger, data, static_cast<size_t>(kept));
    replaceData(larger, static_cast<int>(needed));
}

void JMessage::replaceData(char* larger, int bytes) {
    const auto* packed = dynamic_cast<const jay::detail::PackedMessage*>(this);
    if (packed == nullptr || !packed->isPacked(data)) delete[] data;
    data = larger;
    capacity = bytes;
}

/** How many of the `n` bytes from `from` on lie in the buffer. */
int JMessage::present(int from, int n) const {
    if (from < 0 || from >= capacity) return 0;
    return std::max(0, std::min(n, capacity - from));
}

// ---- writers ----

void JMessage::put(unsigned value, int bytes) {
    resize(bytes);
    for (int i = 0; i < bytes; i++) data[wpos++] = static_cast<char>(value >> (8 * i));
}

void JMessage::addByte(int v) {
    put(static_cast<unsigned>(v), 1);
}
void JMessage::addWord(int v) {
    put(static_cast<unsigned>(v), 2);
}
void JMessage::addInt(int v) {
    put(static_cast<unsigned>(v), 4);
}

void JMessage::addVarInt(int v) {
    resize(5);  // room for the longest form, whichever it becomes
    if (v < VAR_WORD) {
        addByte(v);  // negative values too: kept
    } else if (v <= 0xFFFF) {
        addByte(VAR_WORD);
        addWord(v);
    } else {
        addByte(VAR_INT);
        addInt(v);
    }
}

void JMessage::addString(const char* s) {
    const int n = s != nullptr ? static_cast<int>(std::strlen(s)) : 0;
    addVarInt(n);
    addBytes(s, 0, n);
}

void JMessage::addString(const JString& s) {
    addVarInt(s.length());
    addBytes(static_cast<const char*>(s), 0, s.length());
}

void JMessage::addBytes(const void* p, int, int len) {
    if (p == nullptr) return;
    resize(len);
    if (len <= 0) return;
    std::memcpy(data + wpos, p, static_cast<size_t>(len));
    wpos += len;
}

void JMessage::addBytes(const JByte& b) {
    addBytes(static_cast<void*>(b), 0, b.size());
}

// ---- readers ----

int JMessage::getByte() {
    return atEnd() ? 0 : static_cast<int>(take(1));
}
int JMessage::getWord() {
    return atEnd() ? 0 : static_cast<int>(take(2));
}
int JMessage::getInt() {
    return atEnd() ? 0 : static_cast<int>(take(4));
}

int JMessage::getVarInt() {
    if (atEnd()) return 0;
    const unsigned first = take(1);
    // No second look at the end: a marker is followed by its number wherever the message ends.
    if (first == VAR_WORD) return static_cast<int>(take(2));
    if (first == VAR_INT) return static_cast<int>(take(4));
    return static_cast<int>(first);
}

JString JMessage::getString() {
    const int n = stringLength();
    return n > 0 ? takeString(n) : JString();
}

JString JMessage::getString(const char* def) {
    const int n = stringLength();
    return n > 0 ? takeString(n) : JString(def);
}

JString JMessage::getString(const JString& def) {
    const int n = stringLength();
    return n > 0 ? takeString(n) : def;
}

/** The length in front of a string; 0 when none of its bytes follow. */
int JMessage::stringLength() {
    const int n = getVarInt();
    return n > 0 && !atEnd() ? n : 0;
}

JString JMessage::takeString(int n) {
    const int from = pos;
    const int presentBytes = present(from, n);
    advance(n);
    return presentBytes > 0 ? JString(data, from, presentBytes) : JString();
}

JByte JMessage::getBytes(int n) {
    if (n <= 0 || atEnd()) return JByte();
    const int from = pos;
    const int presentBytes = present(from, n);
    advance(n);
    return presentBytes > 0 ? JByte(data, from, presentBytes) : JByte();
}

JString JMessage::getIntToString() {
    return decimal(getInt());
}
JString JMessage::getVarIntToString() {
    return decimal(getVarInt());
}

bool JMessage::atEnd() const {
    return pos >= wpos;
}

/** A little-endian number at the read cursor, whether the message is that long or not. */
unsigned JMessage::take(int bytes) {
    unsigned value = 0;
    if (pos >= 0 && pos <= capacity - bytes) {
        const auto* at = reinterpret_cast<const unsigned char*>(data) + pos;
        for (int i = 0; i < bytes; i++) value |= static_cast<unsigned>(at[i]) << (8 * i);
        pos += bytes;
        return value;
    }
    for (int i = 0; i < bytes; i++) value |= byteAt(static_cast<long long>(pos) + i) << (8 * i);
    advance(bytes);
    return value;
}

unsigned JMessage::byteAt(long long i) const {
    return i >= 0 && i < capacity ? static_cast<unsigned char>(data[i]) : 0U;
}

/** Moves the read cursor on; it stops at the largest number rather than wrap around. */
void JMessage::advance(int n) {
    pos = static_cast<int>(std::min<long long>(static_cast<long long>(pos) + n, INT_MAX));
}

// ---- the whole ----

JByte JMessage::toByteArray() const {
    JByte result(wpos);
    copyTo(result, wpos);
    return result;
}

int JMessage::copyTo(void* to, int size) const {
    const int n = std::max(0, std::min(size, wpos));
    const int presentBytes = present(0, n);
    if (presentBytes > 0) std::memcpy(to, data, static_cast<size_t>(presentBytes));
    if (n > presentBytes)
        std::memset(static_cast<char*>(to) + presentBytes, 0, static_cast<size_t>(n - presentBytes));
    return n;
}

/** All size() bytes where they are; the write cursor may stand beyond the buffer, which then grows. */
const char* JMessage::whole() {
    if (wpos > capacity) resize(0);
    return data;
}

void JMessage::dump() const {
    JSystem::dump(data, present(0, wpos));
}

void JMessage::Test() {
    JMessage message;
    message.addByte(1);
    message.addWord(2);
    message.addInt(3);
    message.addVarInt(65536);
    message.addString("1234567890");
    message.dump();
    const int sum = message.getByte() + message.getWord() + message.getInt() + message.getVarInt();
    const JString text = message.getString();
    JSystem::debug("JMessage %d %s\n", sum, static_cast<const char*>(text));
}
