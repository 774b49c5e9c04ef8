#include "tools/jay/Json.h"

#include <gtest/gtest.h>

namespace {

TEST(JsonObjectTest, KeepsTheOrderOfItsFields) {
    JsonObject inner;
    inner.add("b", 1).add("a", true);
    JsonObject object;
    object.add("z", "text").add("big", 1LL << 40).add("half", 0.5).add("in", inner);
    object.add("words", std::vector<std::string>{"x", "y"})
        .add("none", std::vector<JsonObject>{})
        .addAll(inner);
    EXPECT_EQ(
        object.line(),
        R"({"z":"text","big":1099511627776,"half":0.5,"in":{"b":1,"a":true},"words":["x","y"],"none":[],"b":1,"a":true})");
}

TEST(JsonObjectTest, EscapesWhatCouldHarmATerminal) {
    EXPECT_EQ(JsonObject().add("t", "\x1b\n\"안").line(), "{\"t\":\"\\u001b\\n\\\"안\"}");
    EXPECT_EQ(JsonObject().add("t", "\xe2\x80\xae\x7f\xc2\x9b").line(), R"({"t":"\u202e\u007f\u009b"})");
    EXPECT_EQ(JsonObject().add("t", "\xff").line(), "{\"t\":\"\xef\xbf\xbd\"}");
}

TEST(JsonObjectTest, HoldsBytesAsBase64AndAsTextIfTheyAreText) {
    EXPECT_EQ(JsonObject().addBytes("a\nb", Encoding::UTF_8).line(), R"({"text":"a\nb","base64":"YQpi"})");
    EXPECT_EQ(JsonObject().addBytes("\xff", Encoding::UTF_8).line(), R"({"base64":"/w=="})");
}

TEST(Base64Test, IsPadded) {
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("fo"), "Zm8=");
    EXPECT_EQ(base64("foo"), "Zm9v");
    EXPECT_EQ(base64("foobar"), "Zm9vYmFy");
}

}  // namespace
