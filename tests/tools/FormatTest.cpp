#include "tools/jay/Format.h"

#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace {

const std::string CAPTURE = "\x12\0\7\0\5\0\0\0\0\0\0\0\0\0\0\0hi"s;
const std::string DATABASE = "\1\0\0\0\x14\0\0\0\x08\0\0\0\1\0\0\0\3abc"s;

TEST(RecogniseTest, TellsCapturesDatabasesAndHexApart) {
    EXPECT_EQ(recognise(CAPTURE), Format::WIRE);
    EXPECT_EQ(recognise(DATABASE), Format::DB);
    EXPECT_EQ(recognise("12 00 07 00"), Format::HEX);
    EXPECT_EQ(recognise("\0\0\0\0\x08\0\0\0"s), Format::DB);  // an empty one
}

TEST(RecogniseTest, TakesADamagedFileForWhatItWas) {
    EXPECT_EQ(recognise(CAPTURE + "\1"), Format::WIRE);
    EXPECT_EQ(recognise(DATABASE.substr(0, DATABASE.size() - 3)), Format::DB);
}

TEST(RecogniseTest, KnowsNothingOfOtherFiles) {
    EXPECT_EQ(recognise(""), std::nullopt);
    EXPECT_EQ(recognise(std::string(20, '\xff')), std::nullopt);
    EXPECT_EQ(recognise("\x7f"
                        "ELF\2\1\1\0\0\0\0\0\0\0\0\0"s),
              std::nullopt);  // it would have more records than bytes
}

}  // namespace
