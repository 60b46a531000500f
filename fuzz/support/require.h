// What a fuzz target expects: what does not hold ends the process.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void require(bool holds) {
    if (!holds)
        std::abort();
}

/// The same, which says what was expected.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "failed: %s\n", what);
    std::abort();
}
