#pragma once
// Broken invariants that user data cannot cause end the process with the failed expression's text.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdio>
#include <cstdlib>

#define MARQEN_PRECONDITION(expression)                                                        \
    do {                                                                                       \
        if (!(expression)) {                                                                   \
            std::fprintf(stderr, "Precondition failed: %s (%s:%d)\n", #expression, __FILE__, __LINE__); \
            std::abort();                                                                      \
        }                                                                                      \
    } while (0)
