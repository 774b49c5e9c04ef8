#include "core/JNumber.h"

#include <charconv>
#include <type_traits>

namespace {

constexpr int INT_TEXT = 12;        // "-2147483648" or "37777777777", and the NUL
constexpr int LONG_LONG_TEXT = 23;  // "1777777777777777777777" and the NUL

char upperCase(char digit) {
    return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit;
}

template <class Number>
char* format(Number value, char* buf, int size, int base) {
    char* end = buf;
    if (base == 10) {
        end = std::to_chars(buf, buf + size, value).ptr;
    } else if (base == 16 || base == 8) {
        end = std::to_chars(buf, buf + size, static_cast<std::make_unsigned_t<Number>>(value), base).ptr;
        for (char* at = buf; at < end; ++at) *at = upperCase(*at);
    }
    *end = '\0';
    return buf;
}

}  // namespace

char* sys_itoa(int value, char* buf, int base) {
    return format(value, buf, INT_TEXT, base);
}

char* sys_i64toa(long long value, char* buf, int base) {
    return format(value, buf, LONG_LONG_TEXT, base);
}
