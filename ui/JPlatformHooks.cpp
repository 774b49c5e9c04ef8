/**
 * @file
 * Where a platform layer comes in: the empty defaults of every operation that would reach a display or a
 * sound device. They are weak, and nothing else is in this file: a layer that is linked into the application,
 * or preloaded, defines the ones it fills as ordinary member functions, and the library calls those.
 * docs/platform.md tells their contract.
 */

#include "ui/JFont.h"
#include "ui/JGraphics.h"
#include "ui/JSound.h"

#define JAY_PLATFORM_HOOK __attribute__((weak))

// ---- font ----

JAY_PLATFORM_HOOK int JFont::charWidth(char) {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::charsWidth(const char*, int, int) {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::getHeight() {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::getBaselinePosition() {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::isBold() {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::isItalic() {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::isPlain() {
    return 0;
}
JAY_PLATFORM_HOOK int JFont::isUnderlined() {
    return 0;
}
JAY_PLATFORM_HOOK void JFont::setFont(unsigned int*) {
}

// ---- graphics ----

JAY_PLATFORM_HOOK void JGraphics::attach(unsigned int*) {
}
JAY_PLATFORM_HOOK void JGraphics::setColor(int, int, int) {
}
JAY_PLATFORM_HOOK void JGraphics::drawLine(int, int, int, int) {
}
JAY_PLATFORM_HOOK void JGraphics::drawRect(int, int, int, int) {
}
JAY_PLATFORM_HOOK void JGraphics::fillRect(int, int, int, int) {
}
JAY_PLATFORM_HOOK void JGraphics::fillRoundRect(int, int, int, int, int, int) {
}
JAY_PLATFORM_HOOK void JGraphics::drawChars(const char*, int, int, int, int, int) {
}
JAY_PLATFORM_HOOK void JGraphics::setStrokeStyle(int) {
}
JAY_PLATFORM_HOOK int JGraphics::getStrokeStyle() {
    return 0;
}

// ---- sound ----

JAY_PLATFORM_HOOK void JSound::play(const JString&) {
}
