#include "ui/JFont.h"

#include <gtest/gtest.h>

#include "support/JFontPeer.h"

using Peer = jay::detail::JFontPeer;

TEST(JFontTest, DefaultFontHasFaceStyleAndSizeZero) {
    JFont font;
    EXPECT_EQ(font.getFace(), 0);
    EXPECT_EQ(font.getStyle(), 0);
    EXPECT_EQ(font.getSize(), 0);
    EXPECT_TRUE(Peer::ownsFont(font));
    EXPECT_EQ(Peer::platformFont(font), nullptr);
    EXPECT_EQ(Peer::reserved(font, 0), 0);
    EXPECT_EQ(Peer::reserved(font, 1), 0);
}

TEST(JFontTest, ACopySharesThePlatformFontAndDoesNotOwnIt) {
    unsigned int platform = 0;
    JFont font(1, 2, 3);
    Peer::platformFont(font) = &platform;
    Peer::reserved(font, 0) = 5;
    JFont copy(font);
    EXPECT_EQ(copy.getFace(), 1);
    EXPECT_EQ(copy.getStyle(), 2);
    EXPECT_EQ(copy.getSize(), 3);
    EXPECT_FALSE(Peer::ownsFont(copy));
    EXPECT_EQ(Peer::platformFont(copy), &platform);
    EXPECT_EQ(Peer::reserved(copy, 0), 0);
}

TEST(JFontTest, AssignmentCopiesFaceStyleAndSizeOnly) {
    unsigned int platform = 0;
    JFont font(1, 2, 3);
    Peer::platformFont(font) = &platform;
    JFont other;
    other = font;
    EXPECT_EQ(other.getFace(), 1);
    EXPECT_EQ(other.getStyle(), 2);
    EXPECT_EQ(other.getSize(), 3);
    EXPECT_TRUE(Peer::ownsFont(other));
    EXPECT_EQ(Peer::platformFont(other), nullptr);
}

TEST(JFontTest, GetFont_BySpecUsesTheLowThreeBits) {
    EXPECT_EQ(JFont::getFont(9).getSize(), 33);
    EXPECT_EQ(JFont::getFont(0).getSize(), 32);
    EXPECT_EQ(JFont::getFont(7).getSize(), 39);
    EXPECT_EQ(JFont::getFont(-1).getSize(), 39);
    EXPECT_EQ(JFont::getFont(9).getFace(), 0);
    EXPECT_EQ(JFont::getFont(9).getStyle(), 0);
    EXPECT_TRUE(Peer::ownsFont(JFont::getFont(9)));
}

TEST(JFontTest, GetFont_ByFaceStyleAndSize) {
    JFont font = JFont::getFont(4, 5, 6);
    EXPECT_EQ(font.getFace(), 4);
    EXPECT_EQ(font.getStyle(), 5);
    EXPECT_EQ(font.getSize(), 6);
}

TEST(JFontTest, GetDefaultFont_IsACopy) {
    EXPECT_TRUE(Peer::ownsFont(JFont::DEFAULT_FONT));
    EXPECT_FALSE(Peer::ownsFont(JFont::getDefaultFont()));
}

TEST(JFontTest, HooksOfAnEmptyPlatformGiveZero) {
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
