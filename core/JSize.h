#ifndef JAY_CORE_JSIZE_H
#define JAY_CORE_JSIZE_H

#include "core/JObject.h"

/**
 * A size counter that several objects share and any of them may set. Arrays record the largest length they reached in it.
 */
class JAY_API JSize : public JObject {
public:
    static const JClass classJSize;

    /** 0. */
    JSize() = default;
    JSize(const JSize&) = default;

    JSize& operator=(int n);  ///< stores `n`
    JSize& operator=(const JSize&) = default;

    int size() const { return value; }  ///< the number

    /** Stores `n` and returns the value before it. */
    int size(int n);

    /** The number. */
    operator int() const { return value; }

    const JClass* getClass() const override;

private:
    int value = 0;
};

static_assert(sizeof(void*) != 4 || sizeof(JSize) == 8, "instance size is part of the 32-bit contract");

#endif
