#include "tools/jay/ItemGuess.h"

#include <gtest/gtest.h>
#include <string>

#include "tools/jay/ItemParser.h"

using namespace std::string_literals;

namespace {

/** What is guessed for the bytes of items. */
std::string guessOf(const std::string& items) {
    const std::string payload = parseItems(items).bytes;
    return itemsText(guessItems(payload));
}

/** Items that are guessed as they were. */
void expectFound(const std::string& items) {
    EXPECT_EQ(guessOf(items), items);
}

TEST(GuessItemsTest, FindsStringsAndSmallNumbers) {
    expectFound("str:hello");
    expectFound("str:hello str:world");
    expectFound("int:5 str:abc var:300 word:7");
    expectFound("word:7 byte:1");
    expectFound("int:-1 int:65535 int:-65536");
    expectFound("str:hello var:65536 int:0");
}

TEST(GuessItemsTest, TakesTheShorterItemFirstAmongAsFew) {
    expectFound("byte:1 int:5");
    expectFound("str:a int:5");
}

TEST(GuessItemsTest, TakesALargeNumberForBytes) {
    EXPECT_EQ(guessOf("str:hello word:4464"), "str:hello byte:112 byte:17");
}

TEST(GuessItemsTest, FindsNothingWhereMostAreBytes) {
    EXPECT_EQ(guessOf("byte:1"), "");
    EXPECT_EQ(guessOf("byte:17 byte:203 byte:99 byte:4"), "");
    EXPECT_EQ(guessOf("int:1234567890"), "");
    EXPECT_TRUE(guessItems("").empty());
}

TEST(GuessItemsTest, LeavesTextAlone) {
    EXPECT_TRUE(guessItems("hello").empty());
    EXPECT_TRUE(guessItems("hello\n0123456789").empty());  // the line end could be the length of what follows
    EXPECT_TRUE(guessItems("안녕하세요").empty());
    expectFound("str:ten_bytes_ str:nine_byte");  // lengths that are a line end and a tab
}

TEST(GuessItemsTest, ReadsStringsInUtf8AndKorean) {
    expectFound("str:안녕 int:1");
    const std::string korean = "\x04\xbe\xc8\xb3\xe7\1\0\0\0"s;
    ASSERT_EQ(guessItems(korean).size(), 2U);
    EXPECT_EQ(guessItems(korean)[0].text, "\xbe\xc8\xb3\xe7");
}

TEST(GuessItemsTest, CoversEveryByteOfAnything) {
    unsigned state = 1;
    for (int n = 0; n < 2000; n++) {
        std::string payload;
        for (int i = 0; i < n % 40; i++) {
            state = state * 1103515245 + 12345;
            payload += static_cast<char>(state >> 16 & (n % 2 == 0 ? 0xFF : 0x07));
        }
        const std::vector<Item> items = guessItems(payload);
        if (items.empty()) continue;
        EXPECT_EQ(parseItems(itemsText(items)).bytes, payload);
    }
}

}  // namespace
