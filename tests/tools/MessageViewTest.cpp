#include "tools/jay/MessageView.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace {

M messageOf(const std::string& payload) {
    M m;
    m.setDestId(7);
    m.setSrcId(5);
    m.addBytes(payload.data(), 0, static_cast<int>(payload.size()));
    return m;
}

TEST(MessageViewTest, LeavesOutWhatIsNoneOrZero) {
    M m = messageOf("hello");
    EXPECT_EQ(messageLine(m, {}), "5 -> 7  length 21  text hello");
    m.setFlag(M::M_FLAG_SYNC | 64);
    m.setPriority(3);
    m.setSection(-9);
    EXPECT_EQ(messageLine(m, {}), "5 -> 7  flag sync+64  priority 3  section -9  length 21  text hello");
}

TEST(MessageViewTest, ShowsItemsWhereThePayloadCanBeSome) {
    M items = messageOf("\5hello\7\0"s), text = messageOf("hello");
    EXPECT_EQ(messageLine(items, {Encoding::UTF_8, true}), "5 -> 7  length 24  items str:hello word:7");
    EXPECT_EQ(messageLine(text, {Encoding::UTF_8, true}), "5 -> 7  length 21  text hello");
}

TEST(MessageViewTest, ShortensALongPayload) {
    M m = messageOf(std::string(60000, 'x'));
    EXPECT_EQ(messageLine(m, {Encoding::UTF_8, false, 10}),
              "5 -> 7  length 60016  text xxxxx ... (--full shows all 60000 bytes)");
    const std::string block = messageBlock(m, {Encoding::UTF_8, false, 40});
    EXPECT_NE(block.find("00000010  78 78"), std::string::npos) << block;
    EXPECT_EQ(block.find("00000020  78 78"), std::string::npos) << block;
    EXPECT_NE(block.find("\n    ... (--full shows all 60000 bytes)"), std::string::npos) << block;
}

TEST(MessageViewTest, HasAFieldOnEachLineOfABlock) {
    M m = messageOf("hi");
    m.setTimestamp(9);
    EXPECT_EQ(messageBlock(m, {}),
              "    length       18 (header 16, payload 2)\n"
              "    destination  7\n"
              "    source       5\n"
              "    flag         0 (none)\n"
              "    priority     0\n"
              "    time stamp   9\n"
              "    section      0\n"
              "    payload      text hi\n"
              "    00000000  68 69                                             |hi|");
}

TEST(MessageViewTest, IsWholeInJson) {
    M m = messageOf("hi");
    m.setFlag(M::M_FLAG_BROADCAST);
    EXPECT_EQ(
        messageJson(m, {Encoding::UTF_8, false, 1}).line(),
        R"({"source":5,"destination":7,"flag":2,"flags":["broadcast"],"priority":0,"timestamp":0,"section":0,"length":18,)"
        R"("text":"hi","base64":"aGk="})");
}

TEST(MessageViewTest, NamesFlags) {
    EXPECT_EQ(flagNames(0), "none");
    EXPECT_EQ(flagNames(7), "sync+broadcast+timed");
    EXPECT_EQ(flagNames(132), "timed+128");
}

TEST(MessageViewTest, HasMillisecondsInTheTimeOfDay) {
    std::time_t seconds = 1000000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char expected[16];
    std::strftime(expected, sizeof expected, "%H:%M:%S", &local);
    EXPECT_EQ(clockTime(1000000007), std::string(expected) + ".007");
}

}  // namespace
