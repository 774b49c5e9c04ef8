/**
 * @file
 * Integers as text. Both functions are independent of the locale and safe to call from any thread.
 */
#ifndef JAY_CORE_JNUMBER_H
#define JAY_CORE_JNUMBER_H

#include "core/JExport.h"

/**
 * Writes `value` as a NUL-terminated text to `buf` and returns `buf`. Base 10 is signed; base 16
 * (upper-case digits) and base 8 show the 32-bit two's-complement pattern, so -1 gives FFFFFFFF. Any other
 * base gives the empty text. `buf` is supplied by the caller; 12 bytes hold every result.
 */
JAY_API char* sys_itoa(int value, char* buf, int base);

/** The same for a 64-bit number. 23 bytes hold every result. */
JAY_API char* sys_i64toa(long long value, char* buf, int base);

#endif
