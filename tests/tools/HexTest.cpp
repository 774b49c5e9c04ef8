#include "tools/jay/Hex.h"

#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace {

void expectBytes(const std::string& text, const std::string& bytes) {
    const Parsed parsed = parseHex(text);
    EXPECT_EQ(parsed.error, "") << text;
    EXPECT_EQ(parsed.bytes, bytes) << text;
}

void expectError(const std::string& text, const std::string& error) {
    const Parsed parsed = parseHex(text);
    EXPECT_EQ(parsed.error, "hex, " + error) << text;
    EXPECT_EQ(parsed.bytes, "") << text;
}

TEST(ParseHexTest, TakesPairsOfDigitsWithAnySeparators) {
    for (const char* text : {"68656C6c6f", "68 65 6c 6c 6f", "68:65:6c:6c:6f", "0x68, 0x65, 0x6c,\t0X6c 0x6f",
                             "6865\n6c6c\r\n6f", "68 # an h\n65 6c6c6f#"})
        expectBytes(text, "hello");
    expectBytes("", "");
    expectBytes("00ff", "\0\xff"s);
}

TEST(ParseHexTest, LeavesOutOffsetsAndTextsOfDumps) {
    const std::string bytes = "0123456789abcdef#|!";
    expectBytes(hexDump(bytes), bytes);
    expectBytes("00000000: 3031 3233 3435  012345\n00000006: 23        #\n", "012345#");
    expectBytes("0000  30 31 32 33   0123\n0004  34   4\n", "01234");
    expectBytes("00000000  30 31  |01|\n00000002\n", "01");
}

TEST(ParseHexTest, TakesALongNumberThatIsNoOffsetForBytes) {
    expectBytes("00000001  30", "\0\0\0\1"s + "0");
}

TEST(ParseHexTest, NamesLineAndColumnOfAnError) {
    expectError("00\n11 g2", "line 2, column 4: expected pairs of hex digits, found 'g'");
    expectError("00 123",
                "line 1, column 4: expected pairs of hex digits, found half a byte in '123': each byte has "
                "two digits");
    expectError("0x", "line 1, column 3: expected pairs of hex digits, found nothing after 0x");
    expectError("00\x1b", "line 1, column 3: expected pairs of hex digits, found the byte 1b");
}

TEST(HexBytesTest, SeparatesPairsOfDigitsByBlanks) {
    EXPECT_EQ(hexBytes("\x05h\xff"), "05 68 ff");
    EXPECT_EQ(hexBytes(""), "");
}

TEST(HexDumpTest, HasSixteenBytesALineAndHidesControlCharacters) {
    EXPECT_EQ(hexDump("0123456789abcdef\n\x7f", "  ", 32),
              "  00000020  30 31 32 33 34 35 36 37  38 39 61 62 63 64 65 66  |0123456789abcdef|\n"
              "  00000030  0a 7f                                             |..|\n");
    EXPECT_EQ(hexDump(""), "");
}

}  // namespace
