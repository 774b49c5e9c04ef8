#include "ui/JFont.h"

#include <gtest/gtest.h>

TEST(JFont, DefaultFontHasFaceStyleAndSizeZero) {
    JFont font;
    EXPECT_EQ(font.getFace(), 0);
    EXPECT_EQ(font.getStyle(), 0);
    EXPECT_EQ(font.getSize(), 0);
    EXPECT_TRUE(font.ownsFont);
    EXPECT_EQ(font.platformFont, nullptr);
    EXPECT_EQ(font.reserved[0], 0);
    EXPECT_EQ(font.reserved[1], 0);
    EXPECT_EQ(font.getClass(), &JFont::classJFont);
    EXPECT_STREQ(font.getClass()->name, "JFont");
}

TEST(JFont, ACopySharesThePlatformFontAndDoesNotOwnIt) {
    unsigned int platform = 0;
    JFont font(1, 2, 3);
    font.platformFont = &platform;
    font.reserved[0] = 5;
    JFont copy(font);
    EXPECT_EQ(copy.getFace(), 1);
    EXPECT_EQ(copy.getStyle(), 2);
    EXPECT_EQ(copy.getSize(), 3);
    EXPECT_FALSE(copy.ownsFont);
    EXPECT_EQ(copy.platformFont, &platform);
    EXPECT_EQ(copy.reserved[0], 0);
}

TEST(JFont, AssignmentCopiesFaceStyleAndSizeOnly) {
    unsigned int platform = 0;
    JFont font(1, 2, 3);
    font.platformFont = &platform;
    JFont other;
    other = font;
    EXPECT_EQ(other.getFace(), 1);
    EXPECT_EQ(other.getStyle(), 2);
    EXPECT_EQ(other.getSize(), 3);
    EXPECT_TRUE(other.ownsFont);
    EXPECT_EQ(other.platformFont, nullptr);
}

TEST(JFont, GetFont_BySpecUsesTheLowThreeBits) {
    EXPECT_EQ(JFont::getFont(9).getSize(), 33);
    EXPECT_EQ(JFont::getFont(0).getSize(), 32);
    EXPECT_EQ(JFont::getFont(7).getSize(), 39);
    EXPECT_EQ(JFont::getFont(-1).getSize(), 39);
    EXPECT_EQ(JFont::getFont(9).getFace(), 0);
    EXPECT_EQ(JFont::getFont(9).getStyle(), 0);
    EXPECT_TRUE(JFont::getFont(9).ownsFont);
}

TEST(JFont, GetFont_ByFaceStyleAndSize) {
    JFont font = JFont::getFont(4, 5, 6);
    EXPECT_EQ(font.getFace(), 4);
    EXPECT_EQ(font.getStyle(), 5);
    EXPECT_EQ(font.getSize(), 6);
}

TEST(JFont, GetDefaultFont_IsACopy) {
    EXPECT_TRUE(JFont::DEFAULT_FONT.ownsFont);
    EXPECT_FALSE(JFont::getDefaultFont().ownsFont);
}

TEST(JFont, HooksOfAnEmptyPlatformGiveZero) {
    JFont font;
    EXPECT_EQ(font.stringWidth("abc"), 0);
    EXPECT_EQ(font.stringWidth(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(font.stringWidth(JString("abc")), 0);
    EXPECT_EQ(font.substringWidth(JString("abc"), 1, 2), 0);
    EXPECT_EQ(font.charWidth('a'), 0);
    EXPECT_EQ(font.charsWidth("abc", 0, 3), 0);
    EXPECT_EQ(font.getHeight(), 0);
    EXPECT_EQ(font.getBaselinePosition(), 0);
    EXPECT_EQ(font.isBold() + font.isItalic() + font.isPlain() + font.isUnderlined(), 0);
    font.setFont(nullptr);
}
