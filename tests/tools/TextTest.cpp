#include "tools/jay/Text.h"

#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace {

TEST(TextTest, IsUtf8WithoutControlCharacters) {
    for (const char* text : {"hello", "안녕", "é", "a b", "\xf0\x9f\x98\x80"})
        EXPECT_EQ(textOf(text, Encoding::UTF_8), text);
    for (const std::string& bytes :
         {"\x1b[2J"s, "\x7f"s, "\xc2\x9b"s, "\xff"s, "\0"s, "\xed\xa0\x80"s, "a\n"s, "\xc3"s})
        EXPECT_EQ(textOf(bytes, Encoding::UTF_8), std::nullopt);
}

TEST(TextTest, HasLinesOrAnyOrderOnlyIfAllowed) {
    EXPECT_EQ(textOf("a\tb\r\n", Encoding::UTF_8, Allow::LINES), "a\tb\r\n");
    const std::string reversed = "a\xe2\x80\xaeZ";  // U+202E
    EXPECT_EQ(textOf(reversed, Encoding::UTF_8), std::nullopt);
    EXPECT_EQ(textOf(reversed, Encoding::UTF_8, Allow::LINES), std::nullopt);
    EXPECT_EQ(textOf(reversed, Encoding::UTF_8, Allow::ANY), reversed);
    EXPECT_EQ(textOf("\x1b", Encoding::UTF_8, Allow::ANY), std::nullopt);
}

TEST(TextTest, IsDecodedFromKorean) {
    EXPECT_EQ(textOf("\xbe\xc8\xb3\xe7 hi", Encoding::EUC_KR), "안녕 hi");
    for (const char* bytes : {"\xb0", "\xb0\x1b", "\xa1\xff"})
        EXPECT_EQ(textOf(bytes, Encoding::EUC_KR), std::nullopt);
}

TEST(TextTest, IsOnlyAsciiWhereTheEncodingIsNotKnown) {
    EXPECT_EQ(textOf("ascii", Encoding::RAW), "ascii");
    EXPECT_EQ(textOf("é", Encoding::RAW), std::nullopt);
}

TEST(ShownTextTest, EscapesWhatCannotBeShown) {
    EXPECT_EQ(shownText("a\\b\n\xff안", Encoding::UTF_8), "a\\\\b\\x0a\\xff안");
}

TEST(ShownPayloadTest, IsTextOrHexOnOneLine) {
    EXPECT_EQ(shownPayload("", Encoding::UTF_8), "empty");
    EXPECT_EQ(shownPayload("hello", Encoding::UTF_8), "text hello");
    EXPECT_EQ(shownPayload("a\n", Encoding::UTF_8), "hex 61 0a");
}

TEST(EncodedTest, ConvertsToKoreanAndBack) {
    EXPECT_EQ(encoded("안녕 hi", Encoding::EUC_KR), "\xbe\xc8\xb3\xe7 hi");
    EXPECT_EQ(encoded("é", Encoding::EUC_KR), std::nullopt);
    EXPECT_EQ(encoded("\xff", Encoding::EUC_KR), std::nullopt);
    EXPECT_EQ(encoded("\xff", Encoding::UTF_8), "\xff");
}

TEST(ShortenedTest, CutsAtTheEndOfACharacterAndNamesTheSize) {
    EXPECT_EQ(shortened("hello", 5, 5), "hello");
    EXPECT_EQ(shortened("hello", 4, 5), "hell ... (--full shows all 5 bytes)");
    EXPECT_EQ(shortened("a안녕", 6, 7), "a안 ... (--full shows all 7 bytes)");
    EXPECT_EQ(shortened(std::string(1000, 'x'), 0, 1000), std::string(1000, 'x'));
}

}  // namespace
