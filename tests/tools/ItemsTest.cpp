#include "tools/jay/Items.h"

#include <gtest/gtest.h>

#include "tools/jay/ItemParser.h"

namespace {

TEST(ItemsTest, AreWrittenSoThatTheyCanBeReadBack) {
    EXPECT_EQ(itemText({Item::INT, -5, {}}), "int:-5");
    EXPECT_EQ(itemText({Item::STRING, 0, "abc"}), "str:abc");
    EXPECT_EQ(itemText({Item::STRING, 0, ""}), "str:\"\"");
    EXPECT_EQ(itemText({Item::STRING, 0, "a \"b\""}), R"(str:"a \"b\"")");
    EXPECT_EQ(itemsText({{Item::BYTE, 1, {}}, {Item::VAR, 300, {}}}), "byte:1 var:300");
    EXPECT_EQ(parseItems(itemText({Item::STRING, 0, "\x1b\xff\n\\ 안"})).bytes, "\x08\x1b\xff\n\\ 안");
}

TEST(ItemsTest, EscapeWhatCouldHarmATerminal) {
    EXPECT_EQ(escaped("\x1b[2J"), "\\x1b[2J");
    EXPECT_EQ(escaped("a\n\r\t\\\""), "a\\n\\r\\t\\\\\\\"");
    EXPECT_EQ(escaped("안\xff"), "안\\xff");
    EXPECT_EQ(escaped("\xe2\x80\xae"), "\\xe2\\x80\\xae");  // U+202E
}

TEST(ItemsTest, KnowTheirTypesByName) {
    for (const NumberType& type : NUMBER_TYPES) EXPECT_EQ(findNumberType(type.name), &type);
    EXPECT_EQ(findNumberType("str"), nullptr);
    EXPECT_STREQ((Item{Item::STRING, 0, {}}).name(), "str");
}

}  // namespace
