#ifndef JAY_CORE_DETAIL_GROWTH_H
#define JAY_CORE_DETAIL_GROWTH_H

#include <cstddef>

namespace jay::detail {

/**
 * The number of elements that are allocated for a capacity: a multiple of `step`, and up to half as many again as the
 * capacity. A capacity that grows by single steps thus needs a new array only now and then. The result depends on the
 * capacity alone, so that nothing else has to be stored, and never decreases when the capacity grows.
 */
constexpr std::size_t allocatedFor(int capacity, std::size_t step) {
    const auto needed = static_cast<std::size_t>(capacity);
    std::size_t grain = step;
    while (grain <= needed / 4) grain *= 2;
    return (needed + grain - 1) / grain * grain;
}

}  // namespace jay::detail

#endif
