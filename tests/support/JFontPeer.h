/** @file What the tests of JFont look at inside: what a platform layer uses. */
#ifndef JAY_TESTS_SUPPORT_JFONTPEER_H
#define JAY_TESTS_SUPPORT_JFONTPEER_H

#include "ui/JFont.h"

struct jay::detail::JFontPeer {
    static bool ownsFont(const JFont& font) { return font.ownsFont; }
    static unsigned int*& platformFont(JFont& font) { return font.platformFont; }
    static int& reserved(JFont& font, int i) { return font.reserved[i]; }
};

#endif
