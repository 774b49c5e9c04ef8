#include "ui/JGraphics.h"

#include <gtest/gtest.h>

TEST(JGraphics, StoresNoHandleByItself) {
    unsigned int platform = 0;
    const JGraphics graphics(&platform);
    EXPECT_EQ(graphics.handle, nullptr);
    EXPECT_EQ(graphics.state, nullptr);
    EXPECT_EQ(graphics.getClass(), &JGraphics::classJGraphics);
    EXPECT_STREQ(graphics.getClass()->name, "JGraphics");
}

TEST(JGraphics, StartsWithADefaultFontAndTakesAnother) {
    JGraphics graphics(nullptr);
    EXPECT_EQ(graphics.getFont().getSize(), 0);
    JFont font(1, 2, 3);
    graphics.setFont(font);
    EXPECT_EQ(graphics.getFont().getFace(), 1);
    EXPECT_EQ(graphics.getFont().getSize(), 3);
    EXPECT_TRUE(graphics.getFont().ownsFont);
}

TEST(JGraphics, HooksOfAnEmptyPlatformDoNothing) {
    JGraphics graphics(nullptr);
    graphics.setColor(1, 2, 3);
    graphics.drawLine(1, 2, 3, 4);
    graphics.drawRect(1, 2, 3, 4);
    graphics.fillRect(1, 2, 3, 4);
    graphics.fillRoundRect(1, 2, 3, 4, 5, 6);
    graphics.drawChars("abc", 0, 3, 1, 2, 0);
    graphics.drawString("abc", 1, 2, 0);
    graphics.setStrokeStyle(1);
    EXPECT_EQ(graphics.getStrokeStyle(), 0);
}
