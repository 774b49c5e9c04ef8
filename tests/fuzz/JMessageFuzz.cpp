// Two ways through JMessage. One reads, moves the cursors and writes in any order over bytes that a hostile
// peer may have sent: nothing outside of the buffer may be touched, and no length in the bytes may make a
// reader allocate beyond it. The other writes a list of items, compares the bytes with a naive encoder, and
// reads the list back.
#include "bus/JMessage.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <string>
#include <vector>

#include "Require.h"
#include "support/JMessagePeer.h"

using jay::detail::JMessagePeer;

namespace {

constexpr int MAX_SIZE =
    8192;  // the write cursor is the application's, not a peer's: no need to fill the memory

std::string bytesOf(const JByte& bytes) {
    return std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(bytes.size()));
}

std::string bytesOf(const JString& s) {
    return std::string(s.toCharArray(), static_cast<std::size_t>(s.length()));
}

JString stringOf(const std::string& bytes) {
    return JString(bytes.data(), 0, static_cast<int>(bytes.size()));
}

// ---- any order, any bytes ----

/** The little-endian number at `at`; bytes outside of the buffer count as 0. */
int numberAt(const JMessage& m, long long at, int bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) {
        if (at + i < 0 || at + i >= JMessagePeer::capacity(m)) continue;
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(JMessagePeer::data(m)[at + i]))
                 << (8 * i);
    }
    return static_cast<int>(value);
}

void readsNumbers(JMessage& m, FuzzedDataProvider& input) {
    const int at = m.getPos();
    const bool atEnd = at >= m.size();
    int bytes = 0;
    int value = 0;
    switch (input.ConsumeIntegralInRange(0, 2)) {
        case 0:
            bytes = 1, value = m.getByte();
            break;
        case 1:
            bytes = 2, value = m.getWord();
            break;
        default:
            bytes = 4, value = m.getInt();
            break;
    }
    REQUIRE(value == (atEnd ? 0 : numberAt(m, at, bytes)));
    REQUIRE(m.getPos() == (atEnd ? at : at + bytes));
}

void readsVarInt(JMessage& m, FuzzedDataProvider&) {
    const int at = m.getPos();
    const bool atEnd = at >= m.size();
    const int first = numberAt(m, at, 1);
    const int more = atEnd || first < 254 ? 0 : first == 254 ? 2 : 4;
    const int value = m.getVarInt();
    if (atEnd) {
        REQUIRE(value == 0 && m.getPos() == at);
    } else {
        REQUIRE(value == (more == 0 ? first : numberAt(m, at + 1LL, more)));
        REQUIRE(m.getPos() == at + 1 + more);
    }
}

void readsStrings(JMessage& m, FuzzedDataProvider& input) {
    const bool atEnd = m.getPos() >= m.size();
    const JString def("default");
    JString s;
    switch (input.ConsumeIntegralInRange(0, 2)) {
        case 0:
            s = JString(m.getString());
            break;
        case 1:
            s = JString(m.getString("default"));
            break;
        default:
            s = JString(m.getString(def));
            break;
    }
    REQUIRE(s.length() <= std::max(JMessagePeer::capacity(m), def.length()));
    if (atEnd) REQUIRE(s.length() == 0 || s == def);
}

void readsBlocks(JMessage& m, FuzzedDataProvider& input) {
    const int n = input.ConsumeBool() ? input.ConsumeIntegral<int>() : input.ConsumeIntegralInRange(0, 64);
    const int at = m.getPos();
    const bool atEnd = at >= m.size();
    const JByte block = m.getBytes(n);
    REQUIRE(block.size() <= std::max(0, std::min(n, JMessagePeer::capacity(m))));
    if (atEnd) REQUIRE(block.size() == 0 && m.getPos() == at);
    if (!atEnd && at >= 0)
        REQUIRE(std::memcmp(static_cast<const char*>(block), JMessagePeer::data(m) + at,
                            static_cast<std::size_t>(block.size())) == 0);
}

void readsNumbersAsText(JMessage& m, FuzzedDataProvider& input) {
    const bool fixed = input.ConsumeBool();
    const int at = m.getPos();
    const JString text = fixed ? m.getIntToString() : m.getVarIntToString();
    const int end = m.setPos(at);
    REQUIRE(bytesOf(text) == std::to_string(fixed ? m.getInt() : m.getVarInt()));
    REQUIRE(m.getPos() == end);
}

void movesCursors(JMessage& m, FuzzedDataProvider& input) {
    const int pos = m.getPos();
    const int wpos = m.getWPos();
    if (input.ConsumeBool()) {
        const int to = input.ConsumeBool() ? input.ConsumeIntegral<int>()
                                           : input.ConsumeIntegralInRange(-8, m.size() + 8);
        REQUIRE(m.setPos(to) == pos);
        REQUIRE(m.getPos() == to && m.getWPos() == wpos);
    } else {
        const int to = input.ConsumeIntegralInRange(-8, MAX_SIZE);
        REQUIRE(m.setWPos(to) == wpos);
        REQUIRE(m.getWPos() == std::max(to, 0) && m.getPos() == pos);
    }
}

void makesRoom(JMessage& m, FuzzedDataProvider& input) {
    const int size = m.size();
    const int n = input.ConsumeIntegralInRange(-8, MAX_SIZE);
    m.resize(n);
    REQUIRE(m.size() == size);
    REQUIRE(JMessagePeer::capacity(m) >= size + n);
}

void writesSomething(JMessage& m, FuzzedDataProvider& input) {
    const int at = m.size();
    const int v = input.ConsumeIntegral<int>();
    switch (input.ConsumeIntegralInRange(0, 4)) {
        case 0:
            m.addByte(v);
            break;
        case 1:
            m.addWord(v);
            break;
        case 2:
            m.addInt(v);
            break;
        case 3:
            m.addVarInt(v);
            break;
        default:
            m.addString(stringOf(input.ConsumeRandomLengthString(300)));
            break;
    }
    REQUIRE(m.size() > at);
    REQUIRE(m.size() <= JMessagePeer::capacity(m));
}

void copies(JMessage& m, FuzzedDataProvider&) {
    const std::string bytes = bytesOf(m.toByteArray());
    REQUIRE(static_cast<int>(bytes.size()) == m.size());
    JMessage copy(m);
    REQUIRE(copy.getPos() == 0 && bytesOf(copy.toByteArray()) == bytes);
    JMessage assigned;
    assigned.addInt(-1);
    assigned = m;
    REQUIRE(assigned.getPos() == 0 && bytesOf(assigned.toByteArray()) == bytes);
    const std::unique_ptr<JObject> clone(m.clone());
    REQUIRE(bytesOf(static_cast<JMessage&>(*clone).toByteArray()) == bytes);
}

constexpr void (*OPERATIONS[])(JMessage&, FuzzedDataProvider&) = {
    readsNumbers, readsVarInt, readsStrings,    readsBlocks, readsNumbersAsText,
    movesCursors, makesRoom,   writesSomething, copies,
};

void anyOrder(FuzzedDataProvider& input) {
    std::string bytes = input.ConsumeRandomLengthString(600);
    JMessage m(bytes.data(), 0, static_cast<int>(bytes.size()));
    while (input.remaining_bytes() > 0) {
        input.PickValueInArray(OPERATIONS)(m, input);
        REQUIRE(m.size() >= 0);
        if (m.size() > 2 * MAX_SIZE) return;
    }
}

// ---- what is written is read back ----

struct Item {
    enum Kind { BYTE, WORD, INT, VAR_INT, TEXT, RUN, LAST = RUN };
    Kind kind;
    int number;
    std::string bytes;
};

Item anyItem(FuzzedDataProvider& input) {
    Item item{static_cast<Item::Kind>(input.ConsumeIntegralInRange<int>(0, Item::LAST)), 0, ""};
    if (item.kind == Item::TEXT || item.kind == Item::RUN) {
        item.bytes = input.ConsumeRandomLengthString(300);
    } else if (item.kind == Item::VAR_INT) {
        item.number = input.ConsumeIntegralInRange(0, 0x7fffffff);  // negative ones are not read back
    } else {
        item.number = input.ConsumeIntegral<int>();
    }
    return item;
}

void encode(std::string& to, int number, int bytes) {
    for (int i = 0; i < bytes; ++i) to.push_back(static_cast<char>(static_cast<unsigned>(number) >> (8 * i)));
}

void encodeVarInt(std::string& to, int n) {
    if (n < 254) {
        encode(to, n, 1);
    } else if (n <= 65535) {
        encode(to, 254, 1);
        encode(to, n, 2);
    } else {
        encode(to, 255, 1);
        encode(to, n, 4);
    }
}

void encode(std::string& to, const Item& item) {
    switch (item.kind) {
        case Item::BYTE:
            return encode(to, item.number, 1);
        case Item::WORD:
            return encode(to, item.number, 2);
        case Item::INT:
            return encode(to, item.number, 4);
        case Item::VAR_INT:
            return encodeVarInt(to, item.number);
        case Item::TEXT:
            encodeVarInt(to, static_cast<int>(item.bytes.size()));
            break;
        case Item::RUN:
            break;
    }
    to += item.bytes;
}

/** The capacity after room was made for `n` bytes behind `size`: the next multiple of 256 that is large
 * enough. */
int grown(int capacity, int size, int n) {
    const int last = size - 1 + n;
    return last < std::max(capacity, 256) ? std::max(capacity, 256) : (last + 256) / 256 * 256;
}

int grown(int capacity, int size, const Item& item) {
    const int length = static_cast<int>(item.bytes.size());
    switch (item.kind) {
        case Item::BYTE:
            return grown(capacity, size, 1);
        case Item::WORD:
            return grown(capacity, size, 2);
        case Item::INT:
            return grown(capacity, size, 4);
        case Item::VAR_INT:
            return grown(capacity, size, 5);  // room for the longest form comes first
        case Item::TEXT:
            return grown(grown(capacity, size, 5), size + (length < 254 ? 1 : 3), length);
        case Item::RUN:
            return grown(capacity, size, length);
    }
    return 0;
}

void write(JMessage& m, const Item& item) {
    switch (item.kind) {
        case Item::BYTE:
            return m.addByte(item.number);
        case Item::WORD:
            return m.addWord(item.number);
        case Item::INT:
            return m.addInt(item.number);
        case Item::VAR_INT:
            return m.addVarInt(item.number);
        case Item::TEXT:
            return m.addString(stringOf(item.bytes));
        case Item::RUN:
            return m.addBytes(JByte(item.bytes.data(), 0, static_cast<int>(item.bytes.size())));
    }
}

void requireRead(JMessage& m, const Item& item) {
    switch (item.kind) {
        case Item::BYTE:
            REQUIRE(m.getByte() == (item.number & 0xff));
            break;
        case Item::WORD:
            REQUIRE(m.getWord() == (item.number & 0xffff));
            break;
        case Item::INT:
            REQUIRE(m.getInt() == item.number);
            break;
        case Item::VAR_INT:
            REQUIRE(m.getVarInt() == item.number);
            break;
        case Item::TEXT:
            REQUIRE(bytesOf(m.getString()) == item.bytes);
            break;
        case Item::RUN:
            REQUIRE(bytesOf(m.getBytes(static_cast<int>(item.bytes.size()))) == item.bytes);
            break;
    }
}

void thereAndBack(FuzzedDataProvider& input) {
    std::vector<Item> items;
    std::string expected;
    JMessage m;
    while (input.remaining_bytes() > 0 && items.size() < 200) {
        items.push_back(anyItem(input));
        const int capacity = grown(JMessagePeer::capacity(m), m.size(), items.back());
        write(m, items.back());
        encode(expected, items.back());
        REQUIRE(JMessagePeer::capacity(m) == capacity);
    }
    REQUIRE(bytesOf(m.toByteArray()) == expected);
    JMessage received(m.toByteArray());
    for (const Item& item : items) requireRead(received, item);
    REQUIRE(received.getPos() == received.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    if (input.ConsumeBool()) {
        anyOrder(input);
    } else {
        thereAndBack(input);
    }
    return 0;
}
