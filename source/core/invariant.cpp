#include "core/invariant.h"

#if defined(OMBREL_CHECKS_INVARIANTS)

#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace ombrel {

namespace {

constexpr size_t most_locks = 16; // that one thread holds at once: they are few, and in a fixed order

thread_local const void* locks[most_locks];
thread_local size_t count;

size_t place_of(const void* lock) {
    size_t place = count;
    while (place > 0 && locks[place - 1] != lock)
        place--;
    return place; // from 1 on; 0 when it is not there
}

} // namespace

// Nothing of the library may be called: the fault may be in it.
void report_violation(const char* file, unsigned long line, const char* condition) {
    fprintf(stderr, "%s:%lu: invariant violated: %s\n", file, line, condition);
    abort();
}

void held_locks::add(const void* lock) {
    OMBREL_INVARIANT(count < most_locks);
    OMBREL_INVARIANT(place_of(lock) == 0); // the thread would wait for itself
    locks[count++] = lock;
}

void held_locks::remove(const void* lock) {
    const size_t place = place_of(lock);
    OMBREL_INVARIANT(place != 0);
    locks[place - 1] = locks[--count];
}

bool held_locks::has(const void* lock) {
    return place_of(lock) != 0;
}

} // namespace ombrel

#endif
