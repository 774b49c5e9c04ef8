#include "bus/M.h"

#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "bus/Bytes.h"
#include "support/JMessagePeer.h"

using Inside = jay::detail::JMessagePeer;
using bus::block;
using bus::hex;
using bus::text;
using bus::unhex;

namespace {

const char* const NEW_HEADER = "08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
const char* const EVERY_BYTE = "01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10";

M received(const std::string& digits) {
    return M(block(unhex(digits)));
}

/** What lies at a place of the message, as digits. */
std::string at(const M& m, int offset, int size) {
    return hex(
        text(m.JMessage::toByteArray()).substr(static_cast<size_t>(offset), static_cast<size_t>(size)));
}

}  // namespace

// ---- class and construction ----

TEST(MTest, IsAMessageWithNothingAdded) {
    EXPECT_TRUE((std::is_base_of<JMessage, M>::value));
    EXPECT_EQ(sizeof(M), sizeof(JMessage));
    M m;
    EXPECT_EQ(m.getClass(), &JMessage::classJMessage);
}

TEST(MTest, Flags_AreTheBitsOfTheFlagByte) {
    EXPECT_EQ(M::M_FLAG_SYNC, 1);
    EXPECT_EQ(M::M_FLAG_BROADCAST, 2);
    EXPECT_EQ(M::M_FLAG_TIMED, 4);
}

TEST(MTest, New_HasAHeaderWithALengthOf8AndZerosAndWritesBehindIt) {
    M m;
    EXPECT_EQ(hex(m), NEW_HEADER);
    EXPECT_EQ(m.getWPos(), 16);
    EXPECT_EQ(m.getPos(), 0);
    EXPECT_EQ(Inside::capacity(m), 256);
    EXPECT_EQ(m.getLength(), 8);
    m.addString("abc");
    EXPECT_EQ(hex(m), std::string(NEW_HEADER) + " 03 61 62 63");
}

TEST(MTest, FromMemory_CopiesTheRange) {
    std::string bytes = unhex(std::string("ff ff ") + EVERY_BYTE + " ff");
    M m(&bytes[0], 2, 16);
    EXPECT_EQ(hex(m), EVERY_BYTE);
    EXPECT_EQ(Inside::capacity(m), 16);
    EXPECT_EQ(m.getPos(), 0);
}

TEST(MTest, FromABlock_CopiesIt) {
    JByte b = block(unhex(EVERY_BYTE));
    M m(b);
    EXPECT_EQ(hex(m), EVERY_BYTE);
    EXPECT_EQ(m.getPos(), 0);
}

TEST(MTest, Copy_StartsToReadAtTheBeginning) {
    M m;
    m.addInt(5);
    m.setPos(16);
    M copy(m);
    EXPECT_EQ(hex(copy), hex(m));
    EXPECT_EQ(copy.getPos(), 0);
    EXPECT_EQ(copy.size(), 20);
    EXPECT_EQ(m.getPos(), 16);
}

TEST(MTest, Assignment_TakesHeaderAndPayload) {
    M from = received(std::string(EVERY_BYTE) + " 61 62");
    M to;
    to.addInt(1);
    EXPECT_EQ(&(to = from), &to);
    EXPECT_EQ(hex(to), hex(from));
}

TEST(MTest, Clone_HoldsTheSameBytesThatTheAccessorsRead) {
    M m;
    m.setSrcId(5);
    m.addString("abc");
    const std::unique_ptr<JObject> clone(m.clone());
    M copy(dynamic_cast<JMessage&>(*clone).toByteArray());
    EXPECT_EQ(hex(copy), hex(m));
    EXPECT_EQ(copy.getSrcId(), 5);
}

// ---- header ----

namespace {

struct Field {
    const char* name;
    int offset;
    int size;
    std::function<int(M&)> get;
    std::function<void(M&, int)> set;
};

std::ostream& operator<<(std::ostream& out, const Field& field) {
    return out << field.name;
}

const Field FIELDS[] = {
    {"length", 0, 2, [](M& m) { return m.getLength(); }, [](M& m, int v) { m.setLength(v); }},
    {"destination", 2, 2, [](M& m) { return m.getDestId(); }, [](M& m, int v) { m.setDestId(v); }},
    {"source", 4, 2, [](M& m) { return m.getSrcId(); }, [](M& m, int v) { m.setSrcId(v); }},
    {"flag", 6, 1, [](M& m) { return m.getFlag(); }, [](M& m, int v) { m.setFlag(v); }},
    {"priority", 7, 1, [](M& m) { return m.getPriority(); }, [](M& m, int v) { m.setPriority(v); }},
    {"time stamp", 8, 4, [](M& m) { return m.getTimestamp(); }, [](M& m, int v) { m.setTimestamp(v); }},
    {"section", 12, 4, [](M& m) { return m.getSection(); }, [](M& m, int v) { m.setSection(v); }},
};

class HeaderFieldTest : public testing::TestWithParam<Field> {
protected:
    int get(M& m) const { return GetParam().get(m); }
    void set(M& m, int v) const { GetParam().set(m, v); }

    /** The little-endian number that a field of this size makes of `v`. */
    std::string image(int v) const {
        std::string bytes;
        for (int i = 0; i < GetParam().size; i++)
            bytes += static_cast<char>(static_cast<unsigned>(v) >> (8 * i));
        return hex(bytes);
    }
};

}  // namespace

TEST_P(HeaderFieldTest, IsReadFromItsPlace) {
    M m = received(EVERY_BYTE);
    unsigned expected = 0;
    for (int i = GetParam().size - 1; i >= 0; i--)
        expected = expected << 8 | static_cast<unsigned>(GetParam().offset + i + 1);
    EXPECT_EQ(get(m), static_cast<int>(expected));
}

TEST_P(HeaderFieldTest, IsWrittenToItsPlaceAndNowhereElse) {
    M m = received(EVERY_BYTE);
    set(m, 0x51525354);
    std::string expected = unhex(EVERY_BYTE);
    expected.replace(static_cast<size_t>(GetParam().offset), static_cast<size_t>(GetParam().size),
                     unhex(image(0x51525354)));
    EXPECT_EQ(hex(m), hex(expected));
}

TEST_P(HeaderFieldTest, KeepsTheLowBytesOnly) {
    M m;
    for (const int v : {0, 1, 255, 256, 65535, 65536, 70000, INT_MAX}) {
        set(m, v);
        EXPECT_EQ(at(m, GetParam().offset, GetParam().size), image(v));
        EXPECT_EQ(get(m), GetParam().size == 4 ? v : v & (GetParam().size == 1 ? 0xFF : 0xFFFF));
    }
}

TEST_P(HeaderFieldTest, CanBeUsedWhileThePayloadIsWritten) {
    M m;
    m.addByte(1);
    for (int i = 0; i < 5; i++) set(m, i);
    EXPECT_EQ(m.getWPos(), 17);
    EXPECT_EQ(get(m), 4);
    m.addByte(2);
    EXPECT_EQ(at(m, 16, 2), "01 02");
}

TEST_P(HeaderFieldTest, CanBeUsedWhileThePayloadIsRead) {
    M m;
    m.addString("abc");
    m.addInt(7);
    for (const int pos : {16, 20, 24, 1000, -1}) {
        m.setPos(pos);
        get(m);
        set(m, 3);
        EXPECT_EQ(m.getPos(), pos);
        EXPECT_EQ(m.getWPos(), 24);
    }
    m.setPos(16);
    EXPECT_EQ(text(m.getString()), "abc");
    get(m);
    EXPECT_EQ(m.getInt(), 7);
}

TEST_P(HeaderFieldTest, OfAMessageThatEndsBeforeIt_IsZero) {
    for (int size = 0; size <= GetParam().offset; size++) {
        M m(block(unhex(EVERY_BYTE).substr(0, static_cast<size_t>(size))));
        EXPECT_EQ(get(m), 0) << size;
        EXPECT_EQ(m.getPos(), 0);
    }
}

TEST_P(HeaderFieldTest, OfAMessageCutInsideIt_HasZerosForTheMissingBytes) {
    for (int size = GetParam().offset + 1; size < GetParam().offset + GetParam().size; size++) {
        M cut(block(unhex(EVERY_BYTE).substr(0, static_cast<size_t>(size))));
        M padded(block(unhex(EVERY_BYTE).substr(0, static_cast<size_t>(size)) + std::string(16, '\0')));
        EXPECT_EQ(get(cut), get(padded)) << size;
    }
}

TEST_P(HeaderFieldTest, OfAShortMessage_IsWrittenBehindItsEnd) {
    for (int size = 0; size < 16; size++) {
        M m(block(std::string(static_cast<size_t>(size), 'x')));
        set(m, 0x51525354);
        EXPECT_EQ(m.size(), size);
        m.setWPos(16);
        EXPECT_EQ(at(m, GetParam().offset, GetParam().size), image(0x51525354)) << size;
    }
}

INSTANTIATE_TEST_SUITE_P(M, HeaderFieldTest, testing::ValuesIn(FIELDS));

TEST(MTest, WordAndByteFields_AreUnsigned) {
    M m = received("ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff");
    EXPECT_EQ(m.getLength(), 65535);
    EXPECT_EQ(m.getDestId(), 65535);
    EXPECT_EQ(m.getSrcId(), 65535);
    EXPECT_EQ(m.getFlag(), 255);
    EXPECT_EQ(m.getPriority(), 255);
}

TEST(MTest, Section_IsAnyInt) {
    M m;
    for (const int v : {0, -1, INT_MIN, INT_MAX, 0x12345678}) {
        m.setSection(v);
        EXPECT_EQ(m.getSection(), v);
    }
}

TEST(MTest, DestId70000_IsStoredAs0x1170) {
    M m;
    m.setDestId(70000);
    EXPECT_EQ(m.getDestId(), 0x1170);
    EXPECT_EQ(at(m, 2, 2), "70 11");
}

TEST(MTest, Timestamp_KeepsTheLow31Bits) {
    struct {
        long long given;
        const char* bytes;
        int read;
    } const cases[] = {
        {0, "00 00 00 00", 0},
        {1, "01 00 00 00", 1},
        {0x7FFFFFFFLL, "ff ff ff 7f", INT_MAX},
        {0x80000000LL, "00 00 00 00", 0},
        {0x80000001LL, "01 00 00 00", 1},
        {0x180000001LL, "01 00 00 00", 1},
        {0xFFFFFFFFLL, "ff ff ff 7f", INT_MAX},
        {0x100000000LL, "00 00 00 00", 0},
        {1763680000123LL, "7b 18 85 23", 0x2385187B},
        {-1, "ff ff ff 7f", INT_MAX},
        {LLONG_MIN, "00 00 00 00", 0},
        {LLONG_MAX, "ff ff ff 7f", INT_MAX},
    };
    for (const auto& c : cases) {
        M m;
        m.setTimestamp(c.given);
        EXPECT_EQ(at(m, 8, 4), c.bytes) << c.given;
        EXPECT_EQ(m.getTimestamp(), c.read) << c.given;
    }
}

// ---- the whole ----

TEST(MTest, ToByteArray_OfANewMessageIsAHeaderOfLength16) {
    M m;
    EXPECT_EQ(hex(m.toByteArray()), "10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(MTest, ToByteArray_OfAMessageWithAStringHasItsTrueLength) {
    M m;
    m.addString("abc");
    EXPECT_EQ(hex(m.toByteArray()), "14 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03 61 62 63");
}

TEST(MTest, ToByteArray_ChangesTheMessageItself) {
    M m;
    m.addInt(0);
    m.setLength(999);
    m.setPos(17);
    m.toByteArray();
    EXPECT_EQ(m.getLength(), 20);
    EXPECT_EQ(m.getPos(), 17);
    EXPECT_EQ(m.size(), 20);
}

TEST(MTest, ToByteArray_OfAShortMessageSetsAsMuchOfTheLengthAsThereIs) {
    M m = received("ff ff ff ff ff ff ff ff");
    EXPECT_EQ(hex(m.toByteArray()), "08 00 ff ff ff ff ff ff");
    M one = received("ff");
    EXPECT_EQ(hex(one.toByteArray()), "01");
    M none = received("");
    EXPECT_EQ(none.toByteArray().size(), 0);
}

TEST(MTest, ToByteArray_CountsTheLengthIn16Bits) {
    M m;
    m.addBytes(JByte(M::MAX_SIZE - M::HEADER_SIZE));
    EXPECT_EQ(hex(m.toByteArray()).substr(0, 5), "ff ff");
    m.addByte(0);
    EXPECT_EQ(hex(m.toByteArray()).substr(0, 5), "00 00");
}

TEST(MTest, Bytes_AreTheMessagesOwn_WithItsTrueLength) {
    M m;
    m.addString("abc");
    const char* const bytes = m.bytes();
    EXPECT_EQ(hex(std::string(bytes, 20)), "14 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03 61 62 63");
    EXPECT_EQ(m.getLength(), 20);
    m.setDestId(7);
    EXPECT_EQ(bytes[2], 7);
}

TEST(MTest, Bytes_BehindTheBufferAreZeros) {
    M m = received(EVERY_BYTE);
    m.setWPos(600);
    ASSERT_EQ(m.size(), 600);
    const char* const bytes = m.bytes();
    EXPECT_EQ(text(m.toByteArray()), std::string(bytes, 600));
    EXPECT_EQ(std::string(bytes + 16, 584), std::string(584, '\0'));
}

TEST(MTest, CopyTo_SetsTheTrueLengthAlsoWhenTheMessageIsCut) {
    M m;
    m.addString("abc");
    for (const int size : {-1, 0, 2, 16, 20, 30}) {
        std::string to(30, 'x');
        m.setLength(0);
        const int n = m.copyTo(&to[0], size);
        EXPECT_EQ(n, std::max(0, std::min(size, 20)));
        EXPECT_EQ(to, text(m.toByteArray()).substr(0, static_cast<size_t>(n)) +
                          std::string(30 - static_cast<size_t>(n), 'x'));
    }
    EXPECT_EQ(m.getLength(), 20);
}

TEST(MTest, Greeting_IsABareHeaderWithTheClientAsItsSource) {
    M greeting;
    greeting.setSrcId(5);
    greeting.setTimestamp(0x12345678);
    EXPECT_EQ(hex(greeting.toByteArray()), "10 00 00 00 05 00 00 00 78 56 34 12 00 00 00 00");
}

TEST(MTest, Header_CanBeReadAsFourWordsAndTwoInts) {
    M m;
    m.setDestId(7);
    m.setSrcId(5);
    m.setFlag(M::M_FLAG_TIMED);
    m.setPriority(2);
    m.setTimestamp(1000);
    m.setSection(-1);
    JMessage words(m.toByteArray());
    EXPECT_EQ(words.getWord(), 16);
    EXPECT_EQ(words.getWord(), 7);
    EXPECT_EQ(words.getWord(), 5);
    EXPECT_EQ(words.getWord(), 0x0204);
    EXPECT_EQ(words.getInt(), 1000);
    EXPECT_EQ(words.getInt(), -1);
}
