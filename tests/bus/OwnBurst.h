/** @file A burst with room of its own. */
#ifndef JAY_TESTS_BUS_OWNBURST_H
#define JAY_TESTS_BUS_OWNBURST_H

#include "bus/detail/Burst.h"

namespace bus {

struct OwnBurst : jay::detail::Burst {
    static constexpr int SIZE = 8192;
    OwnBurst() : Burst(room, SIZE) {}
    char room[SIZE];
};

}  // namespace bus

#endif
