#include "core/JNumber.h"

#include <cstdio>

namespace {

constexpr int INT_TEXT = 12;        // "-2147483648" or "37777777777", and the NUL
constexpr int LONG_LONG_TEXT = 23;  // "1777777777777777777777" and the NUL

}  // namespace

char* sys_itoa(int value, char* buf, int base) {
    const unsigned pattern = static_cast<unsigned>(value);
    switch (base) {
        case 10:
            std::snprintf(buf, INT_TEXT, "%d", value);
            break;
        case 16:
            std::snprintf(buf, INT_TEXT, "%X", pattern);
            break;
        case 8:
            std::snprintf(buf, INT_TEXT, "%o", pattern);
            break;
        default:
            *buf = '\0';
    }
    return buf;
}

char* sys_i64toa(long long value, char* buf, int base) {
    const unsigned long long pattern = static_cast<unsigned long long>(value);
    switch (base) {
        case 10:
            std::snprintf(buf, LONG_LONG_TEXT, "%lld", value);
            break;
        case 16:
            std::snprintf(buf, LONG_LONG_TEXT, "%llX", pattern);
            break;
        case 8:
            std::snprintf(buf, LONG_LONG_TEXT, "%llo", pattern);
            break;
        default:
            *buf = '\0';
    }
    return buf;
}
