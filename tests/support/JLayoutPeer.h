/** @file What the tests of JLayout look at inside. */
#ifndef JAY_TESTS_SUPPORT_JLAYOUTPEER_H
#define JAY_TESTS_SUPPORT_JLAYOUTPEER_H

#include "ui/JLayout.h"

struct jay::detail::JLayoutPeer {
    static int& reserved(JLayout& node, int i) { return node.reserved[i]; }
};

#endif
