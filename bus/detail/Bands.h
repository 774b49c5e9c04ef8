#ifndef JAY_BUS_DETAIL_BANDS_H
#define JAY_BUS_DETAIL_BANDS_H

#include "thread/JQueue.h"

namespace jay::detail {

constexpr int BAND_SEGMENT = 1000;  ///< slots per segment of every band of the bus

/** The first band that is not empty, else the last one. */
template <int COUNT>
JQueue& firstFilled(JQueue* (&bands)[COUNT]) {
    int i = 0;
    while (i < COUNT - 1 && bands[i]->isEmpty()) i++;
    return *bands[i];
}

template <int COUNT>
bool allEmpty(JQueue* (&bands)[COUNT]) {
    return firstFilled(bands).isEmpty();
}

/** How many items all bands hold together. */
template <int COUNT>
int total(JQueue* const (&bands)[COUNT]) {
    int items = 0;
    for (const JQueue* band : bands) items += band->size();
    return items;
}

}  // namespace jay::detail

#endif
