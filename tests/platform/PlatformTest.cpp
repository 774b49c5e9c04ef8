// A platform layer linked into the application takes the place of the library's empty hooks: what it is
// handed.

#include <gtest/gtest.h>

#include "platform/RecordingPlatform.h"
#include "system/JSystem.h"
#include "ui/JCanvas.h"
#include "ui/JSound.h"

namespace {

using Calls = std::vector<std::string>;

unsigned int display = 77;

}  // namespace

// First, before anything else has called a hook: tests run in the order of this file.
TEST(PlatformTest, TheDefaultFontReachedTheLayerWhenTheLibraryWasLoaded) {
    EXPECT_EQ(platform::take(), Calls({"setFont null"}));
}

TEST(PlatformTest, DrawBorder_DrawsTheSidesInOrder) {
    JCanvas canvas(0);
    JGraphics graphics(&display);
    platform::take();
    JLayout::Rectangle r{10, 20, 30, 40};
    canvas.drawBorder(graphics, r, 0x102030, 15);
    EXPECT_EQ(platform::take(), Calls({"setColor 16 32 48", "drawLine 10 20 10 60", "drawLine 39 20 39 60",
                                       "drawLine 10 20 40 20", "drawLine 10 59 40 59"}));
}

TEST(PlatformTest, DrawBorder_DrawsOnlyTheSidesAskedFor) {
    JCanvas canvas(0);
    JGraphics graphics(&display);
    platform::take();
    JLayout::Rectangle r{0, 0, 5, 5};
    canvas.drawBorder(graphics, r, 0xFFFF0000, 2);
    EXPECT_EQ(platform::take(), Calls({"setColor 255 0 0", "drawLine 4 0 4 5"}));
    canvas.drawBorder(graphics, r, 0x00FF01, 0);
    EXPECT_EQ(platform::take(), Calls({"setColor 0 255 1"}));
}

TEST(PlatformTest, Check_FillsWithRed) {
    JCanvas canvas(0);
    JGraphics graphics(&display);
    platform::take();
    JLayout::Rectangle r{1, 2, 3, 4};
    canvas.check(graphics, r);
    EXPECT_EQ(platform::take(), Calls({"setColor 255 0 0", "fillRect 1 2 3 4"}));
}

TEST(PlatformTest, DrawString_DrawsAllCharacters) {
    JGraphics graphics(&display);
    platform::take();
    graphics.drawString("abc", 5, 6, 7);
    EXPECT_EQ(platform::take(), Calls({"drawChars abc 0 3 5 6 7"}));
}

TEST(PlatformTest, StringWidths_RestOnCharsWidth) {
    JFont font;
    platform::take();
    EXPECT_EQ(font.stringWidth("abc"), 24);
    EXPECT_EQ(font.stringWidth(JString("abcd")), 32);
    EXPECT_EQ(font.substringWidth(JString("abcd"), 1, 2), 16);
    EXPECT_EQ(platform::take(), Calls({"charsWidth abc 0 3", "charsWidth abcd 0 4", "charsWidth bc 1 2"}));
}

TEST(PlatformTest, SetFont_TellsTheFontItsPlatformFontAndThenTheDisplay) {
    JGraphics graphics(&display);
    unsigned int platformFont = 5;
    JFont font(1, 2, 3);
    font.setFont(&platformFont);
    platform::take();
    graphics.setFont(font);
    EXPECT_EQ(platform::take(), Calls({"setFont 5", "setFont 77"}));
}

TEST(PlatformTest, ACopiedOrAssignedFontIsToldThePlatformFont) {
    unsigned int platformFont = 5;
    JFont font(1, 2, 3);
    font.setFont(&platformFont);
    platform::take();
    JFont copy(font);
    EXPECT_EQ(platform::take(), Calls({"setFont 5"}));
    copy = font;
    EXPECT_EQ(platform::take(), Calls({"setFont 5"}));
}

TEST(PlatformTest, Start_PlaysTheFileBelowTheHomeDirectoryWithBackslashes) {
    JSound sound("beeps/short/a.wav");
    platform::take();
    sound.start();
    const JString home = JSystem::getHomeDirectory();
    EXPECT_EQ(platform::take(),
              Calls({std::string("play ") + static_cast<const char*>(home) + "\\beeps\\short\\a.wav"}));
}

TEST(PlatformTest, HooksThatTheLayerLeavesOutStayEmpty) {
    JGraphics graphics(&display);
    JFont font;
    platform::take();
    graphics.drawRect(1, 2, 3, 4);
    EXPECT_EQ(graphics.getStrokeStyle(), 0);
    EXPECT_EQ(font.getHeight(), 0);
    EXPECT_EQ(platform::take(), Calls());
}
