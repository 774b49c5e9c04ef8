#ifndef JAY_CORE_JINTEGER_H
#define JAY_CORE_JINTEGER_H

#include "core/JObject.h"

class JString;

/**
 * A boxed int: what containers of objects store where a plain int is meant.
 *
 * Arithmetic wraps around at 32 bits. equals(), hashCode() and clone() are JObject's, so equals() compares
 * classes, not values; compare the values themselves (the conversion to int does it): `a == b`.
 */
class JAY_API JInteger : public JObject {
public:
    static const JClass classJInteger;

    JInteger() = default;
    /** The number `n`. */
    JInteger(int n) : value(n) {}
    JInteger(const JInteger&) = default;

    JInteger& operator=(int n);  ///< takes the number over
    JInteger& operator=(const JInteger&) = default;
    /** Adds; what overflows wraps around. */
    JInteger& operator+=(int n);
    JInteger& operator+=(const JInteger& n);
    /** The number. */
    operator int() const { return value; }

    /**
     * The decimal number at the start of `text`: leading blanks and a sign are accepted and reading stops
     * at the first other byte. There is no error report: a text without digits, like a null pointer, gives
     * 0. A number that does not fit gives INT_MAX or INT_MIN, also where long is wider than int.
     */
    static int parseInt(const char* text);
    static int parseInt(JString& text);

    const JClass* getClass() const override;

private:
    int value = 0;
};

/** The sum, wrapping around at 32 bits. */
JAY_API JInteger operator+(const JInteger& a, int b);
JAY_API JInteger operator+(int a, const JInteger& b);
JAY_API JInteger operator+(const JInteger& a, const JInteger& b);

static_assert(sizeof(void*) != 4 || sizeof(JInteger) == 8, "instance size is part of the 32-bit contract");

#endif
