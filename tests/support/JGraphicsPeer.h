/** @file What the tests of JGraphics look at inside: what a platform layer uses. */
#ifndef JAY_TESTS_SUPPORT_JGRAPHICSPEER_H
#define JAY_TESTS_SUPPORT_JGRAPHICSPEER_H

#include "ui/JGraphics.h"

struct jay::detail::JGraphicsPeer {
    static const unsigned int* handle(const JGraphics& graphics) { return graphics.handle; }
    static const void* state(const JGraphics& graphics) { return graphics.state; }
};

#endif
