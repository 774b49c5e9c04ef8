#include <gtest/gtest.h>
#include <string>

#include "core/JString.h"
#include "system/JSystem.h"

namespace {

std::string lower(std::string text) {
    EXPECT_EQ(JSystem::lcase(&text[0]), &text[0]);
    return text;
}

std::string upper(std::string text) {
    EXPECT_EQ(JSystem::ucase(&text[0]), &text[0]);
    return text;
}

}  // namespace

TEST(JSystemCaseTest, Lcase_ChangesUpperCaseLettersOnly) {
    EXPECT_EQ(lower("AZaz09@[`{ _"), "azaz09@[`{ _");
}

TEST(JSystemCaseTest, Ucase_ChangesLowerCaseLettersOnly) {
    EXPECT_EQ(upper("AZaz09@[`{ _"), "AZAZ09@[`{ _");
}

TEST(JSystemCaseTest, DoubleByteCharacters_StayAsTheyAre) {
    EXPECT_EQ(upper("a\xB0\xA1z\xC1\xE1"), "A\xB0\xA1Z\xC1\xE1");
    EXPECT_EQ(lower("A\xB0\xA1Z\xC1\xE1"), "a\xB0\xA1z\xC1\xE1");
}

TEST(JSystemCaseTest, EveryByteFrom128_StaysAsItIs) {
    std::string all;
    for (int byte = 128; byte < 256; ++byte) all += static_cast<char>(byte);
    EXPECT_EQ(upper(all), all);
    EXPECT_EQ(lower(all), all);
}

TEST(JSystemCaseTest, EmptyAndNull_AreReturned) {
    EXPECT_EQ(upper(""), "");
    EXPECT_EQ(lower(""), "");
    EXPECT_EQ(JSystem::lcase(nullptr), nullptr);
    EXPECT_EQ(JSystem::ucase(nullptr), nullptr);
}

TEST(JSystemCaseTest, EveryByte_IsConvertedAsByJString) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
    EXPECT_EQ(lower(all), std::string(JString(all.c_str()).toLowerCase().toCharArray()));
    EXPECT_EQ(upper(all), std::string(JString(all.c_str()).toUpperCase().toCharArray()));
}
