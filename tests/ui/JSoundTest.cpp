#include "ui/JSound.h"

#include <gtest/gtest.h>

#include "support/JSoundPeer.h"

using Peer = jay::detail::JSoundPeer;

TEST(JSoundTest, KeepsItsFileName) {
    JSound sound("a/b.wav");
    JSound copy(sound);
    JSound assigned;
    EXPECT_STREQ(Peer::fileName(assigned), "");
    assigned = sound;
    EXPECT_STREQ(Peer::fileName(copy), "a/b.wav");
    EXPECT_STREQ(Peer::fileName(assigned), "a/b.wav");
}

TEST(JSoundTest, Start_OnAnEmptyPlatformChangesNothing) {
    JSound sound("a/b.wav");
    sound.start();
    EXPECT_STREQ(Peer::fileName(sound), "a/b.wav");
    JSound(nullptr).start();
}
