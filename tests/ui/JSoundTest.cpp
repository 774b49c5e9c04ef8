#include "ui/JSound.h"

#include <gtest/gtest.h>

TEST(JSound, KeepsItsFileName) {
    JSound sound("a/b.wav");
    JSound copy(sound);
    JSound assigned;
    EXPECT_STREQ(assigned.fileName, "");
    assigned = sound;
    EXPECT_STREQ(copy.fileName, "a/b.wav");
    EXPECT_STREQ(assigned.fileName, "a/b.wav");
    EXPECT_EQ(sound.getClass(), &JSound::classJSound);
    EXPECT_STREQ(sound.getClass()->name, "JSound");
}

TEST(JSound, Start_OnAnEmptyPlatformChangesNothing) {
    JSound sound("a/b.wav");
    sound.start();
    EXPECT_STREQ(sound.fileName, "a/b.wav");
    JSound(nullptr).start();
}
