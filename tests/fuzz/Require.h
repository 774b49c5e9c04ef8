/** @file What the fuzz targets share. */
#ifndef JAY_TESTS_FUZZ_REQUIRE_H
#define JAY_TESTS_FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/** Ends the process, which libFuzzer reports together with the input, unless the condition holds. */
#define REQUIRE(condition)                                                                      \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)

#endif
