#include "tools/common/Harmless.h"

#include <gtest/gtest.h>

namespace {

TEST(HarmlessTest, EscapesControlCharactersAndWhatIsNoUtf8) {
    EXPECT_EQ(harmless("a\x1b[31m\n"), "a\\x1b[31m\\x0a");
    EXPECT_EQ(harmless("안녕\xff\x9b"), "안녕\\xff\\x9b");
    EXPECT_EQ(harmless("back\\slash"), "back\\slash");
    EXPECT_EQ(harmless("\xe2\x80\xae"), "\\xe2\\x80\\xae");  // U+202E
}

TEST(HarmlessTest, KnowsWhatChangesTheOrderOrTheLine) {
    for (const unsigned long c :
         {0x61CUL, 0x200EUL, 0x200FUL, 0x2028UL, 0x2029UL, 0x202AUL, 0x202EUL, 0x2066UL, 0x2069UL}) {
        EXPECT_FALSE(isShowable(c)) << c;
        EXPECT_FALSE(isControl(c)) << c;
    }
    for (const unsigned long c : {0x00UL, 0x1FUL, 0x7FUL, 0x9FUL, 0xD800UL, 0xDFFFUL, 0x110000UL}) {
        EXPECT_FALSE(isShowable(c)) << c;
        EXPECT_TRUE(isControl(c)) << c;
    }
    for (const unsigned long c : {0x20UL, 0x7EUL, 0xA0UL, 0x200DUL, 0x2027UL, 0x202FUL, 0xAC00UL, 0x10FFFFUL})
        EXPECT_TRUE(isShowable(c)) << c;
}

TEST(HarmlessTest, ReadsOneCharacterOrByte) {
    EXPECT_EQ(headOfUtf8("é!").length, 2U);
    EXPECT_EQ(headOfUtf8("é!").character, 0xE9U);
    EXPECT_FALSE(headOfUtf8("\xc3!").isCharacter);
    EXPECT_EQ(headOfUtf8("\xc3!").length, 1U);
    EXPECT_EQ(utf8(0xAC00), "가");
}

}  // namespace
