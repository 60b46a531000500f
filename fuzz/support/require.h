// What a fuzz target expects: what does not hold ends the process.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void require(bool holds) {
    if (!holds)
        abort();
}

/// The same, which says what was expected.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    fprintf(stderr, "failed: %s\n", what);
    abort();
}
