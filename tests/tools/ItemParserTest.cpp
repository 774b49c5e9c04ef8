#include "tools/jay/ItemParser.h"

#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace {

void expectBytes(const std::string& text, const std::string& bytes) {
    const Parsed parsed = parseItems(text);
    EXPECT_EQ(parsed.error, "") << text;
    EXPECT_EQ(parsed.bytes, bytes) << text;
}

void expectError(const std::string& text, const std::string& error) {
    const Parsed parsed = parseItems(text);
    EXPECT_NE(parsed.error.find(error), std::string::npos) << parsed.error;
    EXPECT_EQ(parsed.bytes, "") << text;
}

TEST(ParseItemsTest, WritesEachTypeInItsEncoding) {
    expectBytes("byte:1", "\1");
    expectBytes("word:7", "\7\0"s);
    expectBytes("int:-2", "\xfe\xff\xff\xff");
    expectBytes("var:253 var:254 var:65536", "\xfd\xfe\xfe\0\xff\0\0\1\0"s);
    expectBytes("str:abc str: str:\"a b\"", "\3abc\0\3a b"s);
    expectBytes("hex:0aFF", "\x0a\xff");
    expectBytes(" \t\nbyte:1\r\nbyte:0x1f ", "\x01\x1f");
    expectBytes("", "");
}

TEST(ParseItemsTest, TakesTheEndsOfEachRange) {
    expectBytes("byte:-128 byte:255 word:-32768 word:65535", "\x80\xff\0\x80\xff\xff"s);
    expectBytes("int:-2147483648 int:4294967295", "\0\0\0\x80\xff\xff\xff\xff"s);
    for (const char* text : {"byte:256", "byte:-129", "word:65536", "word:-32769", "int:4294967296",
                             "int:-2147483649", "var:-1", "var:2147483648", "int:99999999999999999999"})
        expectError(text, "out of range");
}

TEST(ParseItemsTest, ReadsEscapes) {
    expectBytes(R"(str:a\ b\\\"\n\r\t\x1b)",
                "\x09"
                "a b\\\"\n\r\t\x1b");
}

TEST(ParseItemsTest, NamesTheItemThatIsWrong) {
    expectError("byte:1 hello", "item 2, 'hello': the type is missing");
    expectError("float:1", "item 1, 'float:1': no such type");
    expectError("int:x", "item 1, 'int:x': not a number; int takes -2147483648..4294967295");
    expectError("int:", "not a number");
    expectError("hex:0", "expected pairs of hex digits");
    expectError("hex:", "expected pairs of hex digits");
    expectError("str:\"a", "the closing quote is missing");
    expectError("str:\"a\"b", "after the closing quote");
    expectError("str:\\q", "after a backslash only");
    expectError("str:\\x1", "after a backslash only");
    expectError("\x1b", "item 1, '\\x1b'");
    expectError("byte:" + std::string(100, '1'), "11...': ");
}

}  // namespace
