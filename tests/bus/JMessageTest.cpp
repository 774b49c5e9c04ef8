#include "bus/JMessage.h"

#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "bus/Bytes.h"
#include "bus/M.h"
#include "support/JMessagePeer.h"
#include "support/Stderr.h"

using Inside = jay::detail::JMessagePeer;
using bus::block;
using bus::hex;
using bus::messageOf;
using bus::text;

namespace {

char RAW[] = {1, 2, 3, 4, 5, 6};

/** A message with `n` bytes, the low bytes of their indexes. */
JMessage counting(int n) {
    JMessage m;
    for (int i = 0; i < n; i++) m.addByte(i);
    return m;
}

/** The smallest multiple of 256 above the index of the last byte. */
int grownFor(int last) {
    int capacity = 256;
    while (capacity <= last) capacity += 256;
    return capacity;
}

bool isZero(const JMessage& m, int from) {
    for (int i = from; i < Inside::capacity(m); i++)
        if (Inside::data(m)[i] != 0) return false;
    return true;
}

std::string repeated(const std::string& digits, int n) {
    std::string all;
    for (int i = 0; i < n; i++) all += (i == 0 ? "" : " ") + digits;
    return all;
}

}  // namespace

// ---- class ----

TEST(JMessageTest, Record_NamesTheClassItsSizeAndJObjectAsItsSuperclass) {
    JMessage m;
    EXPECT_EQ(m.getClass(), &JMessage::classJMessage);
    EXPECT_STREQ(JMessage::classJMessage.name, "JMessage");
    EXPECT_EQ(JMessage::classJMessage.size, static_cast<int>(sizeof(JMessage)));
    EXPECT_EQ(JMessage::classJMessage.superclass, &JObject::classJObject);
    EXPECT_EQ(JMessage::_MAX_BUFFER_SIZE, 256);
}

TEST(JMessageTest, EqualsAndHashCode_AreThoseOfEveryObject) {
    JMessage one;
    JMessage other;
    other.addInt(5);
    JObject plain;
    EXPECT_TRUE(one.equals(other));
    EXPECT_TRUE(one.equals(&other));
    EXPECT_FALSE(one.equals(plain));
    EXPECT_EQ(one.hashCode(), 0);
    EXPECT_EQ(other.hashCode(), 0);
}

// ---- construction and copying ----

TEST(JMessageTest, Default_HasNoBuffer) {
    JMessage m;
    EXPECT_EQ(Inside::data(m), nullptr);
    EXPECT_EQ(Inside::capacity(m), 0);
    EXPECT_EQ(m.getPos(), 0);
    EXPECT_EQ(m.getWPos(), 0);
    EXPECT_EQ(m.size(), 0);
}

TEST(JMessageTest, FromMemory_CopiesTheRangeIntoABufferOfItsLength) {
    JMessage m(RAW, 2, 3);
    RAW[2] = 99;
    EXPECT_EQ(hex(m), "03 04 05");
    RAW[2] = 3;
    EXPECT_EQ(Inside::capacity(m), 3);
    EXPECT_EQ(m.size(), 3);
    EXPECT_EQ(m.getPos(), 0);
}

TEST(JMessageTest, FromNothing_IsEmpty) {
    for (const int len : {0, -1, INT_MIN}) {
        JMessage m(RAW, 0, len);
        EXPECT_EQ(m.size(), 0) << len;
        EXPECT_EQ(Inside::capacity(m), 0) << len;
        m.addByte(7);
        EXPECT_EQ(hex(m), "07");
    }
    JMessage fromNull(nullptr, 0, 5);
    EXPECT_EQ(fromNull.size(), 0);
    JMessage fromEmptyBlock((JByte()));
    EXPECT_EQ(fromEmptyBlock.size(), 0);
}

TEST(JMessageTest, FromABlock_CopiesItIntoABufferOfItsSize) {
    JByte b = block("abc");
    JMessage m(b);
    static_cast<char*>(b)[0] = 'x';
    EXPECT_EQ(hex(m), "61 62 63");
    EXPECT_EQ(Inside::capacity(m), 3);
    EXPECT_EQ(m.getPos(), 0);
}

TEST(JMessageTest, Copy_StartsToReadAtTheBeginning) {
    JMessage m = counting(10);
    m.setPos(5);
    JMessage copy(m);
    EXPECT_EQ(copy.getPos(), 0);
    EXPECT_EQ(copy.size(), 10);
    EXPECT_EQ(Inside::capacity(copy), 10);
    EXPECT_EQ(hex(copy), hex(m));
    EXPECT_EQ(m.getPos(), 5);
}

TEST(JMessageTest, Copy_IsIndependent) {
    JMessage m = counting(3);
    JMessage copy(m);
    m.setWPos(0);
    m.addByte(99);
    EXPECT_EQ(hex(copy), "00 01 02");
}

TEST(JMessageTest, CopyOfAnEmptyMessage_HasNoBuffer) {
    const JMessage never;
    JMessage written = counting(5);
    written.setWPos(0);
    const JMessage copies[] = {JMessage(never), JMessage(written)};
    for (const JMessage& copy : copies) {
        EXPECT_EQ(copy.size(), 0);
        EXPECT_EQ(Inside::capacity(copy), 0);
    }
}

TEST(JMessageTest, Assignment_TakesTheBytesAndStartsBothCursorsAnew) {
    JMessage from = counting(300);
    from.setPos(7);
    JMessage to = counting(4);
    to.setPos(2);
    EXPECT_EQ(&(to = from), &to);
    EXPECT_EQ(hex(to), hex(from));
    EXPECT_EQ(to.getPos(), 0);
    EXPECT_EQ(to.getWPos(), 300);
    EXPECT_EQ(from.getPos(), 7);
}

TEST(JMessageTest, Assignment_MakesRoomByTheRuleOfGrowth) {
    JMessage into;
    into = JMessage();
    EXPECT_EQ(Inside::capacity(into), 256);
    into = counting(257);
    EXPECT_EQ(Inside::capacity(into), 512);
    into = counting(3);
    EXPECT_EQ(Inside::capacity(into), 512);
    JMessage exact(RAW, 0, 3);
    exact = counting(3);
    EXPECT_EQ(Inside::capacity(exact), 3);
    exact = counting(4);
    EXPECT_EQ(Inside::capacity(exact), 256);
}

TEST(JMessageTest, AssignmentToItself_KeepsTheBytes) {
    JMessage m = counting(5);
    m.setPos(3);
    JMessage& same = m;
    m = same;
    EXPECT_EQ(hex(m), "00 01 02 03 04");
    EXPECT_EQ(m.getPos(), 0);
}

TEST(JMessageTest, Clone_IsANewMessageWithTheSameBytes) {
    JMessage m = counting(5);
    m.setPos(3);
    const std::unique_ptr<JObject> clone(m.clone());
    auto& copy = dynamic_cast<JMessage&>(*clone);
    EXPECT_EQ(hex(copy), "00 01 02 03 04");
    EXPECT_EQ(Inside::capacity(copy), 5);
    EXPECT_EQ(copy.getPos(), 0);
    EXPECT_NE(Inside::data(copy), Inside::data(m));
}

TEST(JMessageTest, Clone_IsAPlainMessageAlsoOfADerivedClass) {
    M m;
    m.setFlag(3);
    const std::unique_ptr<JObject> clone(m.clone());
    JObject& object = *clone;
    EXPECT_EQ(typeid(object), typeid(JMessage));
    EXPECT_EQ(clone->getClass(), &JMessage::classJMessage);
    EXPECT_EQ(hex(dynamic_cast<JMessage&>(object)), hex(m));
}

TEST(JMessageTest, CloneOfAnEmptyMessage_IsEmpty) {
    JMessage m;
    const std::unique_ptr<JObject> clone(m.clone());
    EXPECT_EQ(dynamic_cast<JMessage&>(*clone).size(), 0);
}

// ---- the write cursor ----

TEST(JMessageTest, SetWPos_ReturnsWhereTheCursorWas) {
    JMessage m = counting(10);
    EXPECT_EQ(m.setWPos(4), 10);
    EXPECT_EQ(m.setWPos(10), 4);
    EXPECT_EQ(m.size(), 10);
    EXPECT_EQ(m.getWPos(), 10);
}

TEST(JMessageTest, SetWPos_KeepsTheReadCursor) {
    JMessage m = counting(10);
    m.setPos(6);
    m.setWPos(2);
    EXPECT_EQ(m.getPos(), 6);
}

TEST(JMessageTest, SetWPos_WritingGoesOnFromThere) {
    JMessage m = counting(4);
    const int end = m.setWPos(1);
    m.addWord(0xBBAA);
    m.setWPos(end);
    EXPECT_EQ(hex(m), "00 aa bb 03");
}

TEST(JMessageTest, SetWPos_InsideTheBufferDoesNotGrowIt) {
    JMessage m = counting(1);
    m.setWPos(255);
    EXPECT_EQ(Inside::capacity(m), 256);
    EXPECT_EQ(m.size(), 255);
}

TEST(JMessageTest, SetWPos_AtTheEndOfTheBufferGrowsIt) {
    JMessage m(RAW, 0, 6);
    m.setWPos(6);
    EXPECT_EQ(Inside::capacity(m), 256);
    EXPECT_EQ(m.size(), 6);
    JMessage none;
    none.setWPos(0);
    EXPECT_EQ(Inside::capacity(none), 256);
}

TEST(JMessageTest, SetWPos_FarBehindTheBufferMakesLessRoomThanItNeeds) {
    JMessage m = counting(16);
    m.setWPos(10000);
    EXPECT_EQ(m.size(), 10000);
    EXPECT_EQ(Inside::capacity(m), grownFor(16 - 1 + (10000 - 256 + 1)));
    ASSERT_LT(Inside::capacity(m), 10000);
}

/** Where the cursor stands behind the buffer, the missing bytes are zeros wherever they are asked for. */
TEST(JMessageTest, BytesThatTheBufferLacks_AreZero) {
    JMessage m = counting(16);
    m.setWPos(10000);
    const std::string expected = text(counting(16).toByteArray()) + std::string(9984, '\0');
    EXPECT_EQ(text(m.toByteArray()), expected);
    JMessage copy(m);
    EXPECT_EQ(text(copy.toByteArray()), expected);
    JMessage assigned = counting(20);
    assigned = m;
    EXPECT_EQ(text(assigned.toByteArray()), expected);
    const std::unique_ptr<JObject> clone(m.clone());
    EXPECT_EQ(text(dynamic_cast<JMessage&>(*clone).toByteArray()), expected);

    m.setPos(Inside::capacity(m) - 1);
    EXPECT_EQ(m.getInt(), 0);
    EXPECT_EQ(m.getVarInt(), 0);
    EXPECT_EQ(m.getBytes(3).size(), 0);
    EXPECT_EQ(m.getPos(), Inside::capacity(m) + 7);
    m.addByte(0x55);
    EXPECT_EQ(text(m.toByteArray()), expected + '\x55');
    EXPECT_EQ(Inside::capacity(m), grownFor(10000));
}

TEST(JMessageTest, SetWPos_CountsANegativePositionAsTheStart) {
    for (const int p : {-1, -256, INT_MIN}) {
        JMessage m = counting(5);
        EXPECT_EQ(m.setWPos(p), 5);
        EXPECT_EQ(m.size(), 0);
        m.addByte(9);
        EXPECT_EQ(hex(m), "09");
    }
}

TEST(JMessageTest, SetWPos_BeyondAllMemoryThrowsAndChangesNothing) {
    JMessage m;
    EXPECT_THROW(m.setWPos(INT_MAX), std::bad_alloc);
    EXPECT_EQ(m.size(), 0);
    m.addByte(1);
    EXPECT_EQ(hex(m), "01");
}

// ---- growth ----

TEST(JMessageTest, FirstWrite_MakesAZeroedBufferOf256Bytes) {
    JMessage m;
    m.addByte(0xFF);
    EXPECT_EQ(Inside::capacity(m), 256);
    EXPECT_TRUE(isZero(m, 1));
}

TEST(JMessageTest, Byte257_GrowsTheBufferTo512ZeroedBytes) {
    JMessage m;
    for (int i = 0; i < 256; i++) m.addByte(0xFF);
    EXPECT_EQ(Inside::capacity(m), 256);
    m.addByte(0xFF);
    EXPECT_EQ(Inside::capacity(m), 512);
    EXPECT_TRUE(isZero(m, 257));
    EXPECT_EQ(hex(m), repeated("ff", 257));
}

TEST(JMessageTest, MessageMadeOf16Bytes_GrowsTo256WithTheNextByte) {
    JMessage m = messageOf("00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f");
    EXPECT_EQ(Inside::capacity(m), 16);
    m.addByte(0x10);
    EXPECT_EQ(Inside::capacity(m), 256);
    EXPECT_EQ(m.size(), 17);
    EXPECT_EQ(Inside::data(m)[15], 15);
    EXPECT_EQ(Inside::data(m)[16], 16);
    EXPECT_TRUE(isZero(m, 17));
}

TEST(JMessageTest, Growth_GoesToTheNextMultipleOf256NeverToTwice) {
    for (const int size : {0, 1, 100, 254, 255, 256, 257, 511, 512, 1000, 4096}) {
        for (const int n : {0, 1, 2, 3, 155, 156, 157, 255, 256, 257, 1000, 65535}) {
            JMessage m = counting(size);
            const int before = Inside::capacity(m);
            m.resize(n);
            const int last = size - 1 + n;
            const int after = before == 0 || last >= before ? grownFor(last) : before;
            EXPECT_EQ(Inside::capacity(m), after) << size << " + " << n;
            EXPECT_EQ(m.size(), size);
            EXPECT_TRUE(isZero(m, size));
        }
    }
}

TEST(JMessageTest, Growth_OfABufferOfAnyLengthFollowsTheSameRule) {
    for (const int size : {1, 16, 255, 256, 257, 300, 512, 513}) {
        JMessage m(counting(size).toByteArray());
        ASSERT_EQ(Inside::capacity(m), size);
        m.resize(0);
        EXPECT_EQ(Inside::capacity(m), size);
        m.resize(1);
        EXPECT_EQ(Inside::capacity(m), grownFor(size));
    }
}

TEST(JMessageTest, Growth_DropsWhatLayBehindTheWriteCursor) {
    JMessage m = counting(256);
    m.setWPos(10);
    m.resize(300);
    EXPECT_EQ(Inside::capacity(m), 512);
    EXPECT_TRUE(isZero(m, 10));
}

TEST(JMessageTest, Resize_ToFewerBytesDoesNothing) {
    for (const int n : {0, -1, -300, INT_MIN}) {
        JMessage m = counting(300);
        m.resize(n);
        EXPECT_EQ(Inside::capacity(m), 512);
        EXPECT_EQ(m.size(), 300);
        JMessage none;
        none.resize(n);
        EXPECT_EQ(Inside::capacity(none), 256);
    }
}

TEST(JMessageTest, Resize_BeyondAllMemoryThrowsAndChangesNothing) {
    JMessage m = counting(300);
    EXPECT_THROW(m.resize(INT_MAX), std::bad_alloc);
    EXPECT_EQ(Inside::capacity(m), 512);
    EXPECT_EQ(hex(m), hex(counting(300)));
}

TEST(JMessageTest, VariableInteger_TakesRoomForItsLongestForm) {
    for (const int v : {0, 254, 65536}) {
        JMessage fits = counting(251);
        fits.addVarInt(v);
        EXPECT_EQ(Inside::capacity(fits), 256) << v;
        JMessage grows = counting(252);
        grows.addVarInt(v);
        EXPECT_EQ(Inside::capacity(grows), 512) << v;
    }
}

TEST(JMessageTest, String_TakesRoomForItsLengthFirstAndThenForItsBytes) {
    JMessage fits = counting(251);
    fits.addString("1234");
    EXPECT_EQ(Inside::capacity(fits), 256);
    JMessage growsForTheBytes = counting(251);
    growsForTheBytes.addString("12345");
    EXPECT_EQ(Inside::capacity(growsForTheBytes), 512);
    JMessage growsForTheLength = counting(252);
    growsForTheLength.addString("");
    EXPECT_EQ(Inside::capacity(growsForTheLength), 512);
}

// ---- writers, byte for byte ----

namespace {

struct Image {
    const char* what;
    std::function<void(JMessage&)> write;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const Image& image) {
    return out << image.what;
}

class WrittenBytesTest : public testing::TestWithParam<Image> {};

std::string letters(int n) {
    return std::string(static_cast<std::size_t>(n), 'a');
}

std::vector<Image> images() {
    const auto byte = [](int v) { return [v](JMessage& m) { m.addByte(v); }; };
    const auto word = [](int v) { return [v](JMessage& m) { m.addWord(v); }; };
    const auto number = [](int v) { return [v](JMessage& m) { m.addInt(v); }; };
    const auto variable = [](int v) { return [v](JMessage& m) { m.addVarInt(v); }; };
    const auto chars = [](const std::string& s) { return [s](JMessage& m) { m.addString(s.c_str()); }; };
    const auto string = [](const JString& s) { return [s](JMessage& m) { m.addString(s); }; };
    return {
        {"byte 0", byte(0), "00"},
        {"byte 127", byte(127), "7f"},
        {"byte 255", byte(255), "ff"},
        {"byte 256", byte(256), "00"},
        {"byte 0x1234", byte(0x1234), "34"},
        {"byte -1", byte(-1), "ff"},
        {"word 0", word(0), "00 00"},
        {"word 0x1234", word(0x1234), "34 12"},
        {"word 65535", word(65535), "ff ff"},
        {"word 65536", word(65536), "00 00"},
        {"word 70000", word(70000), "70 11"},
        {"word -2", word(-2), "fe ff"},
        {"int 0", number(0), "00 00 00 00"},
        {"int 0x12345678", number(0x12345678), "78 56 34 12"},
        {"int -1", number(-1), "ff ff ff ff"},
        {"int, largest", number(INT_MAX), "ff ff ff 7f"},
        {"int, smallest", number(INT_MIN), "00 00 00 80"},
        {"variable integer 0", variable(0), "00"},
        {"variable integer 128", variable(128), "80"},
        {"variable integer 253", variable(253), "fd"},
        {"variable integer 254", variable(254), "fe fe 00"},
        {"variable integer 255", variable(255), "fe ff 00"},
        {"variable integer 256", variable(256), "fe 00 01"},
        {"variable integer 65535", variable(65535), "fe ff ff"},
        {"variable integer 65536", variable(65536), "ff 00 00 01 00"},
        {"variable integer, largest", variable(INT_MAX), "ff ff ff ff 7f"},
        {"variable integer -1", variable(-1), "ff"},
        {"variable integer -2", variable(-2), "fe"},
        {"variable integer -3", variable(-3), "fd"},
        {"variable integer -256", variable(-256), "00"},
        {"variable integer, smallest", variable(INT_MIN), "00"},
        {"empty chars", chars(""), "00"},
        {"chars", chars("abc"), "03 61 62 63"},
        {"null chars", [](JMessage& m) { m.addString(static_cast<const char*>(nullptr)); }, "00"},
        {"bytes above 127", chars("\xb0\xa1"), "02 b0 a1"},
        {"253 chars", chars(letters(253)), "fd " + repeated("61", 253)},
        {"254 chars", chars(letters(254)), "fe fe 00 " + repeated("61", 254)},
        {"65535 chars", chars(letters(65535)), "fe ff ff " + repeated("61", 65535)},
        {"65536 chars", chars(letters(65536)), "ff 00 00 01 00 " + repeated("61", 65536)},
        {"empty string", string(JString()), "00"},
        {"string", string(JString("abc")), "03 61 62 63"},
        {"string with a NUL inside", string(JString("a\0b", 0, 3)), "03 61 00 62"},
        {"string that counts its NUL", string(JString(" ab").trimLeft()), "02 62 00"},
        {"pre-sized string", string(JString(3)), "03 00 00 00"},
        {"byte run", [](JMessage& m) { m.addBytes(RAW, 0, 3); }, "01 02 03"},
        {"byte run with an offset", [](JMessage& m) { m.addBytes(RAW, 2, 3); }, "01 02 03"},
        {"byte run with a wild offset", [](JMessage& m) { m.addBytes(RAW, INT_MIN, 3); }, "01 02 03"},
        {"empty byte run", [](JMessage& m) { m.addBytes(RAW, 0, 0); }, ""},
        {"byte run of negative length", [](JMessage& m) { m.addBytes(RAW, 0, INT_MIN); }, ""},
        {"null byte run", [](JMessage& m) { m.addBytes(nullptr, 0, 3); }, ""},
        {"block", [](JMessage& m) { m.addBytes(block("abc")); }, "61 62 63"},
        {"range of a block", [](JMessage& m) { m.addBytes(block("abc"), 1, 2); }, "61 62"},
        {"empty block", [](JMessage& m) { m.addBytes(JByte()); }, ""},
    };
}

}  // namespace

TEST_P(WrittenBytesTest, AreAppendedAsTold) {
    JMessage m;
    m.addByte(0xEE);
    GetParam().write(m);
    EXPECT_EQ(hex(m), GetParam().bytes.empty() ? "ee" : "ee " + GetParam().bytes);
    EXPECT_EQ(m.size(), 1 + static_cast<int>(bus::unhex(GetParam().bytes).size()));
    EXPECT_LE(m.size(), Inside::capacity(m));
    EXPECT_EQ(m.getPos(), 0);
}

TEST_P(WrittenBytesTest, AreTheSameInABufferWithoutRoom) {
    JMessage m(RAW, 0, 6);
    GetParam().write(m);
    EXPECT_EQ(hex(m).substr(0, 17), "01 02 03 04 05 06");
    EXPECT_EQ(hex(text(m.toByteArray()).substr(6)), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(JMessage, WrittenBytesTest, testing::ValuesIn(images()));

TEST(JMessageTest, StringShortenedWithDots_IsWrittenWithTheLengthItReports) {
    const JString shortened = JString("abcdefghij").toMax(5);
    JMessage m;
    m.addString(shortened);
    EXPECT_EQ(m.getVarInt(), shortened.length());
    EXPECT_EQ(m.size(), 1 + shortened.length());
}

// ---- the read cursor ----

TEST(JMessageTest, SetPos_ReturnsWhereTheCursorWasAndChecksNothing) {
    JMessage m = counting(10);
    EXPECT_EQ(m.setPos(4), 0);
    EXPECT_EQ(m.setPos(-5), 4);
    EXPECT_EQ(m.setPos(INT_MAX), -5);
    EXPECT_EQ(m.setPos(INT_MIN), INT_MAX);
    EXPECT_EQ(m.getPos(), INT_MIN);
    EXPECT_EQ(m.getWPos(), 10);
}

// ---- readers: what they give and where they leave the cursor ----

namespace {

std::string asText(int value) {
    return std::to_string(value);
}

struct Reader {
    const char* name;
    std::function<std::string(JMessage&)> read;
    std::string atEnd;
};

std::ostream& operator<<(std::ostream& out, const Reader& reader) {
    return out << reader.name;
}

const Reader BYTE = {"getByte", [](JMessage& m) { return asText(m.getByte()); }, "0"};
const Reader WORD = {"getWord", [](JMessage& m) { return asText(m.getWord()); }, "0"};
const Reader INT = {"getInt", [](JMessage& m) { return asText(m.getInt()); }, "0"};
const Reader VAR_INT = {"getVarInt", [](JMessage& m) { return asText(m.getVarInt()); }, "0"};
const Reader INT_TEXT = {"getIntToString", [](JMessage& m) { return text(m.getIntToString()); }, "0"};
const Reader VAR_INT_TEXT = {"getVarIntToString", [](JMessage& m) { return text(m.getVarIntToString()); },
                             "0"};
const Reader STRING = {"getString", [](JMessage& m) { return text(m.getString()); }, ""};
const Reader STRING_OR_CHARS = {"getString(chars)", [](JMessage& m) { return text(m.getString("def")); },
                                "def"};
const Reader STRING_OR_STRING = {"getString(string)",
                                 [](JMessage& m) {
                                     JString def("def");
                                     return text(m.getString(def));
                                 },
                                 "def"};

Reader blockOf(int n) {
    return {"getBytes", [n](JMessage& m) { return text(m.getBytes(n)); }, ""};
}

struct Reading {
    Reader reader;
    std::string bytes;
    std::string value;
    int end;
};

std::ostream& operator<<(std::ostream& out, const Reading& reading) {
    return out << reading.reader.name << " of " << reading.bytes.substr(0, 40);
}

class ReadValueTest : public testing::TestWithParam<Reading> {};

std::vector<Reading> readings() {
    const std::string nul(1, '\0');
    return {
        {BYTE, "00", "0", 1},
        {BYTE, "80 01", "128", 1},
        {BYTE, "ff", "255", 1},
        {WORD, "34 12", "4660", 2},
        {WORD, "ff ff", "65535", 2},
        {INT, "78 56 34 12", "305419896", 4},
        {INT, "ff ff ff ff", "-1", 4},
        {INT, "00 00 00 80", "-2147483648", 4},
        {VAR_INT, "00", "0", 1},
        {VAR_INT, "fd ff", "253", 1},
        {VAR_INT, "fe fe 00", "254", 3},
        {VAR_INT, "fe ff ff", "65535", 3},
        {VAR_INT, "fe 00 00", "0", 3},
        {VAR_INT, "ff 00 00 01 00", "65536", 5},
        {VAR_INT, "ff ff ff ff ff", "-1", 5},
        {VAR_INT, "ff 01 00 00 00", "1", 5},
        {INT_TEXT, "ff ff ff ff", "-1", 4},
        {INT_TEXT, "00 00 00 80", "-2147483648", 4},
        {INT_TEXT, "d2 04 00 00", "1234", 4},
        {VAR_INT_TEXT, "fe d2 04", "1234", 3},
        {VAR_INT_TEXT, "ff ff ff ff ff", "-1", 5},
        {STRING, "03 61 62 63 64", "abc", 4},
        {STRING, "03 61 00 63", "a" + nul + "c", 4},
        {STRING, "02 b0 a1", "\xb0\xa1", 3},
        {STRING, "fe 03 00 61 62 63", "abc", 6},
        {STRING, "ff 03 00 00 00 61 62 63", "abc", 8},
        {STRING_OR_CHARS, "03 61 62 63", "abc", 4},
        {STRING_OR_STRING, "03 61 62 63", "abc", 4},
        // A length of 0 is an absent string.
        {STRING, "00 61", "", 1},
        {STRING_OR_CHARS, "00 61", "def", 1},
        {STRING_OR_STRING, "00 61", "def", 1},
        {STRING_OR_CHARS, "fe 00 00 61", "def", 3},
        // So is one whose length is the last of the message.
        {STRING, "05", "", 1},
        {STRING_OR_CHARS, "05", "def", 1},
        {STRING_OR_STRING, "05", "def", 1},
        {STRING_OR_CHARS, "fe 05 00", "def", 3},
        // And one of negative length.
        {STRING_OR_CHARS, "ff ff ff ff ff 61", "def", 5},
        {STRING_OR_CHARS, "ff 00 00 00 80 61", "def", 5},
        {blockOf(3), "61 62 63 64", "abc", 3},
        {blockOf(4), "61 62 63 64", "abcd", 4},
        {blockOf(0), "61", "", 0},
        {blockOf(-1), "61", "", 0},
        {blockOf(INT_MIN), "61", "", 0},
        // Cut short, with nothing behind the message: missing bytes of numbers are 0, texts are shorter.
        {WORD, "34", "52", 2},
        {INT, "01 02 03", "197121", 4},
        {INT_TEXT, "ff", "255", 4},
        {VAR_INT, "fe", "0", 3},
        {VAR_INT, "fe 05", "5", 3},
        {VAR_INT, "ff", "0", 5},
        {VAR_INT, "ff 01 02 03", "197121", 5},
        {VAR_INT_TEXT, "fe 05", "5", 3},
        {STRING, "05 61 62", "ab", 6},
        {STRING_OR_CHARS, "05 61 62", "ab", 6},
        {STRING, "fe ff ff 61", "a", 3 + 65535},
        {STRING, "ff ff ff ff 7f 61 62", "ab", INT_MAX},
        {blockOf(100), "61 62", "ab", 100},
        {blockOf(INT_MAX), "61 62", "ab", INT_MAX},
    };
}

}  // namespace

TEST_P(ReadValueTest, IsAsTold) {
    JMessage m = messageOf(GetParam().bytes);
    EXPECT_EQ(GetParam().reader.read(m), GetParam().value);
    EXPECT_EQ(m.getPos(), GetParam().end);
    EXPECT_EQ(hex(m), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(JMessage, ReadValueTest, testing::ValuesIn(readings()));

namespace {
class EveryReaderTest : public testing::TestWithParam<Reader> {};
}  // namespace

TEST_P(EveryReaderTest, AtTheEnd_GivesTheDefaultAndStaysThere) {
    const Reader& reader = GetParam();
    JMessage fresh;
    EXPECT_EQ(reader.read(fresh), reader.atEnd);
    EXPECT_EQ(fresh.getPos(), 0);

    JMessage read = messageOf("11 22 33 44");
    for (const int pos : {4, 5, 100, INT_MAX}) {
        read.setPos(pos);
        EXPECT_EQ(reader.read(read), reader.atEnd) << pos;
        EXPECT_EQ(read.getPos(), pos);
    }
}

TEST_P(EveryReaderTest, BehindTheWriteCursor_GivesTheDefaultAlthoughBytesLieThere) {
    JMessage m = messageOf("05 61 62 63 64 65");
    m.setWPos(0);
    EXPECT_EQ(GetParam().read(m), GetParam().atEnd);
    EXPECT_EQ(m.getPos(), 0);
}

/** A cursor that nobody would set on purpose: whatever comes out, nothing outside of the buffer is touched. */
TEST_P(EveryReaderTest, FromAnyCursor_StaysInsideTheBuffer) {
    for (const int pos :
         {INT_MIN, INT_MIN + 1, -65536, -5, -4, -3, -2, -1, 0, 1, 3, 5, INT_MAX - 1, INT_MAX}) {
        for (const char* bytes : {"", "ff ff ff ff 7f ff", "fe ff ff fe ff ff", "fd fd fd fd fd fd"}) {
            JMessage m = messageOf(bytes);
            m.setPos(pos);
            for (int i = 0; i < 3; i++) GetParam().read(m);
            EXPECT_GE(m.getPos(), pos);
            EXPECT_EQ(hex(m), bytes);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(JMessage, EveryReaderTest,
                         testing::Values(BYTE, WORD, INT, VAR_INT, INT_TEXT, VAR_INT_TEXT, STRING,
                                         STRING_OR_CHARS, STRING_OR_STRING, blockOf(1), blockOf(INT_MAX),
                                         blockOf(-1)));

TEST(JMessageTest, CursorBeforeTheBuffer_ReadsZerosUntilTheFirstByte) {
    JMessage m = messageOf("11 22 33 44");
    m.setPos(-2);
    EXPECT_EQ(m.getInt(), 0x22110000);
    EXPECT_EQ(m.getPos(), 2);
    m.setPos(-3);
    EXPECT_EQ(m.getBytes(2).size(), 0);
    EXPECT_EQ(m.getPos(), -1);
    EXPECT_EQ(m.getByte(), 0);
    EXPECT_EQ(m.getByte(), 0x11);
}

TEST(JMessageTest, IntWithOneByteLeft_IsCompletedWithZerosOfFreshSpace) {
    JMessage m;
    m.addByte(0x7F);
    EXPECT_EQ(m.getInt(), 0x7F);
    EXPECT_EQ(m.getPos(), m.getWPos() + 3);
    EXPECT_EQ(m.getByte(), 0);
    EXPECT_EQ(m.getPos(), 4);
}

TEST(JMessageTest, ValueCutShort_IsCompletedFromWhatLiesBehindTheEnd) {
    JMessage m = messageOf("04 03 02 01 61 62");
    m.setWPos(1);
    EXPECT_EQ(m.getInt(), 0x01020304);
    EXPECT_EQ(m.getPos(), 4);
    m.setWPos(2);
    m.setPos(1);
    EXPECT_EQ(text(m.getBytes(100)), std::string("\x03\x02\x01") + "ab");
    EXPECT_EQ(m.getPos(), 101);
}

TEST(JMessageTest, StringCutShort_TakesTheZerosOfFreshSpace) {
    JMessage m;
    m.addByte(5);
    m.addByte('a');
    EXPECT_EQ(text(m.getString()), std::string("a\0\0\0\0", 5));
    EXPECT_EQ(m.getPos(), 6);
}

TEST(JMessageTest, HugeLength_AllocatesNoMoreThanTheBufferHolds) {
    JMessage m;
    m.addByte(0xFF);
    m.addInt(INT_MAX);
    m.addByte('a');
    EXPECT_EQ(m.getString().length(), 256 - 5);
    EXPECT_EQ(m.getPos(), INT_MAX);
    EXPECT_EQ(m.getByte(), 0);
    m.setPos(0);
    EXPECT_EQ(m.getBytes(INT_MAX).size(), 256);
}

TEST(JMessageTest, NullDefault_IsTheEmptyString) {
    JMessage m;
    EXPECT_EQ(m.getString(static_cast<const char*>(nullptr)).length(), 0);
}

TEST(JMessageTest, EmptyString_ComesBackAsTheDefault) {
    JMessage m;
    m.addString("");
    EXPECT_EQ(hex(m), "00");
    EXPECT_EQ(text(m.getString("default")), "default");
    EXPECT_EQ(m.getPos(), 1);
}

TEST(JMessageTest, WhatIsWritten_IsReadBackInTheSameOrder) {
    JMessage m;
    m.addByte(200);
    m.addWord(60000);
    m.addInt(-123456);
    for (const int v : {0, 253, 254, 255, 65535, 65536, INT_MAX}) m.addVarInt(v);
    m.addString("chars");
    m.addString(JString("string"));
    m.addBytes(block("run"));
    EXPECT_EQ(m.getByte(), 200);
    EXPECT_EQ(m.getWord(), 60000);
    EXPECT_EQ(m.getInt(), -123456);
    for (const int v : {0, 253, 254, 255, 65535, 65536, INT_MAX}) EXPECT_EQ(m.getVarInt(), v);
    EXPECT_EQ(text(m.getString()), "chars");
    EXPECT_EQ(text(m.getString()), "string");
    EXPECT_EQ(text(m.getBytes(3)), "run");
    EXPECT_EQ(m.getPos(), m.size());
    EXPECT_EQ(m.getByte(), 0);
}

TEST(JMessageTest, NegativeVariableInteger_IsTakenForAMarkerByTheReader) {
    JMessage m;
    m.addVarInt(-1);
    m.addInt(77);
    EXPECT_EQ(m.getVarInt(), 77);
    EXPECT_EQ(m.getPos(), 5);
}

// ---- the whole ----

TEST(JMessageTest, ToByteArray_GivesAllBytesWhateverTheReadCursor) {
    JMessage m = counting(3);
    for (const int pos : {0, 2, 100, -1}) {
        m.setPos(pos);
        EXPECT_EQ(hex(m.toByteArray()), "00 01 02");
        EXPECT_EQ(m.getPos(), pos);
    }
}

TEST(JMessageTest, ToByteArray_IsACopyOfWhatIsBeforeTheWriteCursor) {
    JMessage m = counting(300);
    m.setWPos(2);
    const JByte bytes = m.toByteArray();
    m.setWPos(0);
    m.addByte(99);
    EXPECT_EQ(hex(bytes), "00 01");
}

TEST(JMessageTest, ToByteArray_OfAnEmptyMessageIsEmpty) {
    JMessage never;
    EXPECT_EQ(never.toByteArray().size(), 0);
    JMessage again = counting(3);
    again.setWPos(0);
    EXPECT_EQ(again.toByteArray().size(), 0);
}

TEST(JMessageTest, CopyTo_CopiesAsMuchAsThereIsRoomFor) {
    const JMessage m = counting(4);
    for (const int size : {INT_MIN, -1, 0, 1, 3, 4, 5, 8}) {
        char to[8] = {9, 9, 9, 9, 9, 9, 9, 9};
        const int expected = std::max(0, std::min(size, 4));
        EXPECT_EQ(m.copyTo(to, size), expected);
        for (int i = 0; i < 8; i++) EXPECT_EQ(to[i], i < expected ? i : 9) << size;
    }
    EXPECT_EQ(JMessage().copyTo(nullptr, 5), 0);
}

TEST(JMessageTest, CopyTo_FillsBytesThatTheBufferLacksWithZeros) {
    JMessage m = counting(16);
    m.setWPos(10000);
    std::string to(10000, 'x');
    EXPECT_EQ(m.copyTo(&to[0], 10000), 10000);
    EXPECT_EQ(to, text(m.toByteArray()));
}

TEST(JMessageTest, Dump_ShowsTheBytesBeforeTheWriteCursor) {
    support::StderrPipe err;
    JMessage m = counting(3);
    m.addString("abc");
    m.setPos(5);
    m.dump();
    EXPECT_NE(err.text().find("00 01 02 03 61 62 63 "), std::string::npos);
    JMessage().dump();
    EXPECT_EQ(err.text(), "\n");
    m.setWPos(10000);
    m.setPos(0);
    m.dump();
    EXPECT_NE(err.text().find("00 01 02 03 61 62 63 "), std::string::npos);
}

TEST(JMessageTest, Test_WritesAndReadsBackSampleValues) {
    support::StderrPipe err;
    JMessage::Test();
    EXPECT_NE(err.text().find("JMessage 65542 1234567890\n"), std::string::npos);
}
