#ifndef JAY_CORE_DETAIL_TEXTSIZE_H
#define JAY_CORE_DETAIL_TEXTSIZE_H

#include <climits>
#include <cstddef>
#include <cstring>
#include <new>

namespace jay::detail {

/**
 * `size` as the 32-bit count that texts keep; a text that is too long for one fails as its allocation
 * would.
 */
template <class Size>
int textSize(Size size) {
    if (size > static_cast<Size>(INT_MAX)) throw std::bad_alloc();
    return static_cast<int>(size);
}

/** strlen as a 32-bit count. */
inline int textLength(const char* text) {
    return textSize(std::strlen(text));
}

}  // namespace jay::detail

#endif
