#include "ui/JGraphics.h"

#include <gtest/gtest.h>

#include "support/JFontPeer.h"
#include "support/JGraphicsPeer.h"

using Peer = jay::detail::JGraphicsPeer;

TEST(JGraphicsTest, StoresNoHandleByItself) {
    unsigned int platform = 0;
    const JGraphics graphics(&platform);
    EXPECT_EQ(Peer::handle(graphics), nullptr);
    EXPECT_EQ(Peer::state(graphics), nullptr);
}

TEST(JGraphicsTest, StartsWithADefaultFontAndTakesAnother) {
    JGraphics graphics(nullptr);
    EXPECT_EQ(graphics.getFont().getSize(), 0);
    JFont font(1, 2, 3);
    graphics.setFont(font);
    EXPECT_EQ(graphics.getFont().getFace(), 1);
    EXPECT_EQ(graphics.getFont().getSize(), 3);
    EXPECT_TRUE(jay::detail::JFontPeer::ownsFont(graphics.getFont()));
}

TEST(JGraphicsTest, HooksOfAnEmptyPlatformDoNothing) {
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
